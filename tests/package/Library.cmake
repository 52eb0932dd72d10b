# The LIBRARY: its SONAME is versioned, no search path of the build is left in it where it is
# INSTALLED, and it exports what the headers in INCLUDE mark with ZMU_API, and nothing else. Its
# BRANDER exports its entries, and COLLECT, if there is one, what is of its own namespace.
cmake_minimum_required(VERSION 3.25)

execute_process(COMMAND ${READELF} -d ${LIBRARY} OUTPUT_VARIABLE dynamic COMMAND_ERROR_IS_FATAL ANY)
if(NOT SONAME MATCHES "\\.so\\.[0-9]+\\.[0-9]+$" OR NOT dynamic MATCHES "\\(SONAME\\)[^\n]*${SONAME}")
  message(SEND_ERROR "no versioned soname:\n${dynamic}")
endif()
if(INSTALLED AND dynamic MATCHES "RPATH|RUNPATH")
  message(SEND_ERROR "a search path of the build is left:\n${dynamic}")
endif()

# Names that a header marks: classes, and functions up to their parenthesis. What modules look up by
# name needs no header.
set(interface ZRLoadStringW)
file(GLOB_RECURSE headers ${INCLUDE}/zmu/*.h)
list(FILTER headers EXCLUDE REGEX "/foundation/Export\\.h$")
foreach(header IN LISTS headers)
  file(READ ${header} text)
  string(REGEX MATCHALL "(class|struct) ZMU_API [A-Za-z0-9_]+" classes "${text}")
  string(REGEX MATCHALL "ZMU_API [^;{}(]*\\(" functions "${text}")
  foreach(marked IN LISTS classes functions)
    string(REGEX MATCH "(operator[-+*/%=!]+|[A-Za-z0-9_]+)\\(?$" unused "${marked}")
    list(APPEND interface ${CMAKE_MATCH_1})
  endforeach()
endforeach()

execute_process(COMMAND ${NM} --dynamic --defined-only --demangle ${LIBRARY}
  OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
if(NOT symbols MATCHES " T ZRLoadStringW\n") # With its parameters it would be decorated.
  message(SEND_ERROR "ZRLoadStringW is not exported undecorated")
endif()
string(REGEX REPLACE "[][;]" "" symbols "${symbols}")
string(REPLACE "\n" ";" symbols "${symbols}")
foreach(line IN LISTS symbols)
  if(NOT line MATCHES "^[0-9a-f]* ([A-Za-z]) (.*)$")
    continue()
  endif()
  set(type ${CMAKE_MATCH_1})
  string(REGEX REPLACE "[(<].*" "" scope "${CMAKE_MATCH_2}")
  string(REGEX MATCHALL "operator[-+*/%=!]+|[A-Za-z0-9_]+" names "${scope}")
  set(marked OFF)
  foreach(name IN LISTS names)
    if(name IN_LIST interface)
      set(marked ON)
    endif()
  endforeach()
  if(NOT marked OR type STREQUAL "u") # A unique symbol would keep the library from being unloaded.
    string(APPEND leaked "\n  ${line}")
  endif()
endforeach()
if(leaked)
  message(SEND_ERROR "exported, but not marked as interface:${leaked}")
endif()

execute_process(COMMAND ${NM} --dynamic --defined-only --format=posix ${BRANDER}
  OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE "ZRpbr(GetProductBrander|Create|GetSelfDX_Code|Destroy) T [^\n]*\n" "" rest "${symbols}")
if(rest)
  message(SEND_ERROR "the brander exports more than its entries:\n${rest}")
endif()

if(COLLECT)
  execute_process(COMMAND ${NM} --dynamic --defined-only --demangle ${COLLECT}
    OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX REPLACE "[0-9a-f]+ [A-TV-Z] ((vtable|typeinfo|typeinfo name) for )?zmu_collect::[^\n]*\n" ""
    rest "${symbols}")
  string(REGEX REPLACE "[0-9a-f]+ T ZRLoadStringW\n" "" rest "${rest}")
  if(rest OR NOT symbols MATCHES "LogCollector::run")
    message(SEND_ERROR "the library of collectors exports more than its interface:\n${rest}")
  endif()
endif()
