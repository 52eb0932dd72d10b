// The request to end a program that works until it is told to.
#pragma once

#include <functional>
#include <memory>

namespace zmu_tools {

/// While there is one, the process is not ended by SIGTERM, SIGINT or SIGHUP, on Windows by Ctrl+C,
/// Ctrl+Break, or a console that closes: the request is noted. A second one ends it all the same.
/// There is one at a time.
class StopRequest {
  public:
    /// `tell` is called once the request comes, by another thread.
    explicit StopRequest(std::function<void()> tell);
    ~StopRequest();
    StopRequest(const StopRequest&) = delete;
    StopRequest& operator=(const StopRequest&) = delete;

    static bool isMade();

  private:
    struct System;
    std::unique_ptr<System> m_system;
};

} // namespace zmu_tools
