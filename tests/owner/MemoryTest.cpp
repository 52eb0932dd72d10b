// Memory that runs out: the n-th allocation of a host's life fails, alone or with all that follow,
// for some n of it. The torture program takes every n.
#include <linux/FailingMemory.h>
#include <linux/Life.h>

#include <gtest/gtest.h>

#include <climits>
#include <map>

using namespace zmu_test;

class Memory : public testing::TestWithParam<bool> {};

TEST_P(Memory, RunsOut)
{
    constexpr long samplesQty = 60;
    constexpr int endsInQtMax = 50; // its objects of one thread and one stream, made once
    const Place place(GetParam() ? Place::Form::Full : Place::Form::None);
    ASSERT_EQ(LifeWithoutMemory(place, LONG_MAX, LONG_MAX).failure, "");
    const long count = LifeWithoutMemory::allocations();
    ASSERT_GT(count, samplesQty);
    int endsInQt = 0;
    std::map<std::string, std::string> failures;
    for (long n = 1; n <= count; n += 1 + count / samplesQty) {
        for (const long last : {n, LONG_MAX}) {
            const LifeWithoutMemory life(place, n, last);
            endsInQt += life.endedInQt;
            if (!life.failure.empty())
                failures[life.failure] += ' ' + std::to_string(n) + (last == n ? "" : "+");
        }
    }
    EXPECT_LE(endsInQt, endsInQtMax);
    for (const auto& [failure, numbers] : failures)
        ADD_FAILURE() << failure << ':' << numbers;
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutAForm, Memory, testing::Bool());
