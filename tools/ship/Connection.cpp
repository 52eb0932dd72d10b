#include "Connection.h"

#include <tools/Text.h>

#include <QFile>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace zmu_tools::ship {

namespace {

constexpr std::int64_t pingInterval = 2000; // milliseconds
constexpr int pingsQty = 2;                 // without an answer, until a server counts as gone
constexpr std::int64_t writeDeadline = 5000;
constexpr std::int64_t reconnectWait = 250;
constexpr std::int64_t reconnectJitter = 250;
constexpr std::chrono::seconds attemptInterval{1};

void require(natsStatus status, const std::string& what)
{
    if (status == NATS_NO_MEMORY)
        throw std::bad_alloc();
    if (status != NATS_OK)
        throw ServerError(what + ": " + describe(status));
}

/// The lines of a file with a secret. Throws ServerError if there are fewer than `qty` that are not
/// empty.
std::vector<std::string> readSecret(const std::string& path, std::size_t qty, const char* what)
{
    constexpr qint64 longest = 65536;
    QFile file(QString::fromStdString(path));
    if (!file.open(QIODevice::ReadOnly))
        throw ServerError(harmless(path) + " cannot be read: " + file.errorString().toStdString());
    std::vector<std::string> lines;
    for (const QByteArray& line : file.read(longest).split('\n'))
        lines.push_back(line.trimmed().toStdString());
    lines.resize(std::max(lines.size(), qty));
    for (std::size_t i = 0; i < qty; ++i) {
        if (lines[i].empty())
            throw ServerError(harmless(path) + " does not hold " + what);
    }
    return lines;
}

} // namespace

bool isClientThere()
{
    return true;
}

std::string describe(natsStatus status, jsErrCode code)
{
    const char* const last = nats_GetLastError(nullptr);
    std::string text = last && *last ? harmless(last) : natsStatus_GetText(status);
    // "(FILE:LINE): " of the client library's own source.
    if (const std::size_t end = text.find("): "); text.starts_with('(') && end != text.npos)
        text.erase(0, end + 3);
    if (code != 0)
        text += " (" + std::to_string(static_cast<int>(code)) + ')';
    return text;
}

Connection::Connection(const ServerOptions& options, std::string who) : m_who(std::move(who))
{
    for (const std::string& url : options.urls)
        m_urls += (m_urls.empty() ? "" : ", ") + url;
    makeOptions(options);
}

Connection::~Connection() = default;

void Connection::makeOptions(const ServerOptions& options)
{
    natsOptions* made = nullptr;
    require(natsOptions_Create(&made), "the client library of NATS cannot be used");
    m_options.reset(made);

    m_isWithCertificate = !options.certificate.empty();
    bool isSecure = !options.authorities.empty() || !options.certificate.empty();
    std::vector<const char*> urls;
    for (const std::string& url : options.urls) {
        urls.push_back(url.c_str());
        isSecure = isSecure || url.starts_with("tls://");
    }
    require(natsOptions_SetServers(made, urls.data(), static_cast<int>(urls.size())),
            "the servers " + m_urls + " cannot be used");
    // Only what was named: who answers for a server may not send us elsewhere.
    natsOptions_SetIgnoreDiscoveredServers(made, true);
    m_isSecure = isSecure;
    if (isSecure)
        require(natsOptions_SetSecure(made, true), "TLS cannot be used");
    if (!options.authorities.empty())
        require(natsOptions_LoadCATrustedCertificates(made, options.authorities.c_str()),
                harmless(options.authorities) + " holds no certificates");
    if (!options.certificate.empty())
        require(natsOptions_LoadCertificatesChain(made, options.certificate.c_str(),
                                                  options.key.c_str()),
                harmless(options.certificate) + " and " + harmless(options.key) +
                    " are no certificate with its key");
    if (!options.user.empty()) {
        const auto lines =
            readSecret(options.user, 2, "a user in its first line and a password in its second");
        require(natsOptions_SetUserInfo(made, lines[0].c_str(), lines[1].c_str()),
                "the user cannot be used");
    }
    if (!options.token.empty()) {
        const auto lines = readSecret(options.token, 1, "a token");
        require(natsOptions_SetToken(made, lines[0].c_str()), "the token cannot be used");
    }
    if (!options.credentials.empty())
        require(natsOptions_SetUserCredentialsFromFiles(made, options.credentials.c_str(), nullptr),
                harmless(options.credentials) + " holds no credentials");

    natsOptions_SetName(made, m_who.c_str());
    natsOptions_SetAllowReconnect(made, true);
    natsOptions_SetMaxReconnect(made, -1);
    natsOptions_SetReconnectWait(made, reconnectWait);
    natsOptions_SetReconnectJitter(made, reconnectJitter, reconnectJitter);
    natsOptions_SetFailRequestsOnDisconnect(made, true);
    natsOptions_SetPingInterval(made, pingInterval);
    natsOptions_SetMaxPingsOut(made, pingsQty);
    natsOptions_SetWriteDeadline(made, writeDeadline);
    natsOptions_SetDisconnectedCB(
        made,
        [](natsConnection* connection, void* self) {
            Callee<Connection>::call(
                self, [&](Connection& called) { called.changed(connection, false); });
        },
        this);
    natsOptions_SetReconnectedCB(
        made,
        [](natsConnection* connection, void* self) {
            Callee<Connection>::call(self,
                                     [&](Connection& called) { called.changed(connection, true); });
        },
        this);
    natsOptions_SetErrorHandler(
        made,
        [](natsConnection* connection, natsSubscription*, natsStatus status, void* self) {
            Callee<Connection>::call(
                self, [&](Connection& called) { called.failed(connection, status); });
        },
        this);
}

bool Connection::await(std::chrono::milliseconds patience)
{
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!m_isConnected) {
        const bool isGivenUp = m_connection && natsConnection_IsClosed(m_connection.get());
        if ((!m_connection || isGivenUp) && std::chrono::steady_clock::now() >= m_nextAttempt) {
            connect();
            m_nextAttempt = std::chrono::steady_clock::now() + attemptInterval;
            continue;
        }
        if (std::chrono::steady_clock::now() >= end)
            return false;
        std::unique_lock lock(m_mutex);
        m_change.wait_for(lock, std::chrono::milliseconds(50),
                          [this] { return m_isConnected.load(); });
    }
    return true;
}

void Connection::connect()
{
    m_jetStream.reset();
    m_connection.reset();
    natsConnection* connection = nullptr;
    const natsStatus status = natsConnection_Connect(&connection, m_options.get());
    if (status != NATS_OK) {
        natsConnection_Destroy(connection);
        const std::string text = describe(status), advice = adviceFor(status, text);
        tell("no server of " + m_urls +
             (advice.empty() ? " is there (" + text + ')'
                             : " takes this connection (" + text + "): " + advice) +
             "; trying on");
        return;
    }
    m_connection.reset(connection);
    jsOptions options;
    jsOptions_Init(&options);
    jsCtx* jetStream = nullptr;
    require(natsConnection_JetStream(&jetStream, connection, &options), "JetStream");
    m_jetStream.reset(jetStream);
    ++m_generation;
    changed(connection, true);
}

/// What to do about a server that is there, and does not want this program or is not wanted by it.
std::string Connection::adviceFor(natsStatus status, const std::string& text) const
{
    const auto says = [&text](const char* what) { return text.find(what) != text.npos; };
    if (status == NATS_CONNECTION_AUTH_FAILED || says("Authorization"))
        return "look into the file of --user-file, --token-file or --creds";
    if (says("mismatch"))
        return "name it with --server as its certificate does";
    if (says("certificate has expired"))
        return "its certificate has to be renewed";
    if (says("SSL handshake error"))
        return "name the certificate of the authority that has signed its own with --ca";
    // It has taken part in TLS until it saw that nothing came.
    if (m_isSecure && !m_isWithCertificate && status != NATS_NO_SERVER && status != NATS_TIMEOUT)
        return "if it wants to see a certificate, name one with --cert and --key";
    return {};
}

std::int64_t Connection::longestMessage() const
{
    return m_connection ? natsConnection_GetMaxPayload(m_connection.get()) : 0;
}

void Connection::changed(natsConnection* connection, bool isConnected)
{
    if (isConnected) {
        char url[256] = "";
        natsConnection_GetConnectedUrl(connection, url, sizeof url);
        tell(std::string("connected with ") + harmless(url));
    } else {
        ++m_lossesQty;
        const char* error = nullptr;
        natsConnection_GetLastError(connection, &error);
        tell("the connection is lost" +
             (error && *error ? " (" + harmless(error) + ')' : std::string()) + "; trying " +
             m_urls);
    }
    const std::scoped_lock lock(m_mutex);
    m_isConnected = isConnected;
    m_change.notify_all();
}

void Connection::failed(natsConnection* connection, natsStatus status)
{
    const char* error = nullptr;
    natsConnection_GetLastError(connection, &error);
    const std::scoped_lock lock(m_mutex);
    m_lastError = error && *error ? harmless(error) : natsStatus_GetText(status);
}

std::string Connection::takeLastError()
{
    const std::scoped_lock lock(m_mutex);
    return std::exchange(m_lastError, {});
}

void Connection::tell(const std::string& what)
{
    const std::scoped_lock lock(m_mutex);
    if (what == m_told)
        return;
    m_told = what;
    std::fprintf(stderr, "%s: %s\n", m_who.c_str(), what.c_str());
}

} // namespace zmu_tools::ship
