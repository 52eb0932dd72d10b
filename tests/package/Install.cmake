# Installs the build BUILD into PREFIX and checks which headers came along.
cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE ${PREFIX})
execute_process(
  COMMAND ${CMAKE_COMMAND} --install ${BUILD} --config ${CONFIG} --prefix ${PREFIX}
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)

file(GLOB_RECURSE files RELATIVE ${PREFIX} ${PREFIX}/*)

# The proxy is there for those who ask, and for nobody else.
file(REMOVE_RECURSE ${PREFIX}-proxy)
execute_process(
  COMMAND ${CMAKE_COMMAND} --install ${BUILD} --config ${CONFIG} --prefix ${PREFIX}-proxy --component proxy
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(GLOB_RECURSE proxy RELATIVE ${PREFIX}-proxy ${PREFIX}-proxy/*)
if(NOT proxy MATCHES "^[^;]*/(lib)?cs4s3\\.(so|dll)$" OR files MATCHES "cs4s3")
  message(SEND_ERROR "the component proxy is not one module: ${proxy}")
endif()
foreach(file IN LISTS files)
  if(file MATCHES "/platform/|/internal/|/StringTable\\.h$|\\.cpp$" AND NOT file MATCHES "/platform/Host(Windows)?\\.h$")
    message(SEND_ERROR "installed, but for the library alone: ${file}")
  endif()
endforeach()
if(EXISTS ${BUILD}/zmu.catalog) # which Windows has no use for
  set(catalog lib/systemd/catalog/zmu.catalog)
endif()
foreach(file IN ITEMS ${catalog} include/zmu/Version.h include/zmu/foundation/UTL_String.h
    include/zmu/platform/Host.h share/doc/zmu/LICENSE share/doc/zmu/docs/architecture.md
    share/zmu/templates/bpw_template.html)
  if(NOT file IN_LIST files)
    message(SEND_ERROR "not installed: ${file}")
  endif()
endforeach()
