# What `cmake --install` gives: the library with its brander, the public headers, the CMake package
# `zmu` with the target zmu::zmu and the functions zmu_module_version and zmu_add_catalog, zmu.pc for
# pkg-config, the log forms, the documentation, and the command zmu if it was built. A user of the package needs nothing but a C++20 compiler.
include(CMakePackageConfigHelpers)

set(ZMU_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/zmu)

install(TARGETS zmu EXPORT zmuTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})

# Headers live beside their sources. For the library alone are those of a folder `internal`, of the
# platform but two, and of the built-in texts.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/zmu/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zmu
  FILES_MATCHING PATTERN "*.h" PATTERN "*.def"
  PATTERN "platform" EXCLUDE
  PATTERN "internal" EXCLUDE
  PATTERN "StringTable.h" EXCLUDE)
install(FILES ${PROJECT_SOURCE_DIR}/zmu/platform/Host.h ${PROJECT_SOURCE_DIR}/zmu/platform/HostWindows.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zmu/platform)

install(EXPORT zmuTargets NAMESPACE zmu:: DESTINATION ${ZMU_PACKAGE_DIR})
if(ZMU_BUILD_TOOLS) # in a set of its own, since a package of the library alone goes without
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
  DESTINATION ${ZMU_PACKAGE_DIR})

if(NOT WIN32)
  # Where systemd looks for catalogs, under /usr and /usr/local.
  install(FILES ${PROJECT_BINARY_DIR}/zmu.catalog DESTINATION lib/systemd/catalog)
endif()

file(RELATIVE_PATH ZMU_PC_TO_PREFIX
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(${CMAKE_CURRENT_LIST_DIR}/zmu.pc.in ${PROJECT_BINARY_DIR}/zmu.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zmu.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/templates DESTINATION ${CMAKE_INSTALL_DATADIR}/zmu)
foreach(page CHANGELOG.md CONTRIBUTING.md LICENSE README.md)
  install(FILES ${PROJECT_SOURCE_DIR}/${page} DESTINATION ${CMAKE_INSTALL_DOCDIR})
endforeach()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION ${CMAKE_INSTALL_DOCDIR}
  FILES_MATCHING PATTERN "*.md" PATTERN "*.png"
  PATTERN "generate" EXCLUDE)
