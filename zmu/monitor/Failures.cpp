// A situation that failed says so: one trace line, the host's own function, and, where the data set
// wants it, an entry of the log that stands in for its own.
#include <zmu/monitor/ZarnDataForThread.h>

#include <zmu/foundation/WideBuffer.h>
#include <zmu/foundation/internal/LoadString.h>
#include <zmu/monitor/DxCodes.h>
#include <zmu/monitor/Trace.h>
#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/ZarnData.h>

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <utility>

using namespace zmu;

namespace {

using FailureText = WideBuffer<512>;

/// The data sets whose failures this thread tells at present: a function that reports against
/// advice, and fails at it, is not told of that.
struct Telling {
    const ZarnData* dataSet;
    const Telling* outer;
};
thread_local const Telling* innermostTelling = nullptr;

bool isBeingTold(const ZarnData* dataSet)
{
    const Telling* telling = innermostTelling;
    while (telling && telling->dataSet != dataSet)
        telling = telling->outer;
    return telling != nullptr;
}

/// An excerpt of the spec could leave an element of the log open.
enum class Excerpt { Quoted, LeftOut };

void appendNumber(FailureText& text, const wchar_t* what, int number)
{
    constexpr std::size_t numberQty = 12; // digits, sign, terminator
    if (number == 0)
        return;
    wchar_t digits[numberQty] = {};
    std::swprintf(digits, std::size(digits), L"%d", number);
    text.append(what);
    text.append(digits);
}

/// What the code means, and what is known of the place.
FailureText describeFailure(int code, const FailurePlace& place, Excerpt excerpt)
{
    constexpr const wchar_t* fields[] = {L"", L"; header", L"; display description",
                                         L"; log description"};
    FailureText text;
    text.assign(describe(code).meaning);
    text.append(fields[static_cast<std::size_t>(place.field)]);
    appendNumber(text, L", group ", place.group);
    appendNumber(text, L", record ", place.record);
    appendNumber(text, L", insert %", place.insert);
    if (place.excerpt[0] && excerpt == Excerpt::Quoted) {
        text.append(L": \"");
        text.append(place.excerpt);
        text.append(L"\"");
    }
    if (place.note) {
        text.append(L"; ");
        text.append(place.note);
    }
    return text;
}

} // namespace

void FailurePlace::quote(std::wstring_view text)
{
    if (excerpt[0])
        return;
    const std::size_t length = std::min(text.size(), std::size(excerpt) - 1);
    for (std::size_t i = 0; i < length; ++i)
        excerpt[i] = text[i] < L' ' ? L' ' : text[i];
}

void ZarnDataForThread::tellOutcome()
{
    if (!isSelfSatisfied()) {
        const int code = getSelfDX_Code();
        markArgumentsStale();
        ZarnData::tellFailure(m_dataSet, m_situationID, code,
                              describeFailure(code, m_failurePlace, Excerpt::Quoted).c_str());
    }
    if (m_failurePlace.isKnown())
        m_failurePlace = {};
}

bool ZarnDataForThread::composeSubstitute(int code)
{
    constexpr unsigned int substitute = 20001;
    const HMODULE self = m_dataSet->getSelfResourceModule();
    wchar_t format[256];
    if (!self || loadString(self, substitute, format, static_cast<int>(std::size(format))) < 1)
        return false;
    const FailureText text = describeFailure(code, m_failurePlace, Excerpt::LeftOut);
    u64 inserts[] = {toArgumentSlot(m_situationID), toArgumentSlot(code),
                     toArgumentSlot(describe(code).name), toArgumentSlot(text.c_str())};
    wchar_t* const output = m_descriptionForLogFile.writable();
    return Zarn::formatMessage(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY, format,
                               output, static_cast<int>(m_descriptionForLogFile.capacity),
                               inserts) > 0;
}

void ZarnDataForThread::reportSubstitute()
{
    const int code = getSelfDX_Code();
    const auto logText = m_descriptionForLogFile;
    const auto displayText = m_descriptionForDisplay;
    const bool isDupe = std::exchange(m_descriptionDisplayIsDupe, false);
    const int answer = m_displayDlgBoxResult;
    forgetSelfDX_Code();
    m_descriptionForDisplay.clear();
    if (composeSubstitute(code))
        reportDescriptions(); // failing that it has traced why
    m_descriptionForLogFile = logText;
    m_descriptionForDisplay = displayText;
    m_descriptionDisplayIsDupe = isDupe;
    m_displayDlgBoxResult = answer;
    setSelfDX_Code(code);
}

void ZarnData::tellFailure(const ZarnData* dataSet, int situationID, int code,
                           const wchar_t* text) noexcept
{
    const wchar_t* const name = describe(code).name;
    Zarn_TRACE(L"ZarnDataForThread::respondToSituation () situation %d failed: %d/%ls, %ls.\n",
               situationID, code, name, text);
    const ZarnFailureFunction tell = dataSet ? dataSet->m_failureFunction.load() : nullptr;
    if (!tell || isBeingTold(dataSet))
        return;
    const Telling telling{dataSet, std::exchange(innermostTelling, &telling)};
    try {
        tell(situationID, code, name, text);
    } catch (...) {
        Zarn_TRACE(L"ZarnData::tellFailure () the host's function threw an exception.\n");
    }
    innermostTelling = telling.outer;
}
