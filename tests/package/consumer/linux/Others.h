// What a host includes before the package, and names of the platform of its own.
#include <curses.h>
#include <glib.h>
using DWORD = unsigned int;
using BOOL = int;
#if !defined(TRUE) || !defined(MAX)
#error "glib.h defines no macros any more: this host needs others"
#endif
