# No lock of the library is unknown to forks (platform/linux/Threads.cpp), which would leave it held
# in the child for ever: its locks are ProcessLock, BriefLock, Mutex and CRITICAL_SECTION.
#
#   cmake -D SOURCES=... -P Locks.cmake
file(GLOB_RECURSE files ${SOURCES}/zmu/*.h ${SOURCES}/zmu/*.cpp ${SOURCES}/modules/*.h ${SOURCES}/modules/*.cpp
  ${SOURCES}/spool/*.h ${SOURCES}/spool/*.cpp ${SOURCES}/collect/*.h ${SOURCES}/collect/*.cpp)
# What all of them are made of; the gates of events and mutexes, each of which is an object of the
# host's; a program, which does not fork.
list(FILTER files EXCLUDE REGEX "platform/(Win32\\.h|linux/(Threads|Waits)\\.cpp|linux/helper/)")
foreach(file IN LISTS files)
  file(STRINGS ${file} lines REGEX
    "std::(recursive_|timed_|recursive_timed_|shared_|shared_timed_)?mutex [a-zA-Z_]|pthread_(mutex|rwlock)_t|once_flag|static .*(ProcessLock|Mutex|CriticalSection) [a-zA-Z_]+;")
  foreach(line IN LISTS lines)
    # The proxy's, which sees to it by itself.
    if(file MATCHES "cs4s3/linux/System\\.cpp" AND line MATCHES "^constinit std::mutex s_lock;")
      continue()
    endif()
    message(SEND_ERROR "${file}: a lock that a fork does not know: ${line}")
  endforeach()
endforeach()
