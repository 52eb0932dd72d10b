// The program that shows windows, as the library drives it.
//
// A program of its own for each window: a crash harms nobody but that window, and no lock is
// shared. It is started so that the host does not notice: it is no child of the host, which
// therefore gets no SIGCHLD and finds nothing to wait for, and it inherits one socket and no other
// descriptor, no signal mask and no ignored signal. It lies in the folder of the library, or where
// the package puts programs that are not for people; nowhere else is it looked for.
#pragma once

#include <zmu/platform/linux/WindowProtocol.h>

#include <sys/types.h>

#include <chrono>
#include <string_view>

namespace zmu::window {

/// Whether the environment names a display. Otherwise the last error is
/// ERROR_REQUIRES_INTERACTIVE_WINDOWSTATION.
bool hasDisplay();

inline constexpr std::chrono::seconds usualPatience{5};

/// One such program, or none. It may take five seconds to start, and for each answer, or as many as
/// the environment variable ZMU_WINDOW_SECONDS says: 1 to 3600, for a display that is far away. One
/// that takes longer is given up: it is ended, and its window with it.
///
/// For one thread at a time. Operations set the last error when they
/// fail, and a program that has ended, or had to be given up, stays away.
class WindowHelper {
  public:
    WindowHelper() = default;
    ~WindowHelper() { end(); }
    WindowHelper(const WindowHelper&) = delete;
    WindowHelper& operator=(const WindowHelper&) = delete;

    /// Starts the program and waits for it. On failure it writes to standard error why: there is no
    /// display (1459), no such program (2), it does not start (1460, or 31 when it ended).
    bool start();

    /// Whether the program runs. Asks nobody, so a program that was stopped runs.
    bool isAlive();

    /// Gives an order and waits for the reply: false after the seconds (1460), or when the program
    /// has ended (1400) or failed (31).
    bool ask(const Request& request, std::wstring_view text, Reply& reply);

    /// Shows a message box until it is answered. The number of its button; 0 when the program ended
    /// or failed, or did not say for the seconds that it is alive.
    int askPerson(const Request& request, std::wstring_view text);

    /// Ends the program and waits until it is gone.
    void end();

  private:
    using Clock = std::chrono::steady_clock;

    bool launch();
    bool send(const Request& request, std::string_view text);
    bool receive(Reply& reply, char* text = nullptr, std::size_t textMax = 0);
    bool waitFor(short events, Clock::time_point until);

    int m_socket = -1;
    int m_process = -1; ///< A descriptor of the program.
    pid_t m_host = 0;   ///< A child that the host has forked is not the host.
    std::chrono::seconds m_patience = usualPatience;
};

} // namespace zmu::window
