#include <zmu/platform/Threads.h>

// A thread here ends by itself or dies on the spot, which nothing could hold back.
zmu::CancellationHold::CancellationHold() = default;
zmu::CancellationHold::~CancellationHold() = default;
