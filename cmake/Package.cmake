# What `cmake --install` gives: the library, its public headers, and the CMake package `zmu` with the
# target zmu::zmu and the function zmu_module_version. A user of the package needs nothing but a
# C++20 compiler.
include(CMakePackageConfigHelpers)

set(ZMU_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/zmu)

install(TARGETS zmu EXPORT zmuTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})

# Headers live beside their sources. For the library alone are those of a folder `internal`, of the
# platform but one, and of the built-in texts.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/zmu/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zmu
  FILES_MATCHING PATTERN "*.h" PATTERN "*.def"
  PATTERN "platform" EXCLUDE
  PATTERN "internal" EXCLUDE
  PATTERN "StringTable.h" EXCLUDE)
install(FILES ${PROJECT_SOURCE_DIR}/zmu/platform/Host.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zmu/platform)

# The forms of a log, for administrators to start from.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/templates/ DESTINATION ${CMAKE_INSTALL_DATADIR}/zmu/templates
  FILES_MATCHING PATTERN "*.html")

install(EXPORT zmuTargets NAMESPACE zmu:: DESTINATION ${ZMU_PACKAGE_DIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/zmuConfig.cmake.in
  ${PROJECT_BINARY_DIR}/zmuConfig.cmake
  INSTALL_DESTINATION ${ZMU_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zmuConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/zmuConfig.cmake
  ${PROJECT_BINARY_DIR}/zmuConfigVersion.cmake
  ${CMAKE_CURRENT_LIST_DIR}/ZmuModuleVersion.cmake
  DESTINATION ${ZMU_PACKAGE_DIR})

# The standard library's headers mark their templates as visible, so every instance of one would be
# an export of ours: other modules could bind to it, and we could not be unloaded.
if(UNIX AND NOT APPLE)
  target_link_options(zmu PRIVATE -Wl,--version-script=${CMAKE_CURRENT_LIST_DIR}/hidden.map)
  set_property(TARGET zmu APPEND PROPERTY LINK_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/hidden.map)
endif()
