// Stages of the road on their own: a string loaded, a spec fetched and parsed, a message formatted.
#include "Log.h"
#include "Measure.h"
#include "Situation.h"

#include <zmu/monitor/ZarnDataForThread.h>
#include <zmu/platform/Win32.h>

namespace zmu_bench {

namespace {

u64 insertsOfMessage[] = {sessionNumber, zmu::toArgumentSlot(userName)};

void measureString(benchmark::State& state)
{
    constexpr unsigned int capacity = ZarnScratchpad::Buffer::capacity;
    HMODULE const module = GetModuleHandleW(nullptr);
    measure(state, [&] {
        UTL_String spec(module, LoggedSituation, capacity);
        benchmark::DoNotOptimize(spec.wideText());
    });
}

/// An engine that stops where it would format its texts.
class SpecEngine : public ZarnDataForThread {
  public:
    bool learnSpec()
    {
        char* cursor = reinterpret_cast<char*>(insertsOfMessage);
        recordSituationID(LoggedSituation);
        setDescriptionArgV(&cursor);
        return learnResponseSpecs(nullptr);
    }
};

void measureSpec(benchmark::State& state)
{
    ZarnData dataSet;
    configure(dataSet);
    SpecEngine engine;
    if (!dataSet.initialize() || !engine.initialize(&dataSet)) {
        state.SkipWithError("no engine");
        return;
    }
    measure(state, [&] {
        if (!engine.learnSpec())
            state.SkipWithError("the spec was not parsed");
    });
}

void measureFormat(benchmark::State& state)
{
    constexpr ulong32 flags = FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY;
    constexpr int size = 1024;
    wchar_t text[size];
    measure(state, [&] {
        if (Zarn::formatMessage(flags, messageFormat, text, size, insertsOfMessage) == 0)
            state.SkipWithError("the message was not formatted");
    });
}

} // namespace

void registerStagesBench()
{
    benchmark::RegisterBenchmark("string", measureString);
    benchmark::RegisterBenchmark("spec", measureSpec);
    benchmark::RegisterBenchmark("format", measureFormat);
}

} // namespace zmu_bench
