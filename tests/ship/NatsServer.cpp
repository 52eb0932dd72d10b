#include "NatsServer.h"

#include <QCoreApplication>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QStandardPaths>

#include <csignal>
#include <memory>
#include <sys/prctl.h>

using namespace zmu_tools::ship;

namespace zmu_test {

namespace {

/// Whoever reads spools in a test's own process needs one, of its main thread.
class Application : public testing::Environment {
  public:
    void SetUp() override
    {
        static int argc = 1;
        static char name[] = "ship_test";
        static char* argv[] = {name, nullptr};
        m_application = std::make_unique<QCoreApplication>(argc, argv);
    }
    void TearDown() override { m_application.reset(); }

  private:
    std::unique_ptr<QCoreApplication> m_application;
};
[[maybe_unused]] testing::Environment* const application =
    testing::AddGlobalTestEnvironment(new Application);

std::string headerOf(natsMsg* message, const char* name)
{
    const char* value = nullptr;
    return natsMsgHeader_Get(message, name, &value) == NATS_OK && value ? value : "";
}

} // namespace

QString natsServerProgram()
{
    const QString found = QStandardPaths::findExecutable("nats-server");
    return found.isEmpty() ? QStandardPaths::findExecutable("nats-server", {"/usr/sbin"}) : found;
}

NatsServer::NatsServer(const QByteArray& settings) : m_settings(settings)
{
    start();
}

void NatsServer::start()
{
    const QString folder = QString::fromStdWString(m_folder.path("."));
    const std::wstring configuration =
        m_folder.write("server.conf", "listen: \"127.0.0.1:" + QByteArray::number(m_port) +
                                          "\"\nports_file_dir: \"" + folder.toUtf8() +
                                          "\"\njetstream { store_dir: \"" + folder.toUtf8() +
                                          "/store\" }\n" + m_settings);
    m_process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    m_process.setStandardErrorFile(folder + "/server.log", QIODevice::Append);
    m_process.start(natsServerProgram(), {"-c", QString::fromStdWString(configuration)});
    ASSERT_TRUE(m_process.waitForStarted());
    // It writes the file once it listens.
    ASSERT_TRUE(becomesTrue([&] {
        const QString ports = QString("nats-server_%1.ports").arg(m_process.processId());
        if (!QDir(folder).exists(ports))
            return false;
        const QByteArray text = m_folder.read(ports.toUtf8());
        const QString url = QJsonDocument::fromJson(text)["nats"][0].toString();
        m_port = url.section(':', -1).toInt();
        return m_port > 0;
    })) << m_folder.read("server.log").toStdString();
}

void NatsServer::kill()
{
    m_process.kill();
    m_process.waitForFinished();
}

void NatsServer::hold()
{
    ::kill(static_cast<pid_t>(m_process.processId()), SIGSTOP);
}

void NatsServer::letGo()
{
    ::kill(static_cast<pid_t>(m_process.processId()), SIGCONT);
}

std::string NatsServer::url() const
{
    return "nats://127.0.0.1:" + std::to_string(m_port);
}

ServerOptions NatsServer::options() const
{
    ServerOptions options;
    options.urls = {url()};
    return options;
}

void NatsServer::publish(const std::vector<Outgoing>& messages) const
{
    const ServerOptions given = options();
    Connection connection(given, "publisher");
    ASSERT_TRUE(Publisher(connection, given.stream, [] { return true; }).publish(messages));
}

std::vector<StoredMessage> NatsServer::messages(const std::string& secrets,
                                                const char* stream) const
{
    std::vector<StoredMessage> all;
    natsConnection* made = nullptr;
    const std::string url = "nats://" + secrets + "127.0.0.1:" + std::to_string(m_port);
    EXPECT_EQ(natsConnection_ConnectTo(&made, url.c_str()), NATS_OK);
    const Owned<natsConnection, natsConnection_Destroy> connection(made);
    jsCtx* context = nullptr;
    EXPECT_EQ(natsConnection_JetStream(&context, made, nullptr), NATS_OK);
    const Owned<jsCtx, jsCtx_Destroy> jetStream(context);
    jsStreamInfo* found = nullptr;
    if (js_GetStreamInfo(&found, context, stream, nullptr, nullptr) != NATS_OK)
        return all;
    const Owned<jsStreamInfo, jsStreamInfo_Destroy> info(found);
    for (std::uint64_t i = found->State.FirstSeq; i <= found->State.LastSeq; ++i) {
        natsMsg* taken = nullptr;
        if (js_GetMsg(&taken, context, stream, i, nullptr, nullptr) != NATS_OK)
            continue;
        const OwnedMessage message(taken);
        all.push_back(
            {natsMsg_GetSubject(taken),
             headerOf(taken, "Nats-Msg-Id"),
             headerOf(taken, afterHeader),
             headerOf(taken, ownerHeader),
             headerOf(taken, userHeader),
             {natsMsg_GetData(taken), static_cast<std::size_t>(natsMsg_GetDataLength(taken))}});
    }
    return all;
}

testing::AssertionResult tells(const QStringList& arguments, const QByteArray& what,
                               const QByteArray& secret)
{
    QProcess tool;
    tool.start(ZMU_TEST_TOOL, arguments);
    QByteArray told;
    const bool isTold = becomesTrue([&] {
        tool.waitForReadyRead(10);
        told += tool.readAllStandardError();
        return told.contains(what);
    });
    tool.kill();
    tool.waitForFinished();
    if (isTold && !told.contains(secret))
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << told.toStdString();
}

} // namespace zmu_test
