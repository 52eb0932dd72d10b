// How a data set judges situations: criteria against traits.
#include <zmu/monitor/ZarnData.h>

#include <gtest/gtest.h>

namespace {

constexpr u64 respond = ZARN_RESPOND_MASK;

constexpr u64 level(u64 value, int shift)
{
    return value << shift;
}

TEST(Traits, ApproveByFieldAndKind)
{
    constexpr u64 allFields = 0x1FFFFFFE000000;
    constexpr u64 everyBit = ~u64(0);
    const struct {
        const char* what;
        u64 criteria;
        u64 traits;
        bool approved;             ///< By the default assessor.
        unsigned int enablements1; ///< Of kind 1.
        unsigned int enablements2;
    } rows[] = {
        {"nothing", 0, 0, false, 0, 0},
        {"no respond bit", allFields, allFields, false, 0, 0},
        {"no traits", respond | allFields, 0, false, 11, 0},
        {"no fields", respond, everyBit, false, 11, 0},
        {"everything", everyBit, everyBit, true, 11, 63},
        {"lowest respond bit", u64(1) << 61 | level(1, 29), level(1, 29), true, 11, 2},
        {"above the levels", u64(1) << 60 | level(1, 29), level(1, 29), false, 0, 0},
        {"defaults", ZARN_DEFAULT_BEHAVIOR_CRITERIA, ZARN_DEFAULT_RESPONSE_TRAITS, true, 11, 2},
        {"default criteria", ZARN_DEFAULT_BEHAVIOR_CRITERIA, everyBit, true, 11, 3},
        {"level above", respond | level(2, 29), level(3, 29), false, 11, 0},
        {"level equal", respond | level(2, 29), level(2, 29), true, 11, 2},
        {"level below", respond | level(2, 29), level(1, 29), true, 11, 2},
        {"other field", respond | level(15, 33), level(1, 29), false, 11, 0},
        {"field 25", respond | level(15, 25), level(15, 25), true, 11, 8},
        {"field 33", respond | level(15, 33), level(15, 33), true, 11, 32},
        {"field 37", respond | level(15, 37), level(15, 37), true, 11, 1},
        {"field 41 has no enablement", respond | level(15, 41), level(15, 41), true, 11, 0},
        {"field 45", respond | level(15, 45), level(15, 45), true, 11, 16},
        {"field 49", respond | level(15, 49), level(15, 49), true, 11, 4},
        {"two of three", respond | level(3, 25) | level(3, 29) | level(3, 49),
         level(3, 25) | level(4, 29) | level(1, 49), true, 11, 12},
        {"below the fields", respond | 0x1FFFFFF, 0x1FFFFFF, false, 11, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        ZarnData data;
        data.setBehaviorCriteria(row.criteria);
        EXPECT_EQ(data.canRespondToSituations(), row.enablements1 ? Zarn_FUZZY_YES : Zarn_FUZZY_NO);
        EXPECT_EQ(data.approveSituationResponseTraits(row.traits), row.approved);
        for (unsigned int kind = 0; kind <= 3; ++kind) {
            const unsigned int expected = kind == 1   ? row.enablements1
                                          : kind == 2 ? row.enablements2
                                                      : 0;
            unsigned int enablements = 4711;
            EXPECT_EQ(data.approveSituationResponseTraits(kind, row.traits, enablements),
                      expected != 0);
            EXPECT_EQ(enablements, expected) << kind;
        }
    }
}

} // namespace
