// A situation that failed says so: one trace line, and the host's own function.
#include <zmu/monitor/ZarnDataForThread.h>

#include <zmu/foundation/WideBuffer.h>
#include <zmu/monitor/DxCodes.h>
#include <zmu/monitor/Trace.h>
#include <zmu/monitor/ZarnData.h>

#include <cwchar>
#include <iterator>
#include <string>

using namespace zmu;

namespace {

using FailureText = WideBuffer<512>;

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

void appendPlace(FailureText& text, const FailurePlace& place)
{
    constexpr const wchar_t* fields[] = {L"", L"; header", L"; display description",
                                         L"; log description"};
    text.append(fields[static_cast<std::size_t>(place.field)]);
    appendNumber(text, L", group ", place.group);
    appendNumber(text, L", record ", place.record);
    appendNumber(text, L", insert %", place.insert);
    if (place.excerpt[0]) {
        text.append(L": \"");
        text.append(place.excerpt);
        text.append(L"\"");
    }
    if (place.note) {
        text.append(L"; ");
        text.append(place.note);
    }
}

} // namespace

void FailurePlace::quote(const wchar_t* text)
{
    if (excerpt[0])
        return;
    const std::size_t length = wcsnlen(text, std::size(excerpt) - 1);
    for (std::size_t i = 0; i < length; ++i)
        excerpt[i] = text[i] < L' ' ? L' ' : text[i];
}

void ZarnDataForThread::endOperation()
{
    if (--m_operationDepth > 0)
        return;
    if (!isSelfSatisfied()) {
        const int code = getSelfDX_Code();
        FailureText text;
        text.assign(describe(code).meaning);
        appendPlace(text, m_failurePlace);
        ZarnData::tellFailure(m_dataSet, m_situationID, code, text.c_str());
    }
    if (m_failurePlace.isKnown())
        m_failurePlace = {};
}

void ZarnData::tellFailure(const ZarnData* dataSet, int situationID, int code,
                           const wchar_t* text) noexcept
{
    const wchar_t* const name = describe(code).name;
    Zarn_TRACE(L"ZarnDataForThread::respondToSituation () situation %d failed: %d/%ls, %ls.\n",
               situationID, code, name, text);
    const ZarnFailureFunction tell = dataSet ? dataSet->m_failureFunction : nullptr;
    // A function that reports against advice, and fails at it, is not told of that.
    const ulong32 thread = GetCurrentThreadId();
    if (!tell || dataSet->m_tellingThread == thread)
        return;
    dataSet->m_tellingThread = thread;
    try {
        tell(situationID, code, name, text);
    } catch (...) {
        Zarn_TRACE(L"ZarnData::tellFailure () the host's function threw an exception.\n");
    }
    dataSet->m_tellingThread = 0;
}
