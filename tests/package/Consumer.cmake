# Configures, builds and runs the project SOURCE in BINARY against the package in PREFIX, and
# nothing else of ours.
cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE ${BINARY})

set(options -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH=${PREFIX} -DZMU_VERSION_WANTED=${VERSION}
  -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER})
if(TOOLCHAIN)
  list(APPEND options -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN})
else()
  list(APPEND options -DCMAKE_CXX_COMPILER=${COMPILER})
endif()
if(SANITIZE)
  list(APPEND options -DCMAKE_CXX_FLAGS=-fsanitize=${SANITIZE})
endif()

execute_process(COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${BINARY} -G ${GENERATOR} ${options}
  COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --build ${BINARY} COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${EMULATOR} ${BINARY}/consumer${SUFFIX} COMMAND_ERROR_IS_FATAL ANY)
