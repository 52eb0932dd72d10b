// A moment with its local calendar time.
//
//     const zr::SystemTime now;
//     const UTL_String stamp = now;          // L"2026-03-05_07-09-02"
#pragma once

#include <zmu/foundation/Export.h>
#include <zmu/foundation/Types.h>
#include <zmu/foundation/UTL_String.h>

#include <ctime>

namespace zr {

/// A time stamp, fixed at its construction. Local time is that of the process's time zone as the C
/// library knows it. Any thread may make and read stamps.
///
/// A moment for which the C library has no local time, since its year is too large or, on Windows,
/// since it lies before 1970, has what that library leaves: year 1899, month 0, and -1 for all
/// else.
class ZMU_API SystemTime {
  public:
    /// The current moment.
    SystemTime();
    /// The moment `time`, in seconds since 1 January 1970, UTC; negative for one before.
    SystemTime(zmu::i64 time);

    int Year() const { return m_local.tm_year + 1900; } ///< Such as 2026.
    int Month() const { return m_local.tm_mon + 1; }    ///< 1 to 12.
    int Day() const { return m_local.tm_mday; }         ///< 1 to 31.
    int Hour() const { return m_local.tm_hour; }        ///< 0 to 23.
    int Min() const { return m_local.tm_min; }          ///< 0 to 59.
    int Sec() const { return m_local.tm_sec; }          ///< 0 to 60, which is a leap second.

    /// The moment in seconds since 1 January 1970, UTC.
    operator long long() const { return m_time; }
    /// Local time as "YYYY-MM-DD_HH-MM-SS", wide. Throws UTL_Exception, for want of memory only.
    operator UTL_String() const;

  private:
    zmu::i64 m_time;
    std::tm m_local = {};
};

} // namespace zr
