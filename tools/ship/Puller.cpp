#include "Puller.h"

#include "Stream.h"

#include <algorithm>
#include <utility>

namespace zmu_tools::ship {

namespace {

constexpr std::int64_t pullQty = 1024; // messages at a time, if they are not large
constexpr std::int64_t pullBytes = 16 << 20;
constexpr std::int64_t pullPatience = 250; // milliseconds
/// Messages that wait for those of which something is missing do not stop the others.
constexpr std::int64_t pendingQty = 1000000;
constexpr std::int64_t ackWait = 60 * 1000000000LL;

using OwnedConsumer = Owned<jsConsumerInfo, jsConsumerInfo_Destroy>;
using OwnedStream = Owned<jsStreamInfo, jsStreamInfo_Destroy>;
using OwnedMetaData = Owned<jsMsgMetaData, jsMsgMetaData_Destroy>;

} // namespace

Puller::Puller(Connection& connection, const StreamOptions& options, std::string durable,
               std::uint64_t floor)
    : m_connection(connection), m_options(options), m_durable(std::move(durable)), m_floor(floor)
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
    const std::int64_t qty = std::clamp<std::int64_t>(pullBytes / m_longest, 1, pullQty);
    m_longest = std::max<std::int64_t>(m_longest / 2, 1); // grows with what comes
    natsMsgList list{};
    jsErrCode code = static_cast<jsErrCode>(0);
    const natsStatus status = natsSubscription_Fetch(&list, m_subscription.get(),
                                                     static_cast<int>(qty), pullPatience, &code);
    bool isInOrder = true;
    Acknowledgement last;
    for (int i = 0; i < list.Count; ++i) {
        OwnedMessage message(std::exchange(list.Msgs[i], nullptr));
        const std::uint64_t place = isInOrder ? nextPlace(message.get()) : 0;
        isInOrder = place != 0;
        if (!isInOrder)
            continue; // all comes again
        m_longest = std::max<std::int64_t>(m_longest, natsMsg_GetDataLength(message.get()));
        if (place > last.place)
            last = {place, natsMsg_GetReply(message.get())};
        messages.push_back({std::move(message), place});
    }
    natsMsgList_Destroy(&list);
    if (last.place > (m_acknowledgements.empty() ? m_floor : m_acknowledgements.back().place))
        m_acknowledgements.push_back(std::move(last));
    if (!isInOrder)
        m_isBegun = false;
    if (status == NATS_OK || status == NATS_TIMEOUT)
        return true;
    m_isBegun = false;
    fail(status, code);
    return !messages.empty();
}

/// The place of a message in the stream; 0 if one before it was lost: each delivery has the
/// consumer's next number.
std::uint64_t Puller::nextPlace(natsMsg* message)
{
    jsMsgMetaData* made = nullptr;
    if (natsMsg_GetMetaData(&made, message) != NATS_OK)
        return 0;
    const OwnedMetaData data(made);
    return made->Sequence.Consumer == ++m_delivered ? made->Sequence.Stream : 0;
}

bool Puller::isAtEnd() const
{
    jsConsumerInfo* found = nullptr;
    if (js_GetConsumerInfo(&found, m_connection.jetStream(), m_options.name.c_str(),
                           m_durable.c_str(), nullptr, nullptr) != NATS_OK)
        return false;
    const OwnedConsumer info(found);
    return found->NumPending == 0 && found->NumAckPending == 0;
}

std::uint64_t Puller::placeBefore(std::optional<std::uint64_t> end) const
{
    std::uint64_t place = m_floor;
    for (const Acknowledgement& each : m_acknowledgements) {
        if (end && each.place >= *end)
            break;
        place = each.place;
    }
    return place;
}

void Puller::acknowledge(std::optional<std::uint64_t> end)
{
    std::string subject;
    while (!m_acknowledgements.empty() && (!end || m_acknowledgements.front().place < *end)) {
        m_floor = m_acknowledgements.front().place;
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
    if (ensureStream(m_connection, m_options) == 0)
        return false;
    natsStatus status = makeConsumer();
    jsErrCode code = static_cast<jsErrCode>(0);
    if (status == NATS_OK) {
        jsSubOptions options;
        jsSubOptions_Init(&options);
        options.Stream = m_options.name.c_str();
        options.Consumer = m_durable.c_str();
        natsSubscription* made = nullptr;
        status = js_PullSubscribe(&made, m_connection.jetStream(), "", m_durable.c_str(), nullptr,
                                  &options, &code);
        m_subscription.reset(made);
    }
    if (status != NATS_OK) {
        fail(status, code);
        return false;
    }
    m_acknowledgements.clear();
    m_delivered = 0;
    m_isBegun = true;
    return true;
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
    if (status == NATS_OK) {
        m_floor = std::max(m_floor, found->AckFloor.Stream);
        status = js_DeleteConsumer(jetStream, stream, m_durable.c_str(), nullptr, nullptr);
    }
    if (status != NATS_OK && status != NATS_NOT_FOUND)
        return status;
    if (m_floor > streamFound->State.LastSeq) {
        m_connection.tell("the stream " + m_options.name +
                          " of the servers has begun anew: all that is in it is looked at");
        m_floor = 0;
    }
    const std::string subjects =
        m_options.subject + (m_options.host.empty() ? ".>" : '.' + m_options.host);
    jsConsumerConfig wanted;
    jsConsumerConfig_Init(&wanted);
    wanted.Durable = m_durable.c_str();
    if (m_floor != 0) {
        wanted.DeliverPolicy = js_DeliverByStartSequence;
        wanted.OptStartSeq = m_floor + 1;
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

void Puller::fail(natsStatus status, jsErrCode code)
{
    if (m_connection.isConnected())
        m_connection.tell("the servers give nothing of the stream " + m_options.name + " (" +
                          describe(status, code) + "); trying on");
}

} // namespace zmu_tools::ship
