// A module that serves no strings but depends on the library, which does.
#include <zmu/localize/ResourceModule.h>

ZMU_RESOURCE_MODULE_ENTRY void useTheLibrary()
{
    SetLastError(zmu::StringFound);
}
