#include "Group.h"

#include "Stream.h"

#include <tools/Text.h>

#include <algorithm>
#include <sstream>

namespace zmu_tools::ship {

namespace {

constexpr std::int64_t nanoseconds = 1000000000; // of a second
/// For which a collector counts as there after its last word.
constexpr std::int64_t presence = 20;
constexpr std::int64_t keysPatience = 10000; // milliseconds
constexpr std::chrono::seconds presenceInterval{5};
/// For which it is known who has taken a process, beyond the last of its messages: longer than the
/// next two together, by which it begins anew with a process that goes on.
constexpr std::int64_t memory = 86400;
constexpr std::int64_t renewal = 8 * 3600LL;
constexpr std::chrono::hours forgetInterval{8};
/// Of what the stream may have: those who take its processes have so much less to say.
constexpr std::uint64_t takersShare = 4;
constexpr std::uint64_t takersLeast = 16 << 20;
constexpr std::size_t knownMax = 200000;
constexpr std::size_t othersMax = 1000;

constexpr char membersStore[] = "-members";

using OwnedEntry = Owned<kvEntry, kvEntry_Destroy>;
using OwnedWatcher = Owned<kvWatcher, kvWatcher_Destroy>;

/// What stands for a source: who takes it, and from where on if that was not always so.
struct Value {
    std::string id;
    Junction begin;

    static Value of(kvEntry* entry)
    {
        Value value;
        const char* const text = kvEntry_ValueString(entry);
        std::istringstream(text ? text : "") >> value.id >> value.begin.time >> value.begin.place;
        return value;
    }
    std::string text() const
    {
        return begin.place == 0
                   ? id
                   : id + ' ' + std::to_string(begin.time) + ' ' + std::to_string(begin.place);
    }
};

/// The same everywhere, and without a pattern.
std::uint64_t mixed(std::string_view text)
{
    std::uint64_t sum = 0xCBF29CE484222325;
    for (const char c : text)
        sum = (sum ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    sum ^= sum >> 33;
    sum *= 0xFF51AFD7ED558CCD;
    return sum ^ sum >> 33;
}

} // namespace

Group::Group(Connection& connection, std::string name, std::string id, const StreamOptions& stream)
    : m_connection(connection), m_name(std::move(name)), m_id(std::move(id)),
      m_stream(stream), m_present{m_id},
      m_firstTelling(std::chrono::steady_clock::now() + std::chrono::seconds(presence)),
      m_nextForgetting(std::chrono::steady_clock::now() + forgetInterval)
{}

Group::Taking Group::takerOf(const std::string& source, bool isOverdue)
{
    if (!isHeardOf())
        return {};
    if (const auto known = m_known.find(source); known != m_known.end())
        return known->second;
    if (!isReady())
        return {};
    std::string why;
    for (int i = 0; i < 2; ++i) {
        kvEntry* found = nullptr;
        const natsStatus status = kvStore_Get(&found, m_takers.get(), source.c_str());
        const OwnedEntry entry(found);
        if (status == NATS_OK) {
            const Value value = Value::of(found);
            if (value.id != m_id) {
                if (m_others.size() < othersMax)
                    ++m_others[value.id];
                return remember(source, {Taker::Other});
            }
            if (nats_NowInNanoSeconds() - kvEntry_Created(found) > renewal * nanoseconds)
                kvStore_UpdateString(nullptr, m_takers.get(), source.c_str(), value.text().c_str(),
                                     kvEntry_Revision(found));
            return remember(source, {Taker::Me, value.begin});
        }
        if (status != NATS_NOT_FOUND) {
            m_connection.tell("it cannot be asked who takes what (" + describe(status) +
                              "); trying on");
            return {};
        }
        if (!isOverdue && !fallsToMe(source))
            return {Taker::Nobody};
        // If that fails somebody else has been quicker, or it has been done though no answer came:
        // then it stands there.
        const natsStatus made =
            kvStore_CreateString(nullptr, m_takers.get(), source.c_str(), m_id.c_str());
        if (made == NATS_OK)
            return remember(source, {Taker::Me});
        why = describe(made);
    }
    m_connection.tell("it cannot be kept who takes what (" + why + "); trying on");
    return {};
}

/// Whether the others can know that this one is there. If they could not for a while, what it has
/// taken may have passed to another, and is asked for anew.
bool Group::isHeardOf()
{
    const auto isSo = [this] {
        const auto now = std::chrono::system_clock::now();
        return now >= m_heard && now - m_heard < std::chrono::seconds(presence);
    };
    if (isSo())
        return true;
    m_known.clear();
    m_nextPresence = {};
    keepUp();
    return isSo();
}

void Group::keepUp()
{
    const auto now = std::chrono::steady_clock::now();
    if (now < m_nextPresence || !isReady())
        return;
    m_nextPresence = now + presenceInterval;
    if (now >= m_nextForgetting) { // so that what goes on for long is renewed
        m_known.clear();
        m_others.clear();
        m_nextForgetting = now + forgetInterval;
    }
    const auto heard = std::chrono::system_clock::now();
    if (kvStore_PutString(nullptr, m_members.get(), m_id.c_str(), "") == NATS_OK)
        m_heard = heard;
    findPresent();
    if (std::find(m_present.begin(), m_present.end(), m_id) == m_present.end())
        m_present.push_back(m_id);
    tellAbsent();
}

/// Says once who has to be started again, or nobody collects what it has taken. Not at first:
/// others may be started together with this one.
void Group::tellAbsent()
{
    if (std::chrono::steady_clock::now() < m_firstTelling)
        return;
    for (const auto& [id, sourcesQty] : m_others) {
        if (std::find(m_present.begin(), m_present.end(), id) != m_present.end())
            m_told.erase(id);
        else if (m_told.insert(id).second)
            m_connection.tell(std::to_string(sourcesQty) +
                              " processes or more belong to the collector " + harmless(id) +
                              " of " + m_name +
                              ", which is not there: what they report waits with the servers until "
                              "it is started again, in its log folder and with its positions. If "
                              "these are gone for good, let another take its processes over, with "
                              "--take-over " +
                              harmless(id));
    }
}

/// The keys of a store are the subjects of a stream. Asked for as keys, each time would make a
/// consumer, which all servers of a cluster have to agree on.
bool Group::findPresent()
{
    const std::string stream = "KV_" + m_name + membersStore;
    const std::string prefix = "$KV." + m_name + membersStore + '.', keys = prefix + '>';
    jsOptions asked;
    jsOptions_Init(&asked);
    asked.Stream.Info.SubjectsFilter = keys.c_str();
    jsStreamInfo* found = nullptr;
    if (js_GetStreamInfo(&found, m_connection.jetStream(), stream.c_str(), &asked, nullptr) !=
        NATS_OK)
        return false;
    const Owned<jsStreamInfo, jsStreamInfo_Destroy> info(found);
    m_present.clear();
    const jsStreamStateSubjects* const list = found->State.Subjects;
    for (int i = 0; list && i < list->Count; ++i)
        m_present.emplace_back(list->List[i].Subject + prefix.size());
    return true;
}

bool Group::findTakenBy(const std::string& id, std::vector<Taken>& all)
{
    all.clear();
    if (!isReady())
        return false;
    const std::string keys = m_stream.host.empty() ? ">" : m_stream.host + ".>";
    kvWatchOptions asked;
    kvWatchOptions_Init(&asked);
    asked.IgnoreDeletes = true;
    kvWatcher* made = nullptr;
    natsStatus status = kvStore_Watch(&made, m_takers.get(), keys.c_str(), &asked);
    const OwnedWatcher watcher(made);
    while (status == NATS_OK) {
        kvEntry* found = nullptr;
        status = kvWatcher_Next(&found, made, keysPatience);
        const OwnedEntry entry(found);
        if (status == NATS_OK && !found)
            return true; // these were all
        const Value value = found ? Value::of(found) : Value();
        if (value.id == id)
            all.push_back({kvEntry_Key(found), value.begin, kvEntry_Revision(found)});
    }
    m_connection.tell("it cannot be asked who takes what (" + describe(status) + "); trying on");
    return false;
}

bool Group::isPresent(const std::string& id)
{
    return !isReady() || !findPresent() ||
           std::find(m_present.begin(), m_present.end(), id) != m_present.end();
}

bool Group::takeOver(const std::vector<Taken>& all, const Junction& begin)
{
    natsStatus failure = NATS_OK;
    for (const Taken& each : all) {
        keepUp();
        // That one may have taken it over itself.
        const std::string value = Value{m_id, std::max(begin, each.begin)}.text();
        const natsStatus status =
            isReady() ? kvStore_UpdateString(nullptr, m_takers.get(), each.source.c_str(),
                                             value.c_str(), each.revision)
                      : NATS_CONNECTION_DISCONNECTED;
        if (status != NATS_OK)
            failure = status;
    }
    if (failure != NATS_OK)
        m_connection.tell("it cannot be kept who takes what (" + describe(failure) +
                          "); trying on");
    return failure == NATS_OK;
}

bool Group::isReady()
{
    if (!m_connection.isConnected())
        return false;
    if (m_generation != m_connection.generation()) {
        m_takers.reset();
        m_members.reset();
        m_generation = m_connection.generation();
    }
    return open(m_takers, m_name + "-takers", m_stream.age + memory,
                std::max(m_stream.bytes / takersShare, takersLeast)) &&
           open(m_members, m_name + membersStore, presence, 0);
}

bool Group::open(OwnedStore& store, const std::string& bucket, std::int64_t seconds,
                 std::uint64_t bytes)
{
    if (store)
        return true;
    kvStore* made = nullptr;
    natsStatus status = js_KeyValue(&made, m_connection.jetStream(), bucket.c_str());
    if (status == NATS_NOT_FOUND) {
        const int replicas = ensureStream(m_connection, m_stream).replicas;
        if (replicas == 0)
            return false;
        kvConfig wanted;
        kvConfig_Init(&wanted);
        wanted.Bucket = bucket.c_str();
        wanted.History = 1;
        wanted.TTL = seconds * nanoseconds;
        if (bytes != 0)
            wanted.MaxBytes = static_cast<std::int64_t>(bytes);
        wanted.StorageType = js_FileStorage;
        wanted.Replicas = replicas;
        status = js_CreateKeyValue(&made, m_connection.jetStream(), &wanted);
    }
    store.reset(made);
    if (status != NATS_OK)
        m_connection.tell("it cannot be kept who takes what (" + describe(status) + "); trying on");
    return status == NATS_OK;
}

bool Group::fallsToMe(const std::string& source) const
{
    const std::uint64_t mine = mixed(m_id + ' ' + source);
    return std::all_of(m_present.begin(), m_present.end(), [&](const std::string& other) {
        return other == m_id || mixed(other + ' ' + source) < mine;
    });
}

Group::Taking Group::remember(const std::string& source, const Taking& taking)
{
    if (m_known.size() >= knownMax)
        m_known.clear(); // and asks again
    m_known[source] = taking;
    return taking;
}

} // namespace zmu_tools::ship
