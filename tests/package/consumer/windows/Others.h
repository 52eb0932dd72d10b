// What a host includes before the package: the system's header, with its macros.
#include <windows.h>
