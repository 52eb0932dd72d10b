#include "NatsServer.h"
#include "SpoolFolder.h"

#include "../tools/ToolRun.h"

#include <tools/ship/Names.h>
#include <tools/ship/Publisher.h>
#include <tools/ship/Puller.h>
#include <tools/ship/ServerCollector.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <thread>

#include <QThread>

using namespace zmu_test;
using namespace zmu_tools::ship;
using zmu::u64;

namespace {

/// What a collector has written, and would find again after a kill.
struct Written {
    std::mutex mutex;
    std::map<std::string, std::vector<u64>> numbers; ///< By source.
    u64 missingQty = 0;
    std::vector<std::string> leftOut;
    Bookmark bookmark;

    std::size_t linesQty()
    {
        const std::scoped_lock lock(mutex);
        std::size_t qty = 0;
        for (const auto& [source, all] : numbers)
            qty += all.size();
        return qty;
    }
};

class Collected : public Destination {
  public:
    Collected(Written& written, std::string id) : m_written(written), m_id(std::move(id)) {}

    std::string id() override { return m_id; }
    Bookmark bookmark() override { return m_written.bookmark; }
    u64 lastOf(const std::string& source) override
    {
        const auto& numbers = m_written.numbers[source];
        return numbers.empty() ? 0 : numbers.back();
    }
    void take(const ServedLine& line) override
    {
        const std::scoped_lock lock(m_written.mutex);
        m_written.numbers[line.source].push_back(line.line.sequence);
        m_written.missingQty += line.missing;
        EXPECT_EQ(line.mayHaveBeenRead, line.missing != 0);
    }
    void leaveOut(const LeftOut& leftOut) override
    {
        const std::scoped_lock lock(m_written.mutex);
        m_written.leftOut.push_back(leftOut.where + ": " + leftOut.what);
    }
    void save(const Bookmark& bookmark, bool) override
    {
        if (!m_diesBeforeSaving)
            m_written.bookmark = bookmark;
        if (m_diesBeforeSaving)
            throw std::runtime_error("dead");
    }

    std::atomic<bool> m_diesBeforeSaving = false;

  private:
    Written& m_written;
    const std::string m_id;
};

/// A collector in a thread, until it is stopped, or dies before it acknowledges what it has
/// written.
class Running {
  public:
    Running(const NatsServer& server, Written& written, const char* id,
            const std::vector<std::string>& takeOver = {})
        : m_destination(written, id), m_thread([this, options = server.options(), takeOver] {
              try {
                  collectFromServers(options, {"group", takeOver}, m_destination, {},
                                     [this] { return m_goesOn.load(); });
              } catch (const ServerError& error) {
                  EXPECT_NE(std::string(error.what()).find("was heard of within"),
                            std::string::npos)
                      << error.what();
                  m_isRefused = true;
              } catch (const std::runtime_error& error) {
                  EXPECT_STREQ(error.what(), "dead");
              }
          })
    {}
    ~Running() { m_goesOn = false; }
    void die() { m_destination.m_diesBeforeSaving = true; }
    bool isRefused() const { return m_isRefused; }

  private:
    Collected m_destination;
    std::atomic<bool> m_goesOn = true;
    std::atomic<bool> m_isRefused = false;
    std::jthread m_thread;
};

class ServerCollectorTest : public testing::Test {
  protected:
    void ship(const NatsServer& server)
    {
        const ToolRun run = runTool({"ship", m_spool.path(), "--server", server.url(),
                                     "--positions", m_spool.path() + "/positions", "--once"});
        ASSERT_EQ(run.exit, zmu_tools::Exit::Good) << run.errors;
        ASSERT_TRUE(m_spool.files().filter(".spool").isEmpty()) << run.errors;
    }

    SpoolFolder m_spool;
};

void expectWhole(const std::vector<u64>& numbers, u64 last, u64 first = 1)
{
    ASSERT_EQ(numbers.size(), last - first + 1);
    for (std::size_t i = 0; i < numbers.size(); ++i)
        ASSERT_EQ(numbers[i], first + i);
}

} // namespace

TEST_F(ServerCollectorTest, SharesProcessesAndTakesEachLineOnceWhoeverDies)
{
    SKIP_WITHOUT_SERVER();
    const NatsServer server;
    Written one, two;
    constexpr u64 processesQty = 24;
    {
        Running first(server, one, "one");
        const Running second(server, two, "two");
        QThread::sleep(6); // by then they know of each other
        for (u64 process = 1; process <= processesQty; ++process)
            m_spool.add(process, 1, 100);
        ship(server);
        EXPECT_TRUE(becomesTrue([&] { return one.linesQty() + two.linesQty() == 2400; }));
        first.die(); // with its next lines written, and nobody told
        for (u64 process = 1; process <= processesQty; ++process)
            m_spool.add(process, 101, 150);
        ship(server);
        EXPECT_TRUE(becomesTrue([&] { return one.linesQty() + two.linesQty() > 2400; }));
    }
    EXPECT_GT(one.linesQty(), 0U);
    EXPECT_GT(two.linesQty(), 0U);
    const Running again(server, one, "one"), second(server, two, "two");
    EXPECT_TRUE(becomesTrue([&] { return one.linesQty() + two.linesQty() >= processesQty * 150; }));
    QThread::sleep(1);
    EXPECT_EQ(one.numbers.size() + two.numbers.size(), processesQty);
    for (const Written* written : {&one, &two}) {
        for (const auto& [source, numbers] : written->numbers)
            expectWhole(numbers, 150);
    }
}

TEST_F(ServerCollectorTest, TakesOverFromOneThatIsNotThereWhatThatHadNotAcknowledged)
{
    SKIP_WITHOUT_SERVER();
    const NatsServer server;
    Written one, two;
    constexpr u64 processesQty = 5;
    const auto report = [&](u64 first, u64 last) {
        for (u64 process = 1; process <= processesQty; ++process)
            m_spool.add(process, first, last);
        ship(server);
    };
    const Running lost(server, one, "one");
    report(1, 100);
    const ServerOptions options = server.options();
    Connection connection(options, "looker");
    ASSERT_TRUE(connection.await(std::chrono::seconds(30)));
    Puller looker(connection, options.stream, "looker", {});
    Bookmark end;
    ASSERT_TRUE(becomesTrue(
        [&] { return looker.findEndOf("group-one", end) && end.place == processesQty * 100; }));
    std::unique_lock held(one.mutex); // which stops it in the midst of what comes next
    report(101, 150);
    const std::vector<std::string> takeOver = {"one"};
    std::optional<Running> heir(std::in_place, server, two, "two", takeOver);
    EXPECT_TRUE(becomesTrue([&] { return heir->isRefused(); }));
    EXPECT_EQ(two.linesQty(), 0U);
    EXPECT_TRUE(becomesTrue([&] {
        if (heir->isRefused())
            heir.emplace(server, two, "two", takeOver);
        QThread::msleep(500);
        return two.linesQty() == processesQty * 50;
    }));
    held.unlock(); // it was alive after all
    report(151, 160);
    EXPECT_TRUE(becomesTrue([&] { return two.linesQty() >= processesQty * 60; }));
    QThread::sleep(1);
    const std::scoped_lock lock(one.mutex, two.mutex);
    EXPECT_EQ(two.missingQty, processesQty * 100); // which is told
    ASSERT_EQ(two.numbers.size(), processesQty);
    for (const auto& [source, numbers] : two.numbers) {
        expectWhole(numbers, 160, 101);
        EXPECT_LE(one.numbers[source].back(), 150U);
    }
}

TEST_F(ServerCollectorTest, LeavesOutWhatIsNoLineOrFromAnotherHost)
{
    SKIP_WITHOUT_SERVER();
    const NatsServer server;
    m_spool.add(7, 1, 2, L"good", L"h7");
    ship(server);
    const std::string good = server.messages().front().text;
    std::string other = good;
    other.replace(other.find("\"sequence\":1"), 12, "\"sequence\":9");
    server.publish({
        {"zmu.h8", "1", "", "me", other}, // h8 speaks for h7
        {"zmu.h7", "2", "", "me", good.substr(0, 40)},
        {"zmu.h7", "3", "", "me", std::string(500000, '[')},
        {"zmu.h7.x", "4", "", "me", ""},
        {"zmu.h7", "5", "18446744073709551615", "../../etc", other},
    });
    Written written;
    const Running collector(server, written, "one");
    EXPECT_TRUE(becomesTrue([&] {
        const std::size_t qty = written.linesQty();
        const std::scoped_lock lock(written.mutex);
        return qty == 3 && written.leftOut.size() == 4;
    }));
    const std::scoped_lock lock(written.mutex);
    EXPECT_NE(written.leftOut[0].find("subject zmu.h8: the subject is not that of its host"),
              std::string::npos)
        << written.leftOut[0];
    EXPECT_EQ(written.numbers.size(), 2U);
    for (const auto& [source, numbers] : written.numbers)
        EXPECT_EQ(source.find_first_of("/\\ \n"), std::string::npos) << source;
}

TEST_F(ServerCollectorTest, TellsUsersApartByTheirNumbers)
{
    SKIP_WITHOUT_SERVER();
    const NatsServer server;
    m_spool.add(7, 1, 2, L"text", L"h7");
    ship(server);
    const std::vector<StoredMessage> lines = server.messages();
    const std::string one = lines.at(0).text, two = lines.at(1).text;
    server.publish({
        {"zmu.h7", "1", "0", "ada", one, "7001"},
        {"zmu.h7", "2", "1", "7001", two, "7001"}, // nobody knew the name just then
        {"zmu.h7", "3", "0", "ada", one, "7002"},
    });
    Written written;
    const Running collector(server, written, "one");
    EXPECT_TRUE(becomesTrue([&] { return written.linesQty() == 5; }));
    const std::scoped_lock lock(written.mutex);
    EXPECT_EQ(written.numbers["h7.7001.7.1700000000000000000"], (std::vector<u64>{1, 2}));
    EXPECT_EQ(written.numbers["h7.7002.7.1700000000000000000"], std::vector<u64>{1});
}

TEST_F(ServerCollectorTest, TellsOnceOfWhatIsNoLine)
{
    SKIP_WITHOUT_SERVER();
    const NatsServer server;
    server.publish({{"zmu.h7", "1", "", "me", "junk"}});
    m_spool.add(7, 1, 2, L"good", L"h7");
    ship(server);
    Written written;
    {
        const Running collector(server, written, "one");
        EXPECT_TRUE(becomesTrue([&] { return written.linesQty() == 2; }));
    }
    written.bookmark.place = 0; // a line before it was waited for
    m_spool.add(7, 3, 4, L"good", L"h7");
    ship(server);
    const Running collector(server, written, "one");
    EXPECT_TRUE(becomesTrue([&] { return written.linesQty() == 4; }));
    const std::scoped_lock lock(written.mutex);
    EXPECT_EQ(written.leftOut.size(), 1U);
}

TEST_F(ServerCollectorTest, FindsWhatAnotherServerHasAtAnEarlierPlace)
{
    SKIP_WITHOUT_SERVER();
    const NatsServer server;
    m_spool.add(7, 1, 300);
    ship(server);
    Written written;
    {
        const Running collector(server, written, "one");
        EXPECT_TRUE(becomesTrue([&] { return written.linesQty() == 300; }));
    }
    // The one that led before had a message more.
    m_spool.add(7, 301, 400);
    ship(server);
    ++written.bookmark.place;
    const Running collector(server, written, "one");
    EXPECT_TRUE(becomesTrue([&] { return written.linesQty() >= 400; }));
    const std::scoped_lock lock(written.mutex);
    ASSERT_EQ(written.numbers.size(), 1U);
    expectWhole(written.numbers.begin()->second, 400);
}

TEST_F(ServerCollectorTest, AsksAnewWhereAServerGivesLessThanTheOthersHave)
{
    SKIP_WITHOUT_SERVER();
    const NatsServer server;
    m_spool.add(7, 1, 300);
    ship(server);
    Written written;
    const Running collector(server, written, "one");
    EXPECT_TRUE(becomesTrue([&] { return written.linesQty() == 300; }));
    // As good as left behind: it gives nothing more, and knows of nothing that it could give.
    const ServerOptions options = server.options();
    Connection connection(options, "meddler");
    ASSERT_TRUE(connection.await(std::chrono::seconds(30)));
    jsConsumerConfig config;
    jsConsumerConfig_Init(&config);
    config.Durable = "group-one";
    config.AckPolicy = js_AckAll;
    config.FilterSubject = "zmu.nobody";
    jsConsumerInfo* made = nullptr;
    ASSERT_EQ(js_UpdateConsumer(&made, connection.jetStream(), "ZMU", &config, nullptr, nullptr),
              NATS_OK);
    jsConsumerInfo_Destroy(made);
    m_spool.add(7, 301, 400);
    ship(server);
    EXPECT_TRUE(becomesTrue([&] { return written.linesQty() == 400; }));
}

TEST(PullerTest, BeginsAnewWithAStreamThatIsNotThatOfItsBookmark)
{
    SKIP_WITHOUT_SERVER();
    const NatsServer server;
    constexpr u64 qty = 9000, againQty = 8192;
    std::vector<Outgoing> messages;
    for (u64 i = 1; i <= qty; ++i)
        messages.push_back({"zmu.h7", std::to_string(i), "", "me", "text"});
    server.publish(messages);
    const ServerOptions options = server.options();
    Connection connection(options, "puller");
    ASSERT_TRUE(connection.await(std::chrono::seconds(30)));
    std::vector<Pulled> pulled;
    Puller all(connection, options.stream, "all", {});
    ASSERT_TRUE(becomesTrue(
        [&] { return all.pull(pulled) && all.bookmarkBefore(std::nullopt).place == qty; }));
    const Bookmark mark = all.bookmarkBefore(std::nullopt);
    const auto firstWith = [&](const Bookmark& floor) {
        Puller puller(connection, options.stream, "again", floor);
        EXPECT_TRUE(becomesTrue([&] { return puller.pull(pulled) && !pulled.empty(); }));
        return pulled.front().place;
    };
    EXPECT_EQ(firstWith(mark), qty + 1 - againQty);
    Bookmark other = mark;
    other.place -= 2; // another server, which has two more
    EXPECT_EQ(firstWith(other), qty - 1 - againQty);
    other = mark;
    --other.time; // its end was lost, and it was filled again
    EXPECT_EQ(firstWith(other), 1U);
    other = mark;
    --other.streamMade;
    EXPECT_EQ(firstWith(other), 1U);
}

TEST(PullerTest, TakesAllInItsOrderFromAServerThatIsHeldNowAndThen)
{
    SKIP_WITHOUT_SERVER();
    NatsServer server;
    const ServerOptions options = server.options();
    constexpr u64 roundsQty = 24, roundQty = 1500, holdInterval = 4000;
    const std::jthread other([&options](const std::stop_token& stop) {
        Connection connection(options, "publisher");
        Publisher publisher(connection, options.stream, [&] { return !stop.stop_requested(); });
        for (u64 round = 0; round < roundsQty; ++round) {
            std::vector<Outgoing> messages;
            for (u64 i = 1; i <= roundQty; ++i) {
                const std::string number = std::to_string(round * roundQty + i);
                messages.push_back({"zmu.h7", number, "", "me", number});
            }
            publisher.publish(messages);
        }
    });
    Connection connection(options, "puller");
    Puller puller(connection, options.stream, "one", {});
    std::set<u64> places;
    u64 before = 0, holdsQty = 0;
    const bool isAll = becomesTrue([&] {
        // Requests pile up with it, of which nobody waits for the answers when they come.
        const bool isHeld = holdsQty < 4 && places.size() > holdInterval * holdsQty;
        if (isHeld)
            server.hold();
        std::vector<Pulled> messages;
        for (int i = 0; i < (isHeld ? 5 : 1); ++i) {
            if (!connection.await(std::chrono::seconds(1)) || !puller.pull(messages))
                continue;
            for (const Pulled& each : messages) {
                // Some come again if the machine is so slow that the connection is given up.
                places.insert(each.place);
                EXPECT_LE(each.place, before + 1);
                EXPECT_EQ(each.isNew, each.place == before + 1);
                before = std::max(before, each.place);
            }
            puller.acknowledge({});
        }
        if (isHeld) {
            server.letGo();
            ++holdsQty;
        }
        return places.size() == roundsQty * roundQty;
    });
    EXPECT_TRUE(isAll) << places.size();
}
