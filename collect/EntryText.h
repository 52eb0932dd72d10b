// The text of entries that come from elsewhere: whatever it is, a page shows it, and runs nothing.
#pragma once

#include "Sink.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zmu_collect {

/// Elements of a text that the library takes for an entry of the log; it could take a few more.
inline constexpr std::size_t entryMax = 1000;
/// Entries that one report becomes at most. What is behind them is left out, and they say so.
inline constexpr std::size_t partsMax = 16;

/// An entry as the library is to write it.
struct EntryPart {
    std::string identity; ///< As markOf() finds it in a log.
    std::wstring text;    ///< HTML.
};

/// Makes entries of reports. The texts keep their memory.
class ZMU_COLLECT_API EntryText {
  public:
    /// The entries of a report, one or more, good until the next call. Their text is the
    /// description, in which nothing is markup but what harmlessTag() knows, then the origin in an
    /// element whose attribute data-zmu is the identity.
    std::span<const EntryPart> compose(const Report& report);

  private:
    void beginPart();
    void composeOrigin(const Report& report);
    void putReport(const Report& report);
    bool put(std::wstring_view token);
    bool putCharacter(char32_t point);
    bool putPlain(std::string_view text);
    void putHtml(std::string_view text);
    bool putTag(std::string_view tag, std::string_view name);
    void closeElements();
    void finish(const Report& report);

    std::vector<EntryPart> m_parts;
    std::size_t m_partsQty = 0;
    std::wstring m_origin;
    std::string m_identity;
    std::size_t m_room = 0;          ///< Elements that the text of a part has.
    std::vector<std::string> m_open; ///< Elements of the part that are not closed, outermost first.
    std::size_t m_closing = 0;       ///< Elements that closing them takes.
    std::size_t m_leftOut = 0;       ///< Bytes of the description.
};

/// The length of the tag that `html` begins with, if it is one of those that can do no harm: b, i,
/// code, br, b with the class of a severity, and links to the pages of codes beside the log. `name`
/// is the element's. 0 for anything else.
ZMU_COLLECT_API std::size_t harmlessTag(std::string_view html, std::string_view& name);
/// Likewise for an entity such as "&lt;" or "&#228;".
ZMU_COLLECT_API std::size_t entityLength(std::string_view html);

/// A source as it stands in an identity: one word of ASCII, which is not too long.
ZMU_COLLECT_API std::string identitySource(std::string_view source);

/// Whether an identity is of this process, "HOST_PROGRAM_PROCESS_START", of whichever user. True
/// where a source that was too long no longer tells.
ZMU_COLLECT_API bool isOfProcess(std::string_view identity, std::string_view process);

/// Gives the identity of each entry in a piece of a log's text, and returns how much of it is done
/// with: what is left belongs before the next piece.
template <class Take>
std::size_t markOf(std::u16string_view text, const Take& take)
{
    constexpr std::u16string_view begin = u"<i data-zmu=\"";
    constexpr std::u16string_view end = u"</i>";
    std::size_t done = 0, close = 0;
    for (;;) {
        const std::size_t at = text.find(begin, done);
        if (at == text.npos)
            return text.size() - std::min(text.size() - done, begin.size());
        // One that does not end is that of an entry which was cut off while it was written.
        if (close != text.npos && close <= at)
            close = text.find(end, at);
        const std::size_t other = text.find(begin, at + 1);
        if (close == text.npos && other == text.npos && text.size() - at < 2 * entryMax)
            return at;
        done = at + begin.size();
        if (close == text.npos || other < close)
            continue;
        const std::u16string_view rest = text.substr(done, close - done);
        const std::u16string_view mark = rest.substr(0, rest.find(u'"'));
        take(std::string(mark.begin(), mark.end()));
        done = close;
    }
}

} // namespace zmu_collect
