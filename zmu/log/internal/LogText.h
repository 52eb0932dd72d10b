// A text on its way into the file of a log: encoded, and written whole or not at all.
#pragma once

#include <zmu/foundation/Types.h>

#include <QTextStream>

#include <cstddef>

namespace zmu {

class LogDevice;

/// Whether a log is open. A stream on a text has no device, and is no log.
inline bool isOpen(const QTextStream* stream)
{
    return stream && stream->device();
}

/// Bytes that a log may have: what the system allows, and what its positions can tell.
u64 logSizeLimit();

/// A write that did not reach the file: an unexpected failure of the operation that made it.
struct WriteFailed {};

/// Writes at the place where `stream` stands, in its encoding, into a file of at most `limit`
/// bytes. `log` is the stream's device, null if that is none of the library's own. Returns the
/// bytes written; throws WriteFailed unless that is all.
u64 writeText(QTextStream& stream, LogDevice* log, const wchar_t* text, std::size_t length,
              u64 limit);
/// The same for a text that is encoded as UTF-16.
u64 writeUnits(QTextStream& stream, LogDevice* log, const char16_t* units, std::size_t count,
               u64 limit);

} // namespace zmu
