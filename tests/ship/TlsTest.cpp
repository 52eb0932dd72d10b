#include "NatsServer.h"
#include "SpoolFolder.h"

#include "../tools/ToolRun.h"

#include <QDir>
#include <QStandardPaths>

using namespace zmu_test;
using zmu_tools::Exit;

namespace {

/// Two authorities, of which the first has signed a server's certificate for 127.0.0.1, one for
/// another machine, and that of a client.
constexpr char makeCertificates[] = R"(
set -e
authority() {
  openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 \
    -subj "/CN=$1" -keyout "$1.key" -out "$1.pem"
}
issue() {
  openssl req -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes \
    -subj "/CN=$1" -keyout "$1.key" -out "$1.csr"
  echo "subjectAltName=$2" >"$1.names"
  openssl x509 -req -in "$1.csr" -CA right.pem -CAkey right.key -CAcreateserial -days 2 \
    -extfile "$1.names" -out "$1.pem"
}
authority right
authority wrong
issue here IP:127.0.0.1
issue elsewhere DNS:elsewhere.example
issue client DNS:client
)";

class Tls : public testing::Test {
  protected:
    void SetUp() override
    {
        SKIP_WITHOUT_SERVER();
        if (QStandardPaths::findExecutable("openssl").isEmpty())
            GTEST_SKIP() << "there is no openssl; ./dev cluster installs it";
        QProcess shell;
        shell.setWorkingDirectory(path("."));
        shell.start("sh", {"-c", makeCertificates});
        ASSERT_TRUE(shell.waitForFinished() && shell.exitCode() == 0)
            << shell.readAllStandardError().toStdString();
        m_spool.add(11, 1, 3);
    }

    QString path(const char* name) const { return QString::fromStdWString(m_folder.path(name)); }

    /// Settings of a server that takes whoever shows a certificate.
    QByteArray settings(const char* name) const
    {
        const QByteArray file = path(name).toUtf8();
        return "tls { cert_file: \"" + file + ".pem\", key_file: \"" + file +
               ".key\", ca_file: \"" + path("right.pem").toUtf8() + "\", verify: true }\n";
    }

    QStringList line(const NatsServer& server, const QStringList& options) const
    {
        const QString url = QString::fromStdString(server.url()).replace("nats:", "tls:");
        return QStringList{"ship",
                           QString::fromStdString(m_spool.path()),
                           "--server",
                           url,
                           "--once",
                           "--positions",
                           path("ship.positions")} +
               options;
    }

    ToolRun ship(const NatsServer& server, const QStringList& options) const
    {
        std::vector<std::string> words;
        for (const QString& word : line(server, options))
            words.push_back(word.toStdString());
        return runTool(words);
    }

    Folder m_folder;
    SpoolFolder m_spool;
};

} // namespace

TEST_F(Tls, SpeaksToWhomTheAuthorityKnowsAlone)
{
    const QStringList right = {"--ca", path("right.pem")};
    const QStringList client = {"--cert", path("client.pem"), "--key", path("client.key")};
    {
        const NatsServer elsewhere(settings("elsewhere"));
        EXPECT_TRUE(tells(line(elsewhere, right + client),
                          "mismatch:depth=0:cert=/CN=elsewhere:issuer=/CN=right): name it with "
                          "--server as its certificate does",
                          "BEGIN"));
    }
    const NatsServer server(settings("here"));
    EXPECT_TRUE(tells(line(server, QStringList{"--ca", path("wrong.pem")} + client),
                      "name the certificate of the authority that has signed its own with --ca",
                      "BEGIN"));
    EXPECT_TRUE(tells(line(server, client), "with --ca", "BEGIN"));
    EXPECT_TRUE(tells(line(server, right), "name one with --cert and --key", "BEGIN"));

    ToolRun run =
        ship(server, right + QStringList{"--cert", path("client.pem"), "--key", path("here.key")});
    EXPECT_EQ(run.exit, Exit::Unreadable);
    EXPECT_NE(run.errors.find("are no certificate with its key"), std::string::npos) << run.errors;
    EXPECT_EQ(ship(server, right + QStringList{"--cert", path("client.pem")}).exit, Exit::Usage);
    EXPECT_EQ(m_spool.files().size(), 1);

    run = ship(server, right + client);
    EXPECT_EQ(run.exit, Exit::Good) << run.errors;
    EXPECT_TRUE(m_spool.files().filter(".spool").isEmpty());
}

TEST_F(Tls, TakesATokenFromAFile)
{
    const NatsServer server("authorization { token: \"t0kenOfThisServer\" }\n");
    const QString url = QString::fromStdString(server.url());
    const QString wrong = QString::fromStdWString(m_folder.write("token", "t0kenOfAnother\n"));
    const QStringList begin = {"ship",        QString::fromStdString(m_spool.path()),
                               "--server",    url,
                               "--positions", path("ship.positions")};
    EXPECT_TRUE(tells(begin + QStringList{"--token-file", wrong}, "--token-file", "t0kenOf"));
    const QString right = QString::fromStdWString(m_folder.write("token", "t0kenOfThisServer\n"));
    EXPECT_TRUE(hasSucceeded(
        runProgram(ZMU_TEST_TOOL, begin + QStringList{"--token-file", right, "--once"})));
    EXPECT_EQ(server.messages("t0kenOfThisServer@").size(), 3U);
}
