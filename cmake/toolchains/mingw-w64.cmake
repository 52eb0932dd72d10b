# Builds for Windows on another system, with MinGW-w64 (posix threads); programs run under Wine.
# cmake/windows/prepare.sh provides what is named in CMAKE_PREFIX_PATH.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# Programs are the build machine's; everything else must be for Windows.
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32 ${CMAKE_PREFIX_PATH})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Qt's own tools (moc and the like) are the build machine's, of the same version.
if(NOT DEFINED QT_HOST_PATH)
  file(GLOB zmu_host_qt /usr/lib/*/cmake/Qt6HostInfo /usr/lib/cmake/Qt6HostInfo)
  if(zmu_host_qt)
    list(GET zmu_host_qt 0 zmu_host_qt)
    set(QT_HOST_PATH /usr CACHE PATH "Where Qt for the build machine is")
    set(Qt6HostInfo_DIR ${zmu_host_qt} CACHE PATH "")
    get_filename_component(zmu_host_qt ${zmu_host_qt} DIRECTORY)
    set(QT_HOST_PATH_CMAKE_DIR ${zmu_host_qt} CACHE PATH "")
  endif()
endif()

# Wine searches these for DLLs: the compiler's run time and the libraries'. The run time is shared,
# so that an exception can pass from one module to another.
set(zmu_dll_folders)
foreach(file libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${file}
    OUTPUT_VARIABLE zmu_dll OUTPUT_STRIP_TRAILING_WHITESPACE)
  get_filename_component(zmu_dll ${zmu_dll} REALPATH)
  get_filename_component(zmu_dll ${zmu_dll} DIRECTORY)
  list(APPEND zmu_dll_folders ${zmu_dll})
endforeach()
list(TRANSFORM CMAKE_PREFIX_PATH APPEND "/bin" OUTPUT_VARIABLE zmu_dll)
list(APPEND zmu_dll_folders ${zmu_dll})
list(REMOVE_DUPLICATES zmu_dll_folders)
list(JOIN zmu_dll_folders ":" zmu_dll_folders)
set(CMAKE_CROSSCOMPILING_EMULATOR
  ${CMAKE_CURRENT_LIST_DIR}/../windows/wine.sh --path ${zmu_dll_folders})
