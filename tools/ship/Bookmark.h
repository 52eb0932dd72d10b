// How far a stream was dealt with.
#pragma once

#include <zmu/foundation/Types.h>

namespace zmu_tools::ship {

/// A place in a stream, with what tells whether it is the same stream still: places say nothing of
/// one that was made anew, or has lost its end and was filled again. Times are in nanoseconds since
/// 1970 UTC, and 0 where they are not known.
struct Bookmark {
    zmu::u64 place = 0;      ///< Up to it all is dealt with; 0 for nothing.
    zmu::i64 time = 0;       ///< When the message of that place came into the stream.
    zmu::i64 streamMade = 0; ///< When the stream was made.
    zmu::u64 highest = 0;    ///< Up to it all that is no line was told.
};

} // namespace zmu_tools::ship
