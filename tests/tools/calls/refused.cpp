// Calls that compile and, with REFUSED, calls that must not: each line that says so.
#include "calls.h"

#include <cstddef>

void call(Zarn* monitor, unsigned u, int i, std::size_t w, long long l, double d)
{
    calls::numbers(monitor, u, i, w, l, d);
    calls::numbers(monitor, 7, -7, 7, 7U, 0.5F);
#if defined(REFUSED)
    calls::numbers(monitor, i, i, w, l, d);           // refused: a sign
    calls::numbers(monitor, w, i, w, l, d);           // refused: bits
    calls::numbers(monitor, u, u, w, l, d);           // refused
    calls::numbers(monitor, u, i, w, w, d);           // refused
    calls::numbers(monitor, -1, i, w, l, d);          // refused: a constant that does not fit
    calls::numbers(monitor, 0x100000000, i, w, l, d); // refused
    calls::numbers(monitor, u, i, w, l);              // refused: one too few
#endif
}
