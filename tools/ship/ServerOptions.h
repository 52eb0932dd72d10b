// What ship and collect are told of servers and their stream.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace zmu_tools::ship {

/// How the stream is made if it is not there.
struct StreamOptions {
    std::string name = "ZMU";
    std::string host;             ///< As wordOf names it: only what comes from it; empty for all.
    std::string subject = "zmu";  ///< The first words of all subjects.
    int replicas = 0;             ///< 0: three in a cluster, one on a server by itself.
    std::int64_t age = 3 * 86400; ///< Seconds for which a message is kept.
    std::uint64_t bytes = 4ULL << 30; ///< Of all messages, beyond which servers refuse more.
};

struct ServerOptions {
    std::vector<std::string> urls;
    std::string authorities; ///< Files, as those below; empty if there are none.
    std::string certificate;
    std::string key;
    std::string user;
    std::string token;
    std::string credentials;
    StreamOptions stream;
};

/// Whether zmu was built with the client library of NATS. Says so if it was not.
bool isClientThere();

/// Adds --server, which is returned, and all that belongs to it. Secrets come from files alone.
CLI::Option* addServerOptions(CLI::App& command, ServerOptions& options);

} // namespace zmu_tools::ship
