// A fixed buffer of wide text that knows its capacity and what of it is in use.
//
//     WideBuffer<512> name;
//     if (!name.assign(directory) || !name.append(L"report.html"))
//         return TooLong;                    // name holds what fitted, terminated
//
//     const DWORD written = GetTempPathW(DWORD(name.capacity), name.writable());
//     name.setUsed(written);
#pragma once

#include <algorithm>
#include <cstddef>
#include <cwchar>
#include <string_view>

namespace zmu {

/// N elements of wide text, the terminator among them, with no allocation. Elements from the end of
/// what is in use are zero at all times, so that clearing costs no more than was written. Not
/// locked: one thread at a time.
template <std::size_t N>
class WideBuffer {
    static_assert(N > 0);

  public:
    static constexpr std::size_t capacity = N;
    static constexpr std::size_t sizeBytes = N * sizeof(wchar_t);

    const wchar_t* c_str() const { return m_text; }
    bool isEmpty() const { return m_text[0] == L'\0'; }
    /// Elements before the terminator.
    std::size_t length() const { return wcsnlen(m_text, m_used); }
    std::wstring_view view() const { return {m_text, length()}; }

    /// Replaces the text; null counts as empty, and `text` may lie in this buffer. False when it
    /// has more than N - 1 elements: the buffer then holds the first N - 1.
    bool assign(const wchar_t* text) { return assign(viewOf(text, 0)); }
    bool assign(std::wstring_view text) { return put(0, text); }
    /// Adds to the end of the text; otherwise as assign().
    bool append(const wchar_t* text) { return append(viewOf(text, length())); }
    bool append(std::wstring_view text) { return put(length(), text); }

    /// The raw array, to be written by others. All N elements count as in use until setUsed(),
    /// assign() or clear(); whoever writes keeps the text terminated.
    wchar_t* writable()
    {
        m_usedBefore = m_used;
        m_used = N;
        return m_text;
    }

    /// The raw array, for edits that make the text no longer, such as cutting it into tokens. What
    /// a longer one leaves behind the text is never part of another.
    wchar_t* inPlace() { return m_text; }

    /// Tells how far a write through writable() reached: no element behind the first `used` was
    /// changed, a terminator excepted. A write that went further and came back (a text that shrank)
    /// must not say so: then all of the buffer stays in use. The text ends there at the latest, at
    /// N - 1 in any case.
    void setUsed(std::size_t used)
    {
        if (used >= N) {
            used = N - 1;
            m_text[used] = L'\0';
        }
        // Behind the write stands what was in use before it.
        zeroFrom(used, m_used == N ? m_usedBefore : m_used);
        m_used = used;
    }

    /// Back to the empty text.
    void clear()
    {
        zeroFrom(0, m_used);
        m_text[0] = L'\0';
        m_used = 0;
    }

  private:
    void zeroFrom(std::size_t begin, std::size_t end)
    {
        if (begin < end)
            std::wmemset(m_text + begin, L'\0', end - begin);
    }

    /// As much of `text` as can matter behind the first `at` elements.
    static std::wstring_view viewOf(const wchar_t* text, std::size_t at)
    {
        return text ? std::wstring_view(text, wcsnlen(text, N - at)) : std::wstring_view();
    }

    /// Not inlined, or GCC warns of literals that are shorter than the buffer.
    [[gnu::noinline]] bool put(std::size_t at, std::wstring_view text)
    {
        const std::size_t count = (std::min)(text.size(), N - at);
        if (count != 0)
            std::wmemmove(m_text + at, text.data(), count);
        const std::size_t written = at + count;
        const std::size_t end = (std::min)(written, N - 1);
        zeroFrom(end, (std::max)(m_used, written));
        m_text[end] = L'\0';
        m_used = end;
        return written < N;
    }

    wchar_t m_text[N] = {};
    std::size_t m_used = 0;       ///< Every element from here on is zero.
    std::size_t m_usedBefore = 0; ///< m_used at the last writable(), which raises it to N.
};

} // namespace zmu
