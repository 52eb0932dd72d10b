// Descriptors of processes, pidfd_open and its kin. The C library's header does not say to C++ that
// its functions are C's.
#pragma once

#include <fcntl.h>
#include <signal.h>

extern "C" {
#include <sys/pidfd.h>
}
