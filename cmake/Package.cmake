# What `cmake --install` gives: the library with its brander, the public headers, the CMake package
# `zmu` with the target zmu::zmu and the functions zmu_module_version and zmu_add_catalog, zmu.pc for
# pkg-config, the log forms, the documentation, and, if they were built, the library of collectors with its target
# zmu::collect, and the command zmu. A user of the package needs nothing but a C++20 compiler.
#
# Each file belongs to a component, which is what the packages of a distribution are made of:
#   library       the library that programs need to run
#   collect       the library zmu_collect, which the command zmu needs, too
#   brander       the module zbr4u, in whose place a product may put its own
#   window        the program that shows windows, where the system has none of that kind
#   common        the journal's catalog and the log forms
#   development   headers, CMake package, zmu.pc and documentation
#   tools         the command zmu, with its man page and completion
#   proxy         the module cs4s3, for those who ask; the only one that a plain install leaves out
include(CMakePackageConfigHelpers)

set(ZMU_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/zmu)

install(TARGETS zmu EXPORT zmuTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT library
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)

# Headers live beside their sources. For the library alone are those of a folder `internal`, of the
# platform but two, and of the built-in texts.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/zmu/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zmu
  COMPONENT development
  FILES_MATCHING PATTERN "*.h" PATTERN "*.def"
  PATTERN "platform" EXCLUDE
  PATTERN "internal" EXCLUDE
  PATTERN "StringTable.h" EXCLUDE)
install(FILES ${PROJECT_SOURCE_DIR}/zmu/platform/Host.h ${PROJECT_SOURCE_DIR}/zmu/platform/HostWindows.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zmu/platform COMPONENT development)

install(EXPORT zmuTargets NAMESPACE zmu:: DESTINATION ${ZMU_PACKAGE_DIR} COMPONENT development)
# In sets of their own, since a package of the library alone goes without.
if(ZMU_BUILD_COLLECT)
  install(TARGETS zmu_collect EXPORT zmuCollectTargets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT collect
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT collect NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/collect/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    COMPONENT development)
  install(EXPORT zmuCollectTargets NAMESPACE zmu:: DESTINATION ${ZMU_PACKAGE_DIR} COMPONENT development)
endif()
if(ZMU_BUILD_TOOLS)
  install(EXPORT zmuToolsTargets NAMESPACE zmu:: DESTINATION ${ZMU_PACKAGE_DIR} COMPONENT tools)
endif()
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/zmuConfig.cmake.in
  ${PROJECT_BINARY_DIR}/zmuConfig.cmake
  INSTALL_DESTINATION ${ZMU_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zmuConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/zmuConfig.cmake
  ${PROJECT_BINARY_DIR}/zmuConfigVersion.cmake
  ${CMAKE_CURRENT_LIST_DIR}/ZmuAddCatalog.cmake
  ${CMAKE_CURRENT_LIST_DIR}/ZmuModuleVersion.cmake
  DESTINATION ${ZMU_PACKAGE_DIR} COMPONENT development)

if(NOT WIN32)
  # Where systemd looks for catalogs, under /usr and /usr/local.
  install(FILES ${PROJECT_BINARY_DIR}/zmu.catalog DESTINATION lib/systemd/catalog COMPONENT common)
endif()

file(RELATIVE_PATH ZMU_PC_TO_PREFIX
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
foreach(name zmu zmu-collect)
  if(name STREQUAL zmu OR ZMU_BUILD_COLLECT)
    configure_file(${CMAKE_CURRENT_LIST_DIR}/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
      COMPONENT development)
  endif()
endforeach()

install(DIRECTORY ${PROJECT_SOURCE_DIR}/templates DESTINATION ${CMAKE_INSTALL_DATADIR}/zmu
  COMPONENT common)
foreach(page CHANGELOG.md CONTRIBUTING.md LICENSE README.md)
  install(FILES ${PROJECT_SOURCE_DIR}/${page} DESTINATION ${CMAKE_INSTALL_DOCDIR}
    COMPONENT development)
endforeach()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development
  FILES_MATCHING PATTERN "*.md" PATTERN "*.png"
  PATTERN "generate" EXCLUDE)

if(ZMU_IS_TOP_LEVEL AND ZMU_BUILD_TOOLS AND CMAKE_SYSTEM_NAME STREQUAL Linux)
  include(${CMAKE_CURRENT_LIST_DIR}/debian/Packages.cmake)
endif()
