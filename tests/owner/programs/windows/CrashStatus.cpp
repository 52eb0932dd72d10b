// Gives a crash a status of its own where the system would pass over it: in a library's entry
// point, or in a thread beside one that ends the process.
#include <windows.h>

static void* const crashStatus = AddVectoredExceptionHandler(1, [](EXCEPTION_POINTERS* exception) {
    if (exception->ExceptionRecord->ExceptionCode == EXCEPTION_ACCESS_VIOLATION)
        TerminateProcess(GetCurrentProcess(), 22);
    return LONG{EXCEPTION_CONTINUE_SEARCH};
});
