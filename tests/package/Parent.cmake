# Builds the project PARENT, which adds our SOURCE to itself, and loads and unloads a module that
# uses the library. What the library exports is judged by Library.cmake.
cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE ${BINARY})
set(configure ${CMAKE_COMMAND} -S ${PARENT} -B ${BINARY} -G ${GENERATOR} -DZMU_SOURCE=${SOURCE}
  -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER})

execute_process(COMMAND ${configure} -DBUILD_SHARED_LIBS=OFF
  RESULT_VARIABLE result OUTPUT_QUIET ERROR_VARIABLE said)
if(result EQUAL 0 OR NOT said MATCHES "zmu is always a shared library")
  message(SEND_ERROR "a static library is not refused: ${said}")
endif()

execute_process(COMMAND ${configure} -DBUILD_SHARED_LIBS=ON COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --build ${BINARY} --target owner_guest owner_unloader
  COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${BINARY}/owner_unloader "threads have ended" ${BINARY}/libowner_guest.so
  ${BINARY} COMMAND_ERROR_IS_FATAL ANY)
