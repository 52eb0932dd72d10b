#include "Puller.h"

#include "Stream.h"

#include <tools/Text.h>

#include <algorithm>
#include <utility>

namespace zmu_tools::ship {

namespace {

constexpr std::int64_t pullMax = 4096; // messages at a time, if they are not large
constexpr std::int64_t pullBytes = 16 << 20;
constexpr std::chrono::milliseconds pullPatience{250};
/// After the first message: one that comes alone is not to wait, nor is each to be a batch.
constexpr std::chrono::milliseconds gatherPatience{20};
/// For which a request stays with the servers.
constexpr std::chrono::milliseconds requestPatience{2000};
/// For which the word that it is over may be on its way.
constexpr std::chrono::milliseconds answerPatience{2000};
constexpr unsigned silencesQty = 3;
/// Of what was acknowledged, messages that come again. More than copies have ever differed by.
constexpr std::uint64_t againQty = 8192;
/// Messages that wait for those of which something is missing do not stop the others.
constexpr std::int64_t pendingQty = 1000000;
constexpr std::int64_t ackWait = 60 * 1000000000LL;

using OwnedConsumer = Owned<jsConsumerInfo, jsConsumerInfo_Destroy>;
using OwnedStream = Owned<jsStreamInfo, jsStreamInfo_Destroy>;
using OwnedMetaData = Owned<jsMsgMetaData, jsMsgMetaData_Destroy>;

} // namespace

Puller::Puller(Connection& connection, const StreamOptions& options, std::string durable,
               const Bookmark& floor)
    : m_connection(connection), m_options(options), m_durable(std::move(durable)), m_floor(floor),
      m_highest(std::max(floor.place, floor.highest))
{}

bool Puller::pull(std::vector<Pulled>& messages)
{
    messages.clear();
    if (!m_connection.isConnected())
        return false;
    if (m_generation != m_connection.generation() || m_lossesQty != m_connection.lossesQty())
        m_isBegun = false;
    if (!m_isBegun && !begin())
        return false;
    if (!askForMore())
        return false;
    m_longest = std::max<std::int64_t>(m_longest / 2, 1); // grows with what comes
    const std::size_t qty = requestQty();
    Acknowledgement last;
    auto end = std::chrono::steady_clock::now() + pullPatience;
    while (m_isBegun && m_due > 0 && messages.size() < qty) {
        OwnedMessage message = next(end);
        if (!message)
            break;
        const Word word = judge(message.get());
        if (word == Word::RequestOver)
            break;
        if (word == Word::Old)
            continue;
        Acknowledgement made = word == Word::Line ? nextPlace(message.get()) : Acknowledgement();
        const std::uint64_t place = made.place;
        const std::int64_t time = made.time;
        if (place == 0) {
            m_isBegun = false; // all that follows comes again
            break;
        }
        m_longest = std::max<std::int64_t>(m_longest, natsMsg_GetDataLength(message.get()));
        if (place > last.place)
            last = std::move(made);
        if (messages.empty())
            end = std::chrono::steady_clock::now() + gatherPatience;
        messages.push_back({std::move(message), place, time, place > m_highest});
        m_highest = std::max(m_highest, place);
        m_latest = std::max(m_latest, time);
    }
    if (last.place > (m_acknowledgements.empty() ? 0 : m_acknowledgements.back().place))
        m_acknowledgements.push_back(std::move(last));
    // So that it is on its way while this is dealt with.
    if (m_isBegun)
        askForMore();
    return m_isBegun || !messages.empty();
}

/// Has a request with the servers, one at a time. The client library has a call that does this and
/// waits for the messages; that of 3.4 writes behind its array of messages when some were there
/// before it was called, which those of an earlier request are that a server was too late for.
bool Puller::askForMore()
{
    const auto now = std::chrono::steady_clock::now();
    if (m_due > 0 && now < m_requestEnd)
        return true;
    // Of a consumer that is gone servers say nothing.
    if (m_due > 0 && ++m_silencesQty == silencesQty) {
        m_connection.tell("the servers say nothing of the stream " + m_options.name +
                          "; trying on");
        m_isBegun = false;
        return false;
    }
    m_due = static_cast<std::int64_t>(requestQty());
    m_requestEnd = now + requestPatience + answerPatience;
    const std::string subject = "$JS.API.CONSUMER.MSG.NEXT." + m_options.name + '.' + m_durable;
    const std::string reply = m_inbox + '.' + std::to_string(++m_requestsQty);
    const std::string text = R"({"batch":)" + std::to_string(m_due) + R"(,"expires":)" +
                             std::to_string(std::chrono::nanoseconds(requestPatience).count()) +
                             '}';
    const natsStatus status = natsConnection_PublishRequestString(
        m_connection.connection(), subject.c_str(), reply.c_str(), text.c_str());
    if (status == NATS_OK)
        return true;
    m_isBegun = false;
    fail(status);
    return false;
}

std::size_t Puller::requestQty() const
{
    return static_cast<std::size_t>(std::clamp<std::int64_t>(pullBytes / m_longest, 1, pullMax));
}

OwnedMessage Puller::next(std::chrono::steady_clock::time_point end)
{
    const auto patience = std::max(
        std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now()),
        std::chrono::milliseconds());
    natsMsg* message = nullptr;
    const natsStatus status =
        natsSubscription_NextMsg(&message, m_subscription.get(), patience.count());
    if (status != NATS_OK && status != NATS_TIMEOUT) {
        m_isBegun = false;
        fail(status);
    }
    return OwnedMessage(message);
}

/// What the servers say instead of a line comes to the word of its request, without a text.
Puller::Word Puller::judge(natsMsg* message)
{
    const std::string_view subject = natsMsg_GetSubject(message);
    m_silencesQty = 0;
    if (!subject.starts_with(m_inbox)) {
        --m_due;
        return Word::Line;
    }
    if (subject.substr(m_inbox.size() + 1) != std::to_string(m_requestsQty))
        return Word::Old;
    m_due = 0;
    const char *code = nullptr, *text = nullptr;
    natsMsgHeader_Get(message, "Status", &code);
    if (code && (std::string_view(code) == "408" || std::string_view(code) == "404"))
        return Word::RequestOver;
    natsMsgHeader_Get(message, "Description", &text);
    m_connection.tell("the servers give nothing of the stream " + m_options.name + " (" +
                      harmless(text   ? text
                               : code ? code
                                      : "no word of why") +
                      "); trying on");
    return Word::Wrong;
}

/// Where a message is in the stream; no place if one before it was lost: each delivery has the
/// consumer's next number.
Puller::Acknowledgement Puller::nextPlace(natsMsg* message)
{
    jsMsgMetaData* made = nullptr;
    if (natsMsg_GetMetaData(&made, message) != NATS_OK)
        return {};
    const OwnedMetaData data(made);
    if (made->Sequence.Consumer != ++m_delivered)
        return {};
    return {made->Sequence.Stream, made->Timestamp, natsMsg_GetReply(message)};
}

bool Puller::isAtEnd() const
{
    jsConsumerInfo* found = nullptr;
    if (js_GetConsumerInfo(&found, m_connection.jetStream(), m_options.name.c_str(),
                           m_durable.c_str(), nullptr, nullptr) != NATS_OK)
        return false;
    const OwnedConsumer info(found);
    return found->NumPending == 0 && found->NumAckPending == 0 && !isBehind();
}

bool Puller::isBehind() const
{
    natsMsg* last = nullptr;
    const natsStatus status = js_GetLastMsg(&last, m_connection.jetStream(), m_options.name.c_str(),
                                            filter().c_str(), nullptr, nullptr);
    const OwnedMessage message(last);
    // Not by place: copies may count differently.
    return status == NATS_OK && natsMsg_GetTime(last) > m_latest;
}

bool Puller::findEndOf(const std::string& durable, Bookmark& end)
{
    jsCtx* const jetStream = m_connection.jetStream();
    const char* const stream = m_options.name.c_str();
    end = {};
    jsConsumerInfo* found = nullptr;
    natsStatus status =
        js_GetConsumerInfo(&found, jetStream, stream, durable.c_str(), nullptr, nullptr);
    const OwnedConsumer info(found);
    if (status == NATS_OK && found->AckFloor.Stream != 0) {
        end.place = found->AckFloor.Stream;
        natsMsg* last = nullptr;
        status = js_GetMsg(&last, jetStream, stream, end.place, nullptr, nullptr);
        const OwnedMessage message(last);
        if (status == NATS_OK)
            end.time = natsMsg_GetTime(last);
    }
    if (status == NATS_OK || status == NATS_NOT_FOUND)
        return true;
    fail(status);
    return false;
}

bool Puller::goBackTo(const Bookmark& end)
{
    if (end.place >= m_floor.place)
        return true;
    const natsStatus status = js_DeleteConsumer(m_connection.jetStream(), m_options.name.c_str(),
                                                m_durable.c_str(), nullptr, nullptr);
    if (status != NATS_OK && status != NATS_NOT_FOUND) {
        fail(status);
        return false;
    }
    m_floor.place = end.place;
    m_floor.time = end.time;
    m_isBegun = false;
    return true;
}

Bookmark Puller::bookmarkBefore(std::optional<std::uint64_t> end) const
{
    Bookmark mark = m_floor;
    for (const Acknowledgement& each : m_acknowledgements) {
        if (end && each.place >= *end)
            break;
        if (each.place > mark.place) {
            mark.place = each.place;
            mark.time = each.time;
        }
    }
    mark.highest = m_highest;
    return mark;
}

void Puller::acknowledge(std::optional<std::uint64_t> end)
{
    std::string subject;
    m_floor = bookmarkBefore(end);
    while (!m_acknowledgements.empty() && (!end || m_acknowledgements.front().place < *end)) {
        subject = std::move(m_acknowledgements.front().subject);
        m_acknowledgements.pop_front();
    }
    // One that is lost makes messages come again, which costs nothing else.
    if (!subject.empty() && m_connection.isConnected())
        natsConnection_PublishString(m_connection.connection(), subject.c_str(), "+ACK");
}

/// Sees to it that delivery begins behind what was acknowledged, with nothing under way.
bool Puller::begin()
{
    m_subscription.reset();
    m_generation = m_connection.generation();
    m_lossesQty = m_connection.lossesQty();
    if (ensureStream(m_connection, m_options).replicas == 0)
        return false;
    natsStatus status = makeConsumer();
    if (status == NATS_OK)
        status = subscribe();
    if (status != NATS_OK) {
        fail(status);
        return false;
    }
    m_acknowledgements.clear();
    m_delivered = 0;
    m_due = 0;
    m_silencesQty = 0;
    m_isBegun = true;
    return true;
}

natsStatus Puller::subscribe()
{
    natsInbox* inbox = nullptr;
    natsStatus status = natsInbox_Create(&inbox);
    if (status != NATS_OK)
        return status;
    m_inbox = inbox;
    natsInbox_Destroy(inbox);
    natsSubscription* made = nullptr;
    status =
        natsConnection_SubscribeSync(&made, m_connection.connection(), (m_inbox + ".*").c_str());
    m_subscription.reset(made);
    // What is asked for is bounded already.
    return status == NATS_OK ? natsSubscription_SetPendingLimits(made, -1, -1) : status;
}

/// The subjects of what is pulled.
std::string Puller::filter() const
{
    return m_options.subject + (m_options.host.empty() ? ".>" : '.' + m_options.host);
}

natsStatus Puller::makeConsumer()
{
    jsCtx* const jetStream = m_connection.jetStream();
    const char* const stream = m_options.name.c_str();
    jsStreamInfo* streamFound = nullptr;
    natsStatus status = js_GetStreamInfo(&streamFound, jetStream, stream, nullptr, nullptr);
    const OwnedStream streamInfo(streamFound);
    if (status != NATS_OK)
        return status;
    jsConsumerInfo* found = nullptr;
    status = js_GetConsumerInfo(&found, jetStream, stream, m_durable.c_str(), nullptr, nullptr);
    const OwnedConsumer info(found);
    // How far it is does not matter: nothing is acknowledged before it is in the bookmark.
    if (status == NATS_OK)
        status = js_DeleteConsumer(jetStream, stream, m_durable.c_str(), nullptr, nullptr);
    if (status != NATS_OK && status != NATS_NOT_FOUND)
        return status;
    status = checkFloor(*streamFound);
    if (status != NATS_OK)
        return status;
    const std::string subjects = filter();
    jsConsumerConfig wanted;
    jsConsumerConfig_Init(&wanted);
    wanted.Durable = m_durable.c_str();
    if (m_floor.place > againQty) {
        wanted.DeliverPolicy = js_DeliverByStartSequence;
        wanted.OptStartSeq = m_floor.place + 1 - againQty;
    }
    wanted.AckPolicy = js_AckAll;
    wanted.AckWait = ackWait;
    wanted.MaxAckPending = pendingQty;
    wanted.FilterSubject = subjects.c_str();
    jsConsumerInfo* made = nullptr;
    status = js_AddConsumer(&made, jetStream, stream, &wanted, nullptr, nullptr);
    jsConsumerInfo_Destroy(made);
    return status;
}

/// Begins with the first place if the floor is that of a stream that is no more.
natsStatus Puller::checkFloor(const jsStreamInfo& stream)
{
    bool isThere = m_floor.place <= stream.State.LastSeq &&
                   (m_floor.streamMade == 0 || m_floor.streamMade == stream.Created);
    // Of what is before the first place nothing is left that could be looked at, or passed over.
    if (isThere && m_floor.time != 0 && m_floor.place >= stream.State.FirstSeq) {
        const natsStatus status = findFloor(stream, isThere);
        if (status != NATS_OK)
            return status;
    }
    if (!isThere) {
        m_connection.tell("the stream " + m_options.name +
                          " of the servers has begun anew, or has lost its end: all that is in it "
                          "is looked at");
        m_floor = {};
        m_highest = 0;
    }
    m_floor.streamMade = stream.Created;
    return NATS_OK;
}

/// Whether the message of the floor is where it was, or so near as it is with another server that
/// has a few messages more or less.
natsStatus Puller::findFloor(const jsStreamInfo& stream, bool& isThere)
{
    constexpr std::uint64_t nearQty = 32;
    isThere = true;
    for (std::uint64_t distance = 0; distance <= nearQty; ++distance) {
        for (const std::uint64_t place : {m_floor.place - distance, m_floor.place + distance}) {
            if (place < stream.State.FirstSeq || place > stream.State.LastSeq)
                continue;
            natsMsg* found = nullptr;
            const natsStatus status = js_GetMsg(&found, m_connection.jetStream(),
                                                m_options.name.c_str(), place, nullptr, nullptr);
            const OwnedMessage message(found);
            if (status == NATS_OK && natsMsg_GetTime(found) == m_floor.time)
                return NATS_OK;
            if (status != NATS_OK && status != NATS_NOT_FOUND)
                return status;
        }
    }
    isThere = false;
    return NATS_OK;
}

void Puller::fail(natsStatus status)
{
    if (m_connection.isConnected())
        m_connection.tell("the servers give nothing of the stream " + m_options.name + " (" +
                          describe(status) + "); trying on");
}

} // namespace zmu_tools::ship
