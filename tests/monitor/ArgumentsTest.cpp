// Arguments of a situation: recorded ones, and those that a report packs.
#include <QObject> // first: its macros must not reach our headers

#include "Reporter.h"

#include <limits>
#include <memory>

using namespace zmu_test;

namespace {

template <class... Args>
constexpr bool isReport = requires(Zarn& monitor, Args... args)
{
    monitor.respondToSituation(1, nullptr, args...);
};

template <class T>
constexpr bool isArgument = isReport<T, T>;

struct Pair {
    int left;
    int right;
};

static_assert(isArgument<int> && isArgument<unsigned char> && isArgument<bool> && isArgument<char>);
static_assert(isArgument<const char*> && isArgument<wchar_t*>);
static_assert(!isArgument<long long> && !isArgument<unsigned long long>);
static_assert(!isArgument<double> && !isArgument<float>);
static_assert(!isArgument<Pair> && !isArgument<Pair*> && !isArgument<void*>);
static_assert(!isArgument<const unsigned char*> && !isArgument<UTL_String> &&
              !isArgument<std::wstring>);

// The form with a cursor also takes three arguments: a number's address must not get there.
static_assert(!isReport<int*> && !isReport<Pair*> && isReport<const wchar_t*> && isReport<>);

u64 slotOf(const wchar_t* text)
{
    return reinterpret_cast<std::uintptr_t>(text);
}

} // namespace

TEST(Arguments, RecordedOnesHavePlaces)
{
    const struct {
        int position;
        int place;
    } rows[] = {
        {ZARN_ARG_NEXT, 0},
        {ZARN_ARG_NEXT, 1},
        {3, 3},
        {1, 1}, // does not move the next one
        {-1, -1},
        {std::numeric_limits<int>::min(), -1},
        {5, -1},
        {ZARN_ARG_NEXT - 1, -1},
        {ZARN_ARG_NEXT, 4},
        {ZARN_ARG_NEXT, -1}, // all five are used
        {0, 0},
    };
    const Reporter reporter;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.position);
        EXPECT_EQ(reporter->recordArgument(1, row.position), row.place);
        EXPECT_EQ(reporter->recordArgument(1U, row.position), row.place);
        EXPECT_EQ(reporter->recordArgument(L"", row.position), row.place);
        EXPECT_EQ(reporter->recordArgument("", row.position), -1); // not of this character set
        EXPECT_EQ(reporter->getSelfDX_Code(), 0);
    }

    const Reporter bare([](OpenData& data) {
        data.setCharSetExternal(0);
        data.setArgsIntQty(0);
        data.setArgsStrQty(1);
    });
    EXPECT_EQ(bare->recordArgument(1, 0), -1);
    EXPECT_EQ(bare->recordArgument(1, ZARN_ARG_NEXT), -1);
    EXPECT_EQ(bare->recordArgument(L"", 0), -1);
    EXPECT_EQ(bare->recordArgument("", ZARN_ARG_NEXT), 0);
}

TEST(Arguments, UnsignedOnesReadBackWhileASlotIsFree)
{
    const Reporter reporter;
    reporter->recordArgument(30U, 3);
    EXPECT_EQ(reporter->getArg_UInt(3), 30U);
    EXPECT_EQ(reporter->getArg_UInt(0), 0U); // the gap
    EXPECT_EQ(reporter->getArg_UInt(4), 0U);
    EXPECT_EQ(reporter->getArg_UInt(-1), 0U);
    EXPECT_EQ(reporter->getArg_UInt(std::numeric_limits<int>::max()), 0U);
    reporter->recordArgument(40U, 4);
    EXPECT_EQ(reporter->getArg_UInt(3), 0U);
    reporter->forgetSituation();
    reporter->recordArgument(1U, 3);
    EXPECT_EQ(reporter->getArg_UInt(3), 1U);
}

TEST(Arguments, NarrowStringsReachTheText)
{
    strings()[100] = L"2~0~1~s0`s1~||``%1!hs! and %2!hs!`";
    const Reporter reporter([](OpenData& data) { data.setCharSetExternal(1); });
    const std::string text = toNarrow(L"Gr\u00fc\u00dfe");
    reporter->recordArgument(text.c_str(), 0);
    reporter->recordSituationID(100);
    EXPECT_TRUE(reporter->respondToSituation());
    EXPECT_EQ(reporter.entries(), QStringList{QStringLiteral("Gr\u00fc\u00dfe and (null)")});
}

TEST(Arguments, AreWidenedByTheirSign)
{
    strings()[100] =
        L"2~0~2~d`d`u`u`d`u~||``%1!I64d! %2!I64d! %3!I64u! %4!I64u! %5!I64d! %6!I64u!`";
    const Reporter reporter;
    reporter->respondToSituation(100, nullptr, -1, 0x80000000U, -1, 0xFFFFFFFFU,
                                 static_cast<signed char>(-3), static_cast<unsigned short>(65535));
    EXPECT_EQ(reporter.entries(), QStringList{"-1 -2147483648 4294967295 4294967295 -3 65535"});
}

TEST(Arguments, NinetyNineAreReadAndZerosFollow)
{
    std::wstring fillers = L"u";
    for (int i = 1; i < 99; ++i)
        fillers += L"`u";
    strings()[100] = L"2~0~2~" + fillers + L"||``%1!u! %2!u! %99!u!`";
    strings()[200] = L"2~0~2~u`u||``50%`"; // reads two and fails
    const Reporter reporter([](OpenData& data) { data.setDescriptionFillersQty(99); });

    reporter->respondToSituation(100, nullptr, 7U);
    [&]<std::size_t... i>(std::index_sequence<i...>)
    {
        reporter->respondToSituation(100, nullptr, static_cast<unsigned int>(i + 1)...);
        reporter->respondToSituation(200, nullptr, static_cast<unsigned int>(i + 1)...);
    }
    (std::make_index_sequence<99>());
    EXPECT_EQ(reporter->getSelfDX_Code(), dx::FormatLogFailed);
    reporter->forgetSelfDX_Code();
    reporter->recordSituationID(100); // reads on: 97 are left
    EXPECT_TRUE(reporter->respondToSituation());
    EXPECT_EQ(reporter.entries(), (QStringList{"7 0 0", "1 2 99", "3 4 0"}));
}

TEST(Arguments, NextOneAfterAFailureBeginsAnewWhereThatIsForgiven)
{
    strings()[100] = L"2~0~1~s0`u0`u1||``%1 %2!u! %3!u!`";
    const auto failingReporter = [](Zarn_TOLERANCE tolerance) {
        auto reporter = std::make_unique<Reporter>(
            [=](OpenData& data) { data.setSelfDX_FaultTolerance(tolerance); });
        Zarn* const monitor = reporter->get();
        monitor->recordSituationID(999);
        monitor->recordArgument(L"Ada", ZARN_ARG_NEXT);
        monitor->recordArgument(1U, ZARN_ARG_NEXT);
        monitor->recordArgument(2U, ZARN_ARG_NEXT);
        EXPECT_FALSE(monitor->respondToSituation());
        monitor->recordSituationID(100);
        return reporter;
    };
    const auto forgiving = failingReporter(Zarn_TOLERANCE_FORGIVING);
    EXPECT_EQ((*forgiving)->recordArgument(L"Bob", ZARN_ARG_NEXT), 0);
    EXPECT_EQ((*forgiving)->recordArgument(3U, ZARN_ARG_NEXT), 0);
    EXPECT_TRUE((*forgiving)->respondToSituation());
    EXPECT_EQ(forgiving->entries(), QStringList{"Bob 3 0"}); // nothing of Ada's

    // What was recorded at a position since then is of the new situation.
    const auto mixed = failingReporter(Zarn_TOLERANCE_FORGIVING);
    EXPECT_EQ((*mixed)->recordArgument(4U, 0), 0);
    EXPECT_EQ((*mixed)->recordArgument(L"Bob", ZARN_ARG_NEXT), 0);
    EXPECT_EQ((*mixed)->recordArgument(5U, ZARN_ARG_NEXT), 1);
    EXPECT_TRUE((*mixed)->respondToSituation());
    EXPECT_EQ(mixed->entries(), QStringList{"Bob 4 5"});

    const auto again = failingReporter(Zarn_TOLERANCE_FORGIVING);
    EXPECT_EQ((*again)->recordArgument(7U, 1), 1);
    EXPECT_TRUE((*again)->respondToSituation());
    EXPECT_EQ(again->entries(), QStringList{"Ada 1 7"});

    const auto strict = failingReporter(Zarn_TOLERANCE_NONE);
    EXPECT_EQ((*strict)->recordArgument(L"Bob", ZARN_ARG_NEXT), 1);
}

TEST(Arguments, OfAFailedSituationOutliveTheirCaller)
{
    const Reporter reporter;
    [&] { reporter->respondToSituation(300, nullptr, 3U, L"kept"); }();
    EXPECT_EQ(reporter->getSelfDX_Code(), dx::SpecNotLoaded);
    reporter->forgetSelfDX_Code();

    strings()[300] = L"2~0~2~u`s`s~||``%1!u! %2 %3`";
    reporter->recordSituationID(300);
    EXPECT_TRUE(reporter->respondToSituation()) << reporter->getSelfDX_Code();
    EXPECT_EQ(reporter.entries(), QStringList{"3 kept (null)"});

    // A situation that succeeded has given its cursor back.
    reporter->recordSituationID(300);
    EXPECT_FALSE(reporter->respondToSituation());
    EXPECT_EQ(reporter->getSelfDX_Code(), dx::FillersWithoutCursor);
}

TEST(Arguments, CursorOfTheCallerAdvances)
{
    strings()[100] = L"2~0~2~u`s~||``%1!u! %2`";
    strings()[200] = L"2~0~2~u`x~||``%1!u! %2`";
    const Reporter reporter;
    u64 values[] = {1, slotOf(L"one"), 2, slotOf(L"two")};
    const auto* const begin = reinterpret_cast<const char*>(values);
    char* cursor = reinterpret_cast<char*>(values);

    EXPECT_FALSE(reporter->respondToSituation(999, &cursor, nullptr));
    EXPECT_EQ(cursor - begin, 0);
    reporter.recover();
    EXPECT_TRUE(reporter->respondToSituation(100, &cursor, nullptr));
    EXPECT_EQ(cursor - begin, 16);
    EXPECT_TRUE(reporter->respondToSituation(100, &cursor, nullptr));
    EXPECT_EQ(cursor - begin, 32);
    EXPECT_EQ(reporter.entries(), (QStringList{"1 one", "2 two"}));

    cursor = reinterpret_cast<char*>(values);
    EXPECT_FALSE(reporter->respondToSituation(200, &cursor, nullptr));
    EXPECT_EQ(cursor - begin, 8); // as far as it got
    EXPECT_EQ(reporter->getSelfDX_Code(), dx::FillerLetterUnknown);

    reporter.recover();
    EXPECT_FALSE(reporter->respondToSituation(100, nullptr, static_cast<void*>(nullptr)));
    EXPECT_EQ(reporter->getSelfDX_Code(), dx::FillersWithoutCursor);
    reporter.recover();
    char* none = nullptr;
    EXPECT_FALSE(reporter->respondToSituation(100, &none, nullptr));
    EXPECT_EQ(reporter->getSelfDX_Code(), dx::FillersWithoutCursor);
}
