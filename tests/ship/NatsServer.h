// A server of NATS for a test, and what its stream holds.
#pragma once

#include "Support.h"

#include <tools/ship/Publisher.h>

#include <QProcess>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace zmu_test {

/// Empty if none is installed.
QString natsServerProgram();

#define SKIP_WITHOUT_SERVER()                                                                      \
    if (zmu_test::natsServerProgram().isEmpty())                                                   \
    GTEST_SKIP() << "no nats-server is installed; ./dev cluster installs it"

struct StoredMessage {
    std::string subject;
    std::string id;
    std::string after;
    std::string owner;
    std::string user;
    std::string text;
};

class NatsServer {
  public:
    /// Starts one. `settings` are more lines of its configuration.
    explicit NatsServer(const QByteArray& settings = {});
    ~NatsServer() { kill(); }

    /// Starts it again on its port, with what it had stored.
    void start();
    void kill();
    /// It holds still, with all connections, until it is let go.
    void hold();
    void letGo();
    std::string url() const;
    /// For a connection with it.
    zmu_tools::ship::ServerOptions options() const;
    /// Puts messages into its stream, which is made if there is none.
    void publish(const std::vector<zmu_tools::ship::Outgoing>& messages) const;

    /// All that is in a stream. `secrets` is a user with a password, "USER:PASSWORD@".
    std::vector<StoredMessage> messages(const std::string& secrets = {},
                                        const char* stream = "ZMU") const;

  private:
    Folder m_folder;
    QByteArray m_settings;
    QProcess m_process;
    int m_port = -1; ///< That of its choice, at first.
};

/// Whether `zmu` with these arguments says so on standard error, and nothing of `secret`. It is
/// ended then.
testing::AssertionResult tells(const QStringList& arguments, const QByteArray& what,
                               const QByteArray& secret);

} // namespace zmu_test
