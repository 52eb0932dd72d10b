// A stand-in for the proxy module: notes what it is told. Without PROXY_HAS_ENTRY it has no entry.
#include "Proxy.h"

#include <zmu/localize/ResourceModule.h>

#include <cwchar>

ZMU_RESOURCE_MODULE_ENTRY ProxyNotes* proxyNotes()
{
    static ProxyNotes notes;
    return &notes;
}

#if defined(PROXY_HAS_ENTRY)
ZMU_RESOURCE_MODULE_ENTRY int ProxyRespondToSituation(unsigned int enablements, i64 instantiatorID,
                                                      int situationID, const wchar_t* format,
                                                      const wchar_t* description)
{
    ProxyNotes& notes = *proxyNotes();
    ++notes.calls;
    notes.enablements = enablements;
    notes.instantiatorID = instantiatorID;
    notes.situationID = situationID;
    std::wcsncpy(notes.format, format, 7);
    std::wcsncpy(notes.description, description, 1023);
    if (notes.throws)
        throw 1;
    return notes.answer;
}
#endif
