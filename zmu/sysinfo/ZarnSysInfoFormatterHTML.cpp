#include <zmu/sysinfo/ZarnSysInfoFormatter.h>

#include <zmu/foundation/internal/Markup.h>
#include <zmu/foundation/internal/WideFormat.h>
#include <zmu/platform/Paths.h>
#include <zmu/platform/Threads.h>
#include <zmu/platform/Win32.h>
#include <zmu/sysinfo/ZarnSysInfo.h>

#include <QString>
#include <QTextStream>

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

using namespace zmu;

namespace {

constexpr std::size_t pathLengthMax = 260;
constexpr wchar_t listSeparator[] = L";";
constexpr std::wstring_view lineBreak = L"<br>";
constexpr std::wstring_view linkStart = L"<a href=\"file://";
constexpr std::wstring_view linkMiddle = L"\">";
constexpr std::wstring_view linkEnd = L"</a>";

/// Not on another host: whoever sets an environment variable must not choose whom this machine
/// logs on to.
bool isExistingPath(std::wstring_view text)
{
    return text.size() <= pathLengthMax && isFullPath(text) && !isHostPath(text) &&
           _waccess(std::wstring(text).c_str(), 0) == 0;
}

/// Whether `text` is a list of paths as this platform writes one: one of several elements is no
/// sign of it unless it is the first.
bool isPathList(std::wstring_view text)
{
    const bool startsWithPath = isFullPath(text);
    std::size_t paths = 0;
    std::size_t elements = 0;
    while (true) {
        const std::size_t length = std::min(text.find(pathListSeparator), text.size());
        paths += isFullPath(text.substr(0, length)) ? 1 : 0;
        ++elements;
        if (length == text.size())
            return elements > 1 && (startsWithPath || paths > 1);
        text.remove_prefix(length + 1);
    }
}

/// The text that divides the elements of a list; null if `text` is none.
const wchar_t* separatorOf(std::wstring_view text)
{
    static constexpr wchar_t platformSeparator[] = {pathListSeparator, L'\0'};
    if (isPathList(text))
        return platformSeparator;
    return text.find(listSeparator) != text.npos ? listSeparator : nullptr;
}

/// Whether a character stands for itself in the address of a link.
bool isPlainInAddress(wchar_t c)
{
    return c > L' ' && c != 0x7F && !std::wcschr(L"\"#%<>?^`{|}", c);
}

} // namespace

/// What one report works with.
struct ZarnSysInfoFormatterHTML::Texts {
    wchar_t captionPrefix[textCapacity] = {};
    wchar_t captionSuffix[textCapacity] = {};
    wchar_t datumPrefix[textCapacity] = {};
    wchar_t datumSuffix[textCapacity] = {};
    wchar_t caption[textCapacity] = {};
    wchar_t datum[textCapacity] = {};
    wchar_t lastCaption[textCapacity] = {};
};

ZarnSysInfoFormatterHTML::ZarnSysInfoFormatterHTML(QTextStream* stream) : m_stream(stream) {}

void ZarnSysInfoFormatterHTML::setOutputDestination(QTextStream& stream)
{
    m_stream = &stream;
}

bool ZarnSysInfoFormatterHTML::useShortForm(bool shortForm)
{
    return std::exchange(m_shortForm, shortForm);
}

bool ZarnSysInfoFormatterHTML::escapeMarkup(bool escape)
{
    return std::exchange(m_escapesMarkup, escape);
}

// ---- The walk ------------------------------------------------------------------------------------

bool ZarnSysInfoFormatterHTML::reportSystemInformation(QTextStream& stream)
{
    setOutputDestination(stream);
    return reportSystemInformation();
}

bool ZarnSysInfoFormatterHTML::reportSystemInformation()
{
    const CancellationHold hold;
    resetCurrentAffixes();
    if (!m_stream || !m_sysInfo)
        return false;
    try {
        const auto texts = std::make_unique<Texts>();
        reportPairs(*texts);
        m_stream->flush();
        return true;
    } catch (...) {
        return false;
    }
}

void ZarnSysInfoFormatterHTML::reportPairs(Texts& texts)
{
    for (bool more =
             m_sysInfo->getFirstDataPair(texts.caption, texts.datum, textCapacity, textCapacity);
         more && fetchAffixes(texts);
         more = m_sysInfo->getNextDataPair(texts.caption, texts.datum, textCapacity, textCapacity))
        writePair(texts);
}

bool ZarnSysInfoFormatterHTML::fetchAffixes(Texts& texts)
{
    return getNextCaptionPrefix(texts.captionPrefix, textCapacity) <= textCapacity &&
           getNextCaptionSuffix(texts.captionSuffix, textCapacity) <= textCapacity &&
           getNextDatumPrefix(texts.datumPrefix, textCapacity) <= textCapacity &&
           getNextDatumSuffix(texts.datumSuffix, textCapacity) <= textCapacity;
}

void ZarnSysInfoFormatterHTML::writePair(Texts& texts)
{
    const std::size_t whole = std::wcslen(texts.caption);
    const wchar_t* const blank = m_shortForm ? std::wcschr(texts.caption, L' ') : nullptr;
    const std::size_t length = blank ? static_cast<std::size_t>(blank - texts.caption) : whole;
    const bool isRepeated = m_shortForm && std::wcsncmp(texts.caption, texts.lastCaption,
                                                        blank ? length : whole + 1) == 0;
    if (!isRepeated) {
        write(texts.captionPrefix);
        const std::wstring_view caption(texts.caption, length);
        m_escapesMarkup ? writeEscaped(caption) : write(caption);
        write(texts.captionSuffix);
        std::wmemcpy(texts.lastCaption, texts.caption, whole + 1);
    }
    write(texts.datumPrefix);
    m_escapesMarkup ? writeDatumEscaped(texts.datum) : writeDatum(texts.datum);
    write(texts.datumSuffix);
}

void ZarnSysInfoFormatterHTML::write(std::wstring_view text)
{
    *m_stream << QString::fromWCharArray(text.data(), static_cast<qsizetype>(text.size()));
}

// ---- A datum as it stands ------------------------------------------------------------------------

void ZarnSysInfoFormatterHTML::writeDatum(wchar_t* datum)
{
    hyperlinkPath(datum, textCapacity);
    if (const wchar_t* const separator = separatorOf(datum))
        addLineBreaks(datum, textCapacity, separator);
    write(datum);
}

int ZarnSysInfoFormatterHTML::hyperlinkPath(wchar_t* text, int size)
{
    const int length = static_cast<int>(std::wcslen(text));
    constexpr auto linkLength =
        static_cast<int>(linkStart.size() + linkMiddle.size() + linkEnd.size());
    if (!isExistingPath({text, static_cast<std::size_t>(length)}) ||
        2 * length + linkLength + 1 >= size)
        return length;
    std::wmemcpy(m_pathText, text, static_cast<std::size_t>(length) + 1);
    return formatWide(text, static_cast<std::size_t>(size), L"<a href=\"file://%ls\">%ls</a>",
                      m_pathText, m_pathText);
}

bool ZarnSysInfoFormatterHTML::addLineBreaks(wchar_t* text, int size, const wchar_t* separator)
{
    const wchar_t* rest = text;
    const wchar_t* next = std::wcsstr(rest, separator);
    if (!next)
        return true;
    const int limit = size < textCapacity ? size : textCapacity;
    const std::wstring ending = separator + std::wstring(lineBreak);
    const int endingLength = static_cast<int>(ending.size());
    int built = 0;
    const auto take = [&](const wchar_t* element, std::size_t length, int room) {
        wchar_t* const target = m_lineBreakText + built;
        std::wmemcpy(target, element, length);
        target[length] = L'\0';
        built += hyperlinkPath(target, room);
    };
    for (; next; next = std::wcsstr(rest, separator)) {
        const auto length = static_cast<std::size_t>(next - rest);
        if (built + static_cast<int>(length) + endingLength >= limit)
            return false;
        take(rest, length, limit - built - endingLength);
        std::wmemcpy(m_lineBreakText + built, ending.data(), ending.size());
        built += endingLength;
        rest = next + std::wcslen(separator);
    }
    const std::size_t length = std::wcslen(rest);
    if (built + static_cast<int>(length) >= limit)
        return false;
    take(rest, length, limit - built);
    std::wmemcpy(text, m_lineBreakText, static_cast<std::size_t>(built) + 1);
    return true;
}

// ---- A datum escaped -----------------------------------------------------------------------------

void ZarnSysInfoFormatterHTML::writeDatumEscaped(std::wstring_view datum)
{
    const wchar_t* const separator = isExistingPath(datum) ? nullptr : separatorOf(datum);
    while (separator) {
        const std::size_t length = datum.find(separator);
        if (length == datum.npos)
            break;
        writeElementEscaped(datum.substr(0, length));
        writeEscaped(separator);
        write(lineBreak);
        datum.remove_prefix(length + std::wcslen(separator));
    }
    writeElementEscaped(datum);
}

void ZarnSysInfoFormatterHTML::writeElementEscaped(std::wstring_view element)
{
    if (!isExistingPath(element))
        return writeEscaped(element);
    std::wstring address;
    for (const wchar_t c : element) {
        wchar_t code[8] = {c};
        if (!isPlainInAddress(c))
            formatWide(code, std::size(code), L"%%%02X", static_cast<unsigned>(c));
        address += code;
    }
    write(linkStart);
    writeEscaped(address);
    write(linkMiddle);
    writeEscaped(element);
    write(linkEnd);
}

void ZarnSysInfoFormatterHTML::writeEscaped(std::wstring_view text)
{
    zmu::escapeMarkup(text, [this](std::wstring_view piece) { write(piece); });
}
