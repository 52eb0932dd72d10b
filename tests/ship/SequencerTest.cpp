#include <tools/ship/Sequencer.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

using namespace zmu_tools::ship;
using zmu::u64;

namespace {

class SequencerTest : public testing::Test {
  protected:
    Sequencer make(Sequencer::Limits limits)
    {
        return {[](const std::string& source) { return source == "known" ? 50U : 0U; },
                [this](const Arrival& arrival, const Sequencer::Before& before) {
                    m_taken.push_back(
                        arrival.source + ' ' + std::to_string(arrival.sequence) +
                        (before.missing ? " -" + std::to_string(before.missing) : "") +
                        (before.mayHaveBeenRead ? " perhaps" : "") +
                        (before.isLate ? " late" : ""));
                },
                limits};
    }
    void offer(const char* source, u64 number, std::optional<u64> after, std::size_t size = 10)
    {
        m_sequencer.offer({source, "", std::string(size, 'x'), number, after, ++m_place}, m_now);
    }
    std::vector<std::string> taken() { return std::exchange(m_taken, {}); }
    using Lines = std::vector<std::string>;

    std::vector<std::string> m_taken;
    u64 m_place = 0;
    Sequencer::Clock::time_point m_now = Sequencer::Clock::now();
    Sequencer m_sequencer = make({std::chrono::seconds(60), std::chrono::seconds(10), 1000, 20});
};

} // namespace

TEST_F(SequencerTest, KeepsWhatComesTooEarlyUntilItsTurn)
{
    offer("a", 1, 0);
    offer("a", 4, 3); // places 2 and 3 of the stream
    offer("a", 5, 4);
    offer("b", 1, 0);
    EXPECT_EQ(taken(), (Lines{"a 1", "b 1"}));
    EXPECT_EQ(m_sequencer.firstPlace(), 2U);
    offer("a", 4, 3); // as after a loss of the connection
    offer("a", 3, 1); // 2 was refused
    EXPECT_EQ(taken(), (Lines{"a 3 -1", "a 4", "a 5"}));
    EXPECT_FALSE(m_sequencer.firstPlace());
    offer("a", 3, 1);
    offer("a", 5, 4);
    EXPECT_EQ(taken(), Lines{});

    offer("known", 50, 49); // in an earlier life
    offer("known", 51, 50);
    offer("c", 7, std::nullopt); // whoever sent it did not know
    EXPECT_EQ(taken(), (Lines{"known 51", "c 7"}));
}

TEST_F(SequencerTest, BringsAnyOrderIntoThatOfTheProcess)
{
    std::mt19937 random(17);
    std::vector<u64> numbers(60);
    Lines wanted;
    for (u64 i = 0; i < numbers.size(); ++i) {
        numbers[i] = i + 1;
        wanted.push_back("a " + std::to_string(i + 1));
    }
    std::shuffle(numbers.begin(), numbers.end(), random);
    for (const u64 number : numbers)
        offer("a", number, number - 1);
    EXPECT_EQ(taken(), wanted);
    EXPECT_FALSE(m_sequencer.firstPlace());
}

TEST_F(SequencerTest, WaitsNotForEverAndTakesWhatIsLate)
{
    offer("a", 1, 0);
    offer("a", 5, 4);
    offer("quiet", 8, 7); // of which all is forgotten
    m_now += std::chrono::seconds(9);
    m_sequencer.expire(m_now);
    EXPECT_EQ(taken(), Lines{"a 1"});
    m_now += std::chrono::seconds(50);
    m_sequencer.expire(m_now);
    EXPECT_EQ(taken(), Lines{"quiet 8 -7 perhaps"});
    m_now += std::chrono::seconds(1);
    m_sequencer.expire(m_now);
    EXPECT_EQ(taken(), Lines{"a 5 -3"});
    offer("a", 3, 2);
    offer("a", 3, 2);
    offer("a", 6, 5);
    offer("a", 2, 1);
    EXPECT_EQ(taken(), (Lines{"a 3 late", "a 6", "a 2 late"}));
}

TEST_F(SequencerTest, WhoSendsWithoutAnEndCostsNobodyElse)
{
    offer("good", 2, 1);
    for (u64 i = 1; i <= 100; ++i)
        offer("bad", 10 * i, 10 * i - 1, 50);
    const Lines lines = taken();
    EXPECT_EQ(lines.size(), 81U); // the limit holds 19 of them beside that of the other
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "good 2 -1"), 0);
    offer("good", 1, 0);
    EXPECT_EQ(taken(), (Lines{"good 1", "good 2"}));

    for (int i = 0; i < 1000; ++i) // sources without an end
        offer(("s" + std::to_string(i)).c_str(), 1, 0);
    taken();
    offer("s999", 1, 0);
    EXPECT_EQ(taken(), Lines{});
}
