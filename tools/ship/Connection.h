// A connection to one server of several, kept up for as long as it is wanted.
//
// A server that goes away is looked for, and the others are tried, calmly and without an end. What
// changes is told on standard error, in a line for each change.
#pragma once

#include "ServerOptions.h"

#include <nats/nats.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>

namespace zmu_tools::ship {

/// Owners of the client library's objects.
template <auto destroy>
struct Destroyer {
    template <class Object>
    void operator()(Object* object) const
    {
        destroy(object);
    }
};
template <class Object, auto destroy>
using Owned = std::unique_ptr<Object, Destroyer<destroy>>;
using OwnedMessage = Owned<natsMsg, natsMsg_Destroy>;

/// Who is called by the client library's threads, as a member. From its end on nobody is: the
/// library has calls under way even when what they come from is destroyed.
template <class Object>
class Callee {
  public:
    explicit Callee(Object* object) : m_object(object)
    {
        const std::scoped_lock lock(mutex());
        all().insert(object);
    }
    ~Callee()
    {
        const std::scoped_lock lock(mutex());
        all().erase(m_object);
    }
    Callee(const Callee&) = delete;
    Callee& operator=(const Callee&) = delete;

    template <class Call>
    static void call(void* object, const Call& call)
    {
        const std::scoped_lock lock(mutex());
        if (all().contains(static_cast<Object*>(object)))
            call(*static_cast<Object*>(object));
    }

  private:
    // Not destroyed: threads may go on while the process ends.
    static std::mutex& mutex()
    {
        static auto& one = *new std::mutex;
        return one;
    }
    static std::set<Object*>& all()
    {
        static auto& one = *new std::set<Object*>;
        return one;
    }

    Object* const m_object;
};

/// What servers will refuse however often it is tried, so that somebody has to look into it.
class ServerError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// What a call has said, in words: "TEXT (CODE)".
std::string describe(natsStatus status, jsErrCode code = static_cast<jsErrCode>(0));

class Connection {
  public:
    /// Reads the files that the options name; throws ServerError for one that does not hold what it
    /// should. Nothing is connected by then. `who` begins what is told.
    Connection(const ServerOptions& options, std::string who);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Connects, or waits until the connection is there again, for so long at most. Whether it is.
    bool await(std::chrono::milliseconds patience);
    bool isConnected() const { return m_isConnected; }
    /// How often it was lost: what was on its way then may be lost as well.
    unsigned lossesQty() const { return m_lossesQty; }
    /// Goes up whenever the library's objects are made anew: those that were obtained before are
    /// of no use any more.
    unsigned generation() const { return m_generation; }

    // Null until there was a connection.
    natsConnection* connection() const { return m_connection.get(); }
    jsCtx* jetStream() const { return m_jetStream.get(); }
    /// Bytes of the largest message that the server takes.
    std::int64_t longestMessage() const;

    /// Tells what is wrong on standard error, unless that was the last thing told.
    void tell(const std::string& what);
    /// The last thing that the client library told its error function, such as a permission that
    /// is missing: no acknowledgement says so. Forgotten by this call.
    std::string takeLastError();

  private:
    void makeOptions(const ServerOptions& options);
    void connect();
    std::string adviceFor(natsStatus status, const std::string& text) const;
    void changed(natsConnection* connection, bool isConnected);
    void failed(natsConnection* connection, natsStatus status);

    const std::string m_who;
    std::string m_urls;
    bool m_isSecure = false;
    bool m_isWithCertificate = false;
    Owned<natsOptions, natsOptions_Destroy> m_options;
    std::mutex m_mutex;
    std::condition_variable m_change;
    std::atomic<bool> m_isConnected = false;
    std::atomic<unsigned> m_lossesQty = 0;
    std::string m_told; ///< With the mutex, as the next one.
    std::string m_lastError;
    std::chrono::steady_clock::time_point m_nextAttempt;
    unsigned m_generation = 0;
    Owned<natsConnection, natsConnection_Destroy> m_connection;
    Owned<jsCtx, jsCtx_Destroy> m_jetStream;
    const Callee<Connection> m_callee{this};
};

} // namespace zmu_tools::ship
