// Response specs as a product's modules bring them, with arguments that fit them or not.
#include "Support.h"

#include "../tests/support/Strings.h"

#include <cwctype>

using namespace zmu_fuzz;

namespace {

/// The same number throughout: what is remembered of a spec must not outlive its text.
constexpr int situation = 1000;
constexpr int firstAffix = 9000;
constexpr int affixesQty = 3;

/// One situation to report.
struct Step {
    explicit Step(Input& input)
        : spec(input.wideText()), affix(input.wideText()), arguments(input),
          isRecorded(input.flag())
    {}

    std::wstring spec;
    std::wstring affix;
    Arguments arguments;
    bool isRecorded; ///< Its arguments were recorded beforehand, too.
};

void record(LoggingData& data, const Arguments& arguments)
{
    for (std::size_t i = 0; i < arguments.values.size(); ++i) {
        const u64 value = arguments.values[i];
        if (arguments.kinds[i] == zmu::SlotKind::WideText)
            data.recordArgument(reinterpret_cast<const wchar_t*>(value), ZARN_ARG_NEXT);
        else if (arguments.kinds[i] == zmu::SlotKind::NarrowText)
            data.recordArgument(reinterpret_cast<const char*>(value), ZARN_ARG_NEXT);
        else if (value % 2 == 0)
            data.recordArgument(static_cast<int>(value), ZARN_ARG_NEXT);
        else
            data.recordArgument(static_cast<unsigned>(value), ZARN_ARG_NEXT);
    }
}

/// Reports; what comes back holds no moment any more.
Outcome report(LoggingData& data, const Step& step)
{
    constexpr std::u16string_view stamp = u"<!-- SituationID=1000 -->2026-11-22 00:00:00.000 ";
    zmu_test::strings()[situation] = step.spec;
    zmu_test::strings()[firstAffix + 1] = step.affix;
    if (step.isRecorded)
        record(data, step.arguments);
    Outcome outcome = data.report(situation, step.arguments);
    FUZZ_CHECK(outcome.entry.empty() || outcome.entry.size() > stamp.size() * sizeof stamp[0]);
    outcome.entry.erase(0, stamp.size() * sizeof stamp[0]);
    return outcome;
}

/// Whether the text for the log, the last record but one, begins with something that is shown.
bool tellsSomething(std::wstring_view spec)
{
    std::size_t start = spec.rfind(L'|');
    for (int record = 0; record < 2 && start != spec.npos; ++record)
        start = spec.find(L'`', start + 1);
    return start != spec.npos && start + 1 < spec.size() &&
           std::iswalnum(std::wint_t(spec[start + 1]));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    Input input(bytes, size);
    LoggingData data;
    data.setCharSetExternal(input.number(0, 2));
    data.setDescriptionAffixID_Min(firstAffix);
    data.setDescriptionAffixIDsQty(affixesQty);
    data.setSubstituteEntries(input.flag());
    data.setSelfDX_FaultTolerance(input.flag() ? Zarn_TOLERANCE_FORGIVING : Zarn_TOLERANCE_NONE);
    if (input.flag())
        data.setBehaviorCriteria(0);
    FUZZ_CHECK(data.open());
    std::deque<Step> steps;
    while (!input.isEmpty())
        steps.emplace_back(input);

    std::vector<Outcome> outcomes;
    for (const Step& step : steps) {
        outcomes.push_back(report(data, step));
        FUZZ_CHECK(outcomes.back().code != 0 || !outcomes.back().entry.empty() ||
                   !tellsSomething(step.spec));
    }
    // Nothing that was reported in between makes a difference.
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const Outcome again = report(data, steps[i]);
        FUZZ_CHECK(again.code == outcomes[i].code && again.entry == outcomes[i].entry);
    }
    return 0;
}
