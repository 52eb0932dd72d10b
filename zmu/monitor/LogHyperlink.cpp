// Hyperlinks to the pages of codes, for texts of the HTML log.
#include <zmu/monitor/ZarnData.h>

#include <zmu/monitor/internal/Guards.h>
#include <zmu/platform/Win32.h>

#include <string>

using namespace zmu;

namespace {

/// Prints `code` wherever `pattern` has a decimal conversion (%d, %i, %u, each also with l). The
/// pattern comes from a module, so it is read here and not by a printf. False for any other
/// conversion, and for a text that does not fit.
bool printNumber(ZarnScratchpad::Buffer& output, const wchar_t* pattern, ulong32 code)
{
    const auto append = [&output](std::wstring_view text) {
        return output.append(std::wstring(text).c_str());
    };
    while (*pattern) {
        std::size_t plain = 0;
        while (pattern[plain] && pattern[plain] != L'%')
            ++plain;
        if (!append({pattern, plain}))
            return false;
        pattern += plain;
        if (!*pattern)
            break;
        ++pattern;
        if (*pattern == L'l')
            ++pattern;
        switch (*pattern++) {
        case L'u':
            if (!append(std::to_wstring(code)))
                return false;
            break;
        case L'd':
        case L'i':
            if (!append(std::to_wstring(static_cast<int>(code))))
                return false;
            break;
        case L'%':
            if (!append(L"%"))
                return false;
            break;
        default:
            return false;
        }
    }
    return !output.isEmpty();
}

} // namespace

const wchar_t* ZarnData::formatLogHyperlink(ulong32 code, unsigned int stringID,
                                            UTL_String& out) const
{
    SetLastError(ERROR_SUCCESS);
    SectionGuard section(*this);
    static_cast<void>(isSelfApproving()); // what an earlier situation left may be forgiven
    runGuarded(*this, dx::HyperlinkUnexpected, [&] {
        out.clear();
        require(m_selfResourceModule, dx::OwnModuleUnknown);
        section.requireEntered(dx::HyperlinkLockRefused);
        m_scratchpad.clear();
        UTL_String pattern;
        require(pattern.loadFromModule(m_selfResourceModule, stringID,
                                       ZarnScratchpad::Buffer::capacity) > 0,
                dx::HyperlinkEmpty);
        require(printNumber(m_scratchpad.m_b, pattern.wideText(), code), dx::HyperlinkNotPrinted);
        out = UTL_String(m_scratchpad.m_b.c_str());
    });
    if (section.wasEntered())
        m_scratchpad.clear();
    if (section.leaveAnswering(dx::HyperlinkLockNotLeft))
        return out.wideText();
    out.clear();
    SetLastError(ERROR_SUCCESS);
    return nullptr;
}
