#include "ServerCollector.h"

#include "Group.h"
#include "Names.h"
#include "Publisher.h"
#include "Puller.h"
#include "Sequencer.h"
#include "Stream.h"

#include <tools/Text.h>

#include <algorithm>
#include <charconv>
#include <deque>
#include <thread>
#include <utility>

using namespace zmu_spool;
using zmu::u64;

namespace zmu_tools::ship {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds connectPatience{1};
/// For which whoever else should take a source may let it wait.
constexpr std::chrono::seconds takerPatience{3};
/// Of lines that wait until it is known who takes their source.
constexpr std::size_t undecidedBytes = 16 << 20;
/// After which servers are believed that there is nothing from before the start.
constexpr std::chrono::minutes settling{2};
/// For which lines wait for one that is missing before it is looked for among what has been.
constexpr std::chrono::seconds lookPatience{10};
constexpr std::chrono::seconds lookInterval{60};
/// After which servers that give nothing are asked whether that is all.
constexpr std::chrono::seconds quietPatience{10};
constexpr std::size_t ownerQty = 256;

std::string headerOf(natsMsg* message, const char* name)
{
    const char* value = nullptr;
    return natsMsgHeader_Get(message, name, &value) == NATS_OK && value ? value : "";
}

class ServerCollector {
  public:
    ServerCollector(const ServerOptions& options, const GroupOptions& group,
                    Destination& destination)
        : m_options(options), m_groupOptions(group), m_destination(destination),
          m_connection(options, "zmu collect"),
          m_group(m_connection, group.name, destination.id(), options.stream),
          m_puller(m_connection, options.stream, durableOf(destination.id()),
                   destination.bookmark()),
          m_sequencer([this](const std::string& source) { return m_destination.lastOf(source); },
                      [this](const Arrival& arrival, const Sequencer::Before& before) {
                          handOn(arrival, before);
                      })
    {}

    void run(std::optional<std::chrono::seconds> patience, const std::function<bool()>& mayGoOn)
    {
        for (const std::string& id : m_groupOptions.takeOver) {
            while (mayGoOn() && !takeOver(id))
                std::this_thread::sleep_for(connectPatience);
        }
        std::vector<Pulled> messages;
        Clock::time_point restingSince = Clock::now();
        while (mayGoOn()) {
            if (!m_connection.await(connectPatience))
                continue;
            m_group.keepUp();
            messages.clear();
            // While it cannot be found out who takes them, no more are taken in.
            const bool isPulled = m_undecidedBytes <= undecidedBytes && m_puller.pull(messages);
            if (!isPulled)
                std::this_thread::sleep_for(connectPatience);
            for (const Pulled& pulled : messages)
                look(pulled);
            decide();
            m_sequencer.expire(Clock::now());
            lookForMissing();
            if (isPulled)
                lookForMore(messages.empty());
            const std::optional<u64> open = firstOpenPlace();
            const bool isResting = isPulled && messages.empty() && !open;
            // What one server says soon after a start may be behind what the others have.
            if (isResting && !m_isSettled && Clock::now() - m_begun >= settling)
                m_isSettled = m_puller.isAtEnd();
            m_destination.save(m_puller.bookmarkBefore(open), m_isSettled);
            m_puller.acknowledge(open);
            if (!isResting)
                restingSince = Clock::now();
            else if (patience && Clock::now() - restingSince >= *patience && m_puller.isAtEnd())
                return;
        }
    }

  private:
    struct Undecided {
        std::deque<Arrival> arrivals;
        Clock::time_point since;
    };

    /// The name by which the servers know the puller of a collector.
    std::string durableOf(const std::string& id) const { return m_groupOptions.name + '-' + id; }

    /// Makes what another collector has taken this one's. False if it has to be tried again.
    bool takeOver(const std::string& id)
    {
        if (id == m_destination.id())
            throw ServerError("the collector " + id + " is this one: it has its processes already");
        std::vector<Group::Taken> taken;
        if (!m_connection.await(connectPatience) || !m_group.findTakenBy(id, taken))
            return false;
        if (taken.empty()) {
            m_connection.tell(
                "no process" +
                (m_options.stream.host.empty() ? std::string() : " of " + m_options.stream.host) +
                " belongs to the collector " + id + " of " + m_groupOptions.name +
                ", or none does any more");
            return true;
        }
        if (m_group.isPresent(id))
            throw ServerError("the collector " + id + " of " + m_groupOptions.name +
                              " was heard of within the last 20 seconds, and its processes stay "
                              "with it. If it is gone for good, try again in 20 seconds");
        Bookmark end;
        if (!m_puller.findEndOf(durableOf(id), end))
            return false;
        // What follows there is not forgotten any more, whenever this is killed.
        if (!m_puller.goBackTo(end))
            return false;
        m_destination.save(m_puller.bookmarkBefore(std::nullopt), false);
        if (!m_group.takeOver(taken, {end.time, end.place}))
            return false;
        m_connection.tell(std::to_string(taken.size()) + " processes of the collector " + id +
                          " belong to this one now, with what it had not acknowledged");
        if (m_group.isPresent(id))
            m_connection.tell("the collector " + id +
                              " has come back meanwhile: start it again, "
                              "so that it asks which processes are not its own any more");
        return true;
    }

    void look(const Pulled& pulled)
    {
        natsMsg* const message = pulled.message.get();
        Arrival arrival;
        arrival.text.assign(natsMsg_GetData(message),
                            static_cast<std::size_t>(natsMsg_GetDataLength(message)));
        arrival.place = pulled.place;
        arrival.time = pulled.time;
        const char* const subject = natsMsg_GetSubject(message);
        if (const LineFault fault = readSpoolLine(arrival.text, m_line)) {
            leaveOut(pulled, subject, describe(fault));
            return;
        }
        // Servers can be told who may publish to which subject, so that a host speaks for itself.
        if (subjectHost(subject) != wordOf(m_line.host)) {
            leaveOut(pulled, subject, "the subject is not that of its host \"" + m_line.host + '"');
            return;
        }
        arrival.owner = harmless(headerOf(message, ownerHeader)).substr(0, ownerQty);
        // Whoever publishes without it has nothing else to tell users apart.
        const std::string user = headerOf(message, userHeader);
        arrival.source = sourceOf(m_line, user.empty() ? arrival.owner : user);
        arrival.sequence = m_line.sequence;
        const std::string after = headerOf(message, afterHeader);
        u64 number = 0;
        const auto [end, error] =
            std::from_chars(after.data(), after.data() + after.size(), number);
        if (error == std::errc() && end == after.data() + after.size() && number < arrival.sequence)
            arrival.after = number;
        put(std::move(arrival));
    }

    static std::string_view subjectHost(std::string_view subject)
    {
        return subject.substr(subject.find_last_of('.') + 1);
    }

    void lookForMissing()
    {
        const Clock::time_point present = Clock::now();
        const std::optional<u64> first = m_sequencer.firstPlace();
        if (first != m_waitingPlace) {
            m_waitingPlace = first;
            m_nextLook = present + lookPatience;
        } else if (first && present >= m_nextLook) {
            m_puller.lookAgain();
            m_nextLook = present + lookInterval;
        }
    }

    void lookForMore(bool isQuiet)
    {
        const Clock::time_point present = Clock::now();
        if (isQuiet && present < m_nextQuestion)
            return;
        m_nextQuestion = present + quietPatience;
        if (!isQuiet || !m_puller.isBehind())
            return;
        m_connection.tell("the server that gives what is in the stream " + m_options.stream.name +
                          " has not all of it; asking anew");
        m_puller.lookAgain();
    }

    void leaveOut(const Pulled& pulled, const char* subject, const std::string& what)
    {
        constexpr int sampleQty = 1024;
        if (!pulled.isNew)
            return; // it was told
        natsMsg* const message = pulled.message.get();
        m_destination.leaveOut(
            {pulled.place,
             "message " + std::to_string(pulled.place) + " of the stream " + m_options.stream.name +
                 ", subject " + subject,
             what,
             {natsMsg_GetData(message),
              static_cast<std::size_t>(std::min(natsMsg_GetDataLength(message), sampleQty))}});
    }

    /// What waits for its source to be decided goes first.
    void put(Arrival arrival)
    {
        const auto waiting = m_undecided.find(arrival.source);
        if (waiting != m_undecided.end()) {
            m_undecidedBytes += arrival.text.size();
            waiting->second.arrivals.push_back(std::move(arrival));
            return;
        }
        const Group::Taking taking = m_group.takerOf(arrival.source, false);
        switch (taking.taker) {
        case Group::Taker::Me:
            offer(std::move(arrival), taking.begin);
            break;
        case Group::Taker::Other:
            break;
        case Group::Taker::Nobody:
        case Group::Taker::Unknown:
            m_undecidedBytes += arrival.text.size();
            Undecided& undecided = m_undecided[arrival.source];
            undecided.since = Clock::now();
            undecided.arrivals.push_back(std::move(arrival));
        }
    }

    void decide()
    {
        const bool isRoomShort = m_undecidedBytes > undecidedBytes;
        for (auto each = m_undecided.begin(); each != m_undecided.end();) {
            auto& [source, undecided] = *each;
            const bool isOverdue = isRoomShort || Clock::now() - undecided.since >= takerPatience;
            const auto [taker, begin] = m_group.takerOf(source, isOverdue);
            if (taker == Group::Taker::Nobody || taker == Group::Taker::Unknown) {
                ++each;
                continue;
            }
            for (Arrival& arrival : undecided.arrivals) {
                m_undecidedBytes -= arrival.text.size();
                if (taker == Group::Taker::Me)
                    offer(std::move(arrival), begin);
            }
            each = m_undecided.erase(each);
        }
    }

    /// Into its order, unless it was another's to take.
    void offer(Arrival arrival, const Junction& begin)
    {
        if (Junction{arrival.time, arrival.place} <= begin)
            m_sequencer.pass(arrival.source, arrival.sequence, Clock::now());
        else
            m_sequencer.offer(std::move(arrival), Clock::now());
    }

    /// The first place in the stream that is not dealt with.
    std::optional<u64> firstOpenPlace() const
    {
        std::optional<u64> first = m_sequencer.firstPlace();
        for (const auto& [source, undecided] : m_undecided) {
            const u64 place = undecided.arrivals.front().place;
            first = std::min(first.value_or(place), place);
        }
        return first;
    }

    void handOn(const Arrival& arrival, const Sequencer::Before& before)
    {
        if (!readSpoolLine(arrival.text, m_line)) // again: it may have waited
            m_destination.take({arrival.source, arrival.owner, arrival.text, m_line, before.missing,
                                before.mayHaveBeenRead, before.isLate});
    }

    const ServerOptions& m_options;
    const GroupOptions& m_groupOptions;
    Destination& m_destination;
    Connection m_connection;
    Group m_group;
    Puller m_puller;
    Sequencer m_sequencer;
    SpoolLine m_line;
    const Clock::time_point m_begun = Clock::now();
    std::optional<u64> m_waitingPlace; ///< The first of what is kept for something missing.
    Clock::time_point m_nextLook;
    Clock::time_point m_nextQuestion;
    bool m_isSettled = false; ///< Nothing from before the start comes again.
    std::unordered_map<std::string, Undecided> m_undecided;
    std::size_t m_undecidedBytes = 0;
};

} // namespace

void collectFromServers(const ServerOptions& options, const GroupOptions& group,
                        Destination& destination, std::optional<std::chrono::seconds> patience,
                        const std::function<bool()>& mayGoOn)
{
    ServerCollector(options, group, destination).run(patience, mayGoOn);
}

void watchHosts(
    const ServerOptions& options,
    const std::function<void(const std::set<std::string>& hosts, const LastOf& lastOf)>& take,
    const std::function<bool()>& mayGoOn)
{
    constexpr int interval = 5; // seconds
    constexpr std::size_t hostQty = 100;
    bool isToldOfOthers = false;
    const std::string subjects = options.stream.subject + ".*";
    jsOptions asked;
    jsOptions_Init(&asked);
    asked.Stream.Info.SubjectsFilter = subjects.c_str();
    Connection connection(options, "zmu collect");
    const LastOf lastOf = [&](const std::string& host) {
        const std::string subject = options.stream.subject + '.' + host;
        natsMsg* last = nullptr;
        const natsStatus status =
            js_GetLastMsg(&last, connection.jetStream(), options.stream.name.c_str(),
                          subject.c_str(), nullptr, nullptr);
        const OwnedMessage message(last);
        return status == NATS_OK ? zmu::i64{natsMsg_GetTime(last)} : 0;
    };
    while (mayGoOn()) {
        jsStreamInfo* found = nullptr;
        if (connection.await(connectPatience) &&
            ensureStream(connection, options.stream).replicas != 0 &&
            js_GetStreamInfo(&found, connection.jetStream(), options.stream.name.c_str(), &asked,
                             nullptr) == NATS_OK) {
            const Owned<jsStreamInfo, jsStreamInfo_Destroy> info(found);
            const jsStreamStateSubjects* const list = found->State.Subjects;
            std::set<std::string> hosts;
            for (int i = 0; list && i < list->Count; ++i) {
                const std::string host = list->List[i].Subject + options.stream.subject.size() + 1;
                if (isHostWord(host))
                    hosts.insert(host);
                else if (!std::exchange(isToldOfOthers, true))
                    connection.tell("something in the stream " + options.stream.name +
                                    " has a subject that is no host's, and stays there: " +
                                    harmless(host.substr(0, hostQty)));
            }
            take(hosts, lastOf);
        }
        for (int i = 0; i < interval && mayGoOn(); ++i)
            std::this_thread::sleep_for(std::chrono::seconds(1));
    }
}

} // namespace zmu_tools::ship
