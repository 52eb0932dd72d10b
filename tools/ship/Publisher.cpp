#include "Publisher.h"

#include "Stream.h"

#include <tools/Text.h>

#include <algorithm>
#include <thread>

namespace zmu_tools::ship {

namespace {

/// Without any answer for so long, messages or their acknowledgements count as lost.
constexpr std::chrono::seconds answerPatience{5};
constexpr std::chrono::seconds askInterval{1};
constexpr std::chrono::milliseconds shortestPause{100};
constexpr std::chrono::milliseconds longestPause{2000};
constexpr std::int64_t headersQty = 4096; ///< Bytes of headers, at most.

} // namespace

Publisher::Publisher(Connection& connection, const StreamOptions& options,
                     std::function<bool()> mayGoOn)
    : m_connection(connection), m_options(options), m_mayGoOn(std::move(mayGoOn))
{}

std::size_t Publisher::longestText()
{
    while (!prepare() && m_mayGoOn()) {
    }
    const std::int64_t longest = m_connection.longestMessage();
    return static_cast<std::size_t>(
        std::max((m_longestOfStream ? std::min(longest, m_longestOfStream) : longest) - headersQty,
                 headersQty));
}

/// Sees to connection, stream and context. Waits for them a while.
bool Publisher::prepare()
{
    if (!m_connection.await(askInterval))
        return false;
    if (m_generation != m_connection.generation())
        m_jetStream.reset();
    if (!m_isStreamChecked) {
        const StreamFound stream = ensureStream(m_connection, m_options);
        if (stream.replicas == 0) {
            std::this_thread::sleep_for(askInterval);
            return false;
        }
        m_longestOfStream = stream.longestMessage;
        m_isStreamChecked = true;
    }
    if (m_jetStream)
        return true;
    jsOptions options;
    jsOptions_Init(&options);
    options.PublishAsync.AckHandlerClosure = this;
    options.PublishAsync.AckHandler = [](jsCtx*, natsMsg* message, jsPubAck*, jsPubAckErr* error,
                                         void* self) {
        Callee<Publisher>::call(self,
                                [&](Publisher& publisher) { publisher.answered(message, error); });
        natsMsg_Destroy(message);
    };
    jsCtx* made = nullptr;
    if (natsConnection_JetStream(&made, m_connection.connection(), &options) != NATS_OK)
        return false;
    m_jetStream.reset(made);
    m_generation = m_connection.generation();
    return true;
}

bool Publisher::publish(const std::vector<Outgoing>& messages)
{
    m_isDone.assign(messages.size(), 0);
    auto pause = shortestPause;
    while (m_mayGoOn()) {
        if (!prepare())
            continue;
        const auto doneBefore = std::count(m_isDone.begin(), m_isDone.end(), 1);
        m_failure.clear();
        if (sendAll(messages))
            return true;
        const std::string told = m_connection.takeLastError();
        if (m_connection.isConnected())
            m_connection.tell("the servers do not take what is published (" +
                              (m_failure.empty() ? "no answer" : m_failure) +
                              (told.empty() || told == m_failure ? "" : "; " + told) +
                              "); trying on");
        // The stream may be another by now, or none.
        m_isStreamChecked = false;
        const bool isAny = std::count(m_isDone.begin(), m_isDone.end(), 1) > doneBefore;
        pause = isAny ? shortestPause : std::min(2 * pause, longestPause);
        std::this_thread::sleep_for(pause);
    }
    return false;
}

/// One round: what is not done is sent, and answered or given up at its end.
bool Publisher::sendAll(const std::vector<Outgoing>& messages)
{
    std::size_t sentQty = 0;
    {
        const std::scoped_lock lock(m_mutex);
        m_answersQty = 0;
        m_pending.clear();
    }
    for (std::size_t i = 0; i < messages.size(); ++i) {
        if (m_isDone[i])
            continue;
        if (!send(messages[i], i))
            break;
        ++sentQty;
    }
    std::unique_lock lock(m_mutex);
    std::size_t seenQty = 0;
    auto end = std::chrono::steady_clock::now() + answerPatience;
    while (!m_pending.empty() && m_mayGoOn()) {
        m_change.wait_for(lock, askInterval, [this] { return m_pending.empty(); });
        if (m_answersQty != seenQty)
            end = std::chrono::steady_clock::now() + answerPatience;
        seenQty = m_answersQty;
        if (std::chrono::steady_clock::now() >= end || !m_connection.isConnected())
            break;
    }
    const bool isAnyPending = !m_pending.empty();
    lock.unlock();
    if (isAnyPending)
        settle();
    return std::count(m_isDone.begin(), m_isDone.end(), 1) ==
           static_cast<std::ptrdiff_t>(messages.size());
}

bool Publisher::send(const Outgoing& outgoing, std::size_t index)
{
    natsMsg* message = nullptr;
    natsStatus status =
        natsMsg_Create(&message, outgoing.subject.c_str(), nullptr, outgoing.text.data(),
                       static_cast<int>(outgoing.text.size()));
    if (status == NATS_OK && !outgoing.after.empty())
        status = natsMsgHeader_Set(message, afterHeader, outgoing.after.c_str());
    if (status == NATS_OK)
        status = natsMsgHeader_Set(message, ownerHeader, outgoing.owner.c_str());
    if (status == NATS_OK && !outgoing.user.empty())
        status = natsMsgHeader_Set(message, userHeader, outgoing.user.c_str());
    if (status == NATS_OK) {
        const std::scoped_lock lock(m_mutex);
        m_pending.emplace(message, index); // before it is sent: the answer may be quick
    }
    const natsMsg* const key = message;
    if (status == NATS_OK) {
        jsPubOptions options;
        jsPubOptions_Init(&options);
        options.MsgId = outgoing.id.c_str();
        options.ExpectStream = m_options.name.c_str();
        status = js_PublishMsgAsync(m_jetStream.get(), &message, &options);
    }
    if (status == NATS_OK)
        return true;
    const std::scoped_lock lock(m_mutex);
    m_pending.erase(key);
    if (m_failure.empty())
        m_failure = describe(status);
    natsMsg_Destroy(message);
    return false;
}

/// Takes back what has no answer. One that comes later is nobody's.
void Publisher::settle()
{
    natsMsgList pending{};
    if (js_PublishAsyncGetPendingList(&pending, m_jetStream.get()) == NATS_OK)
        natsMsgList_Destroy(&pending);
    const std::scoped_lock lock(m_mutex);
    m_pending.clear();
}

/// In a thread of the client library's.
void Publisher::answered(natsMsg* message, const jsPubAckErr* error)
{
    const std::scoped_lock lock(m_mutex);
    const auto found = m_pending.find(message);
    if (found == m_pending.end())
        return;
    if (!error)
        m_isDone[found->second] = 1;
    else if (m_failure.empty())
        m_failure =
            error->ErrText ? harmless(error->ErrText) : describe(error->Err, error->ErrCode);
    m_pending.erase(found);
    ++m_answersQty;
    if (m_pending.empty())
        m_change.notify_all();
}

} // namespace zmu_tools::ship
