# Configures, builds and runs the project SOURCE in BINARY against the package in PREFIX, and
# nothing else of ours; where there is pkg-config also without CMake. SHORTEST is a program with a
# catalogue, COLLECTING one that collects, for a package that has the command zmu.
cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE ${BINARY})

set(options -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH=${PREFIX} -DZMU_VERSION_WANTED=${VERSION}
  -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER})
if(TOOLCHAIN)
  list(APPEND options -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN})
else()
  list(APPEND options -DCMAKE_CXX_COMPILER=${COMPILER})
endif()
if(SHORTEST AND NOT TOOLCHAIN) # under whose emulator the command has no Qt
  file(COPY ${SHORTEST}/ DESTINATION ${BINARY}/product)
  file(WRITE ${BINARY}/product/situations.de.toml
    "[situations.sessionStarted]\nlog = 'Die Sitzung {session} von {user} beginnt.'\n")
  list(APPEND options -DSHORTEST=${BINARY}/product)
endif()
if(COLLECTING AND NOT TOOLCHAIN)
  list(APPEND options -DCOLLECTING=${COLLECTING})
endif()
if(SANITIZE)
  list(APPEND options -DCMAKE_CXX_FLAGS=-fsanitize=${SANITIZE})
endif()

execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${BINARY} -G ${GENERATOR} ${options}
  COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --build ${BINARY} COMMAND_ERROR_IS_FATAL ANY)

# Runs a program and, if it prints the path of a log, looks at that: for `entry` in UTF-16.
set(entry 480065006c006c006f002e00) # "Hello."
function(run)
  execute_process(COMMAND ${EMULATOR} ${ARGN} OUTPUT_VARIABLE log OUTPUT_STRIP_TRAILING_WHITESPACE
    COMMAND_ERROR_IS_FATAL ANY)
  if(log)
    file(READ "${log}" text HEX)
    file(REMOVE "${log}")
    if(NOT text MATCHES "${entry}")
      message(FATAL_ERROR "${ARGN}: no entry in ${log}")
    endif()
  endif()
endfunction()

run(${BINARY}/consumer${SUFFIX})
if(TOOLCHAIN)
  return() # the host's path to its log is none of this system's
endif()
run(${BINARY}/host)
if(COLLECTING) # its own situation and one of another process are in one log
  set(spools ${BINARY}/spools)
  file(MAKE_DIRECTORY ${spools})
  string(CONCAT line [[{"sequence":1,"time":"2026-11-22T06:32:27.123456789Z","host":"h7","program":"pw",]]
    [["process":812,"start":"1970-01-01T00:00:00.000000007Z","thread":1,"instantiator":-1,"enablements":2,]]
    [["situation":1001,"description":"Hello."}]])
  set(both 480065006c006c006f002e002000 41006400610020006800610073002000) # "Hello. ", "Ada has "
  foreach(entry IN LISTS both)
    file(WRITE ${spools}/h7_pw_812_7_000001.spool "${line}\n")
    file(REMOVE ${BINARY}/collecting.positions)
    run(${BINARY}/collecting ${spools} ${BINARY}/collecting.positions --once)
  endforeach()
  if(EXISTS ${spools}/h7_pw_812_7_000001.spool)
    message(SEND_ERROR "what was collected is still in the spool")
  endif()
  set(entry 480065006c006c006f002e00)
endif()
if(SHORTEST)
  set(entry 41006400610020006800610073002000) # "Ada has "
  set(ENV{LC_ALL} C)
  run(${BINARY}/shortest)
  set(entry 200062006500670069006e006e0074002e00) # " beginnt."
  set(ENV{LC_ALL} de_DE)
  set(ENV{LANGUAGE} de)
  run(${BINARY}/shortest)
  unset(ENV{LC_ALL})
  set(entry 480065006c006c006f002e00)
  file(APPEND ${BINARY}/product/situations.toml "colour = 1\n")
  execute_process(COMMAND ${CMAKE_COMMAND} --build ${BINARY} --target shortest
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE errors)
  if(result EQUAL 0 OR NOT "${output}${errors}" MATCHES "situations\\.toml:5:1: error: 'colour' is no key")
    message(FATAL_ERROR "a mistake in a changed catalogue does not end the build: ${output}${errors}")
  endif()
endif()

set(ENV{PKG_CONFIG_PATH} ${PREFIX}/${LIBDIR}/pkgconfig:$ENV{PKG_CONFIG_PATH})
execute_process(COMMAND pkg-config --cflags --libs "zmu = ${VERSION}" glib-2.0
  OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(flags)
if(SANITIZE)
  list(APPEND flags -fsanitize=${SANITIZE})
endif()
execute_process(
  COMMAND ${COMPILER} -std=c++20 -I${BINARY}/headers -I${SOURCE}/linux ${SOURCE}/host.cpp -rdynamic
    -o ${BINARY}/host-without-cmake ${flags} -Wl,-rpath,${PREFIX}/${LIBDIR}
  COMMAND_ERROR_IS_FATAL ANY)
run(${BINARY}/host-without-cmake)
