#include <zmu/foundation/SystemTime.h>

#include <zmu/platform/Win32.h>

namespace zr {

SystemTime::SystemTime() : SystemTime(_time64(nullptr)) {}

SystemTime::SystemTime(i64 time) : m_time(time)
{
    _localtime64_s(&m_local, &m_time);
}

SystemTime::operator UTL_String() const
{
    return UTL_String(256, L"%.4d-%.2d-%.2d_%.2d-%.2d-%.2d", Year(), Month(), Day(), Hour(), Min(),
                      Sec());
}

} // namespace zr
