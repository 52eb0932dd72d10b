// What the stand-in for the proxy module noted, and what it is to answer.
#pragma once

#include <zmu/foundation/Types.h>

struct ProxyNotes {
    int calls = 0;
    int answer = 1;
    bool throws = false;
    unsigned int enablements = 0;
    i64 instantiatorID = 0;
    int situationID = 0;
    wchar_t format[8] = {};
    wchar_t description[1024] = {};
};

using ProxyNotesFunction = ProxyNotes* (*)();
