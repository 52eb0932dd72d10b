#include "Stream.h"

#include "Names.h"

#include <algorithm>

namespace zmu_tools::ship {

namespace {

constexpr std::int64_t nanoseconds = 1000000000; // of a second
/// For which servers know IDs. Behind it the collector's own eye is on what comes twice.
constexpr std::int64_t duplicateWindow = 120 * nanoseconds;
/// What a stream takes at least: a description may be cut, and nothing else of a line.
constexpr std::int32_t leastMessage = 65536;

using OwnedInfo = Owned<jsStreamInfo, jsStreamInfo_Destroy>;

class Judge {
  public:
    Judge(Connection& connection, const StreamOptions& options, const jsStreamConfig& found)
        : m_connection(connection), m_options(options), m_found(found)
    {}

    void judge()
    {
        if (std::none_of(
                m_found.Subjects, m_found.Subjects + m_found.SubjectsLen,
                [this](const char* subject) { return takesAllOf(subject, m_options.subject); }))
            refuse("takes nothing of the subject " + m_options.subject +
                   ".>; add that, or name another stream with --stream");
        if (m_found.Storage != js_FileStorage)
            refuse("is in memory, where a server that is started again has lost it");
        if (m_found.Retention != js_LimitsPolicy)
            refuse("keeps messages for those alone who read at the time; it must keep them up to "
                   "its limits");
        if (m_found.Discard != js_DiscardNew && isLimited())
            refuse("makes room by throwing away what nobody may have collected yet; it must "
                   "discard new messages, which stay in the spools, then");
        if (m_found.MaxMsgsPerSubject > 0)
            refuse("throws away what came before the last " +
                   std::to_string(m_found.MaxMsgsPerSubject) +
                   " messages of a host; its max_msgs_per_subject must be without a limit");
        if (m_found.MaxMsgSize > 0 && m_found.MaxMsgSize < leastMessage)
            refuse("takes messages of up to " + std::to_string(m_found.MaxMsgSize) +
                   " bytes; its max_msg_size must be " + std::to_string(leastMessage) + " or more");
        if (m_found.NoAck)
            refuse("acknowledges nothing");
        if (m_found.Sealed)
            refuse("is sealed");
        if (m_found.Mirror)
            refuse("is a mirror, which takes nothing itself");
        if (m_options.replicas > m_found.Replicas)
            refuse("is kept by " + std::to_string(m_found.Replicas) + " servers, not by " +
                   std::to_string(m_options.replicas));
        if (m_found.MaxAge != 0 && m_found.MaxAge < m_options.age * nanoseconds)
            refuse("keeps messages for " + std::to_string(m_found.MaxAge / nanoseconds) +
                   " seconds, not for " + std::to_string(m_options.age));
        // What costs nothing but room.
        if (m_found.MaxAge == 0 || m_found.MaxAge > m_options.age * nanoseconds)
            mention("keeps messages for " +
                    (m_found.MaxAge == 0
                         ? "ever"
                         : std::to_string(m_found.MaxAge / nanoseconds) + " seconds") +
                    ", not for " + std::to_string(m_options.age) + " seconds");
        if (m_found.MaxBytes != static_cast<std::int64_t>(m_options.bytes))
            mention("keeps " +
                    (m_found.MaxBytes < 0 ? "any number of"
                                          : "up to " + std::to_string(m_found.MaxBytes)) +
                    " bytes, not up to " + std::to_string(m_options.bytes));
        if (m_options.replicas != 0 && m_options.replicas < m_found.Replicas)
            mention("is kept by " + std::to_string(m_found.Replicas) + " servers, not by " +
                    std::to_string(m_options.replicas));
        if (m_found.Duplicates < duplicateWindow)
            mention("knows what came twice for " +
                    std::to_string(m_found.Duplicates / nanoseconds) + " seconds, not for " +
                    std::to_string(duplicateWindow / nanoseconds) +
                    "; collectors will leave it out");
    }

  private:
    bool isLimited() const { return m_found.MaxBytes > 0 || m_found.MaxMsgs > 0; }
    [[noreturn]] void refuse(const std::string& what) const
    {
        throw ServerError("the stream " + m_options.name + " of the servers " + what);
    }
    void mention(const std::string& what) const
    {
        m_connection.tell("the stream " + m_options.name + " of the servers " + what);
    }

    Connection& m_connection;
    const StreamOptions& m_options;
    const jsStreamConfig& m_found;
};

/// What no patience mends.
bool isFinal(jsErrCode code)
{
    return code == JSStreamSubjectOverlapErr || code == JSStorageResourcesExceededErr ||
           code == JSNotEnabledErr || code == JSNotEnabledForAccountErr ||
           code == JSStreamReplicasNotSupportedErr || code == JSMaximumStreamsLimitErr ||
           code == JSStreamMaxBytesRequiredErr || code == JSStreamMaxStreamBytesExceededErr;
}

/// Makes it, by default on three servers, or one that says that it is by itself.
natsStatus makeStream(jsStreamInfo** made, jsCtx* jetStream, const StreamOptions& options,
                      jsErrCode& code)
{
    const std::string subjects = options.subject + ".>";
    const char* subject = subjects.c_str();
    jsStreamConfig wanted;
    jsStreamConfig_Init(&wanted);
    wanted.Name = options.name.c_str();
    wanted.Description = "Situations on their way from zmu ship to zmu collect";
    wanted.Subjects = &subject;
    wanted.SubjectsLen = 1;
    wanted.MaxAge = options.age * nanoseconds;
    wanted.MaxBytes = static_cast<std::int64_t>(options.bytes);
    wanted.Discard = js_DiscardNew;
    wanted.Storage = js_FileStorage;
    wanted.Replicas = options.replicas ? options.replicas : 3;
    wanted.Duplicates = std::min(duplicateWindow, wanted.MaxAge);
    natsStatus status = js_AddStream(made, jetStream, &wanted, nullptr, &code);
    if (status != NATS_OK && options.replicas == 0 && code == JSStreamReplicasNotSupportedErr) {
        wanted.Replicas = 1;
        status = js_AddStream(made, jetStream, &wanted, nullptr, &code);
    }
    return status;
}

} // namespace

StreamFound ensureStream(Connection& connection, const StreamOptions& options)
{
    if (!connection.isConnected())
        return {};
    jsErrCode code = static_cast<jsErrCode>(0);
    jsStreamInfo* found = nullptr;
    natsStatus status =
        js_GetStreamInfo(&found, connection.jetStream(), options.name.c_str(), nullptr, &code);
    if (status == NATS_NOT_FOUND) {
        status = makeStream(&found, connection.jetStream(), options, code);
        if (status == NATS_OK)
            connection.tell("the stream " + options.name + " is made, kept by " +
                            std::to_string(found->Config->Replicas) + " of the servers");
    }
    const OwnedInfo owner(found);
    if (status == NATS_OK) {
        Judge(connection, options, *found->Config).judge();
        return {static_cast<int>(found->Config->Replicas),
                std::max<std::int64_t>(found->Config->MaxMsgSize, 0)};
    }
    const std::string text = "the stream " + options.name + " of the servers cannot be " +
                             (isFinal(code) ? "made: " : "used for now: ") + describe(status, code);
    if (isFinal(code))
        throw ServerError(text);
    connection.tell(text);
    return {};
}

} // namespace zmu_tools::ship
