// A proxy that takes every situation and does nothing with it.
#include <zmu/localize/ResourceModule.h>

ZMU_RESOURCE_MODULE_ENTRY int ProxyRespondToSituation(unsigned int /*enablements*/,
                                                      long long /*instantiatorID*/,
                                                      int /*negatedSituationID*/,
                                                      const wchar_t* /*format*/,
                                                      const wchar_t* /*description*/)
{
    return 1;
}
