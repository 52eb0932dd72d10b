#include <zmu/platform/linux/WindowHelper.h>

#include <zmu/platform/Win32.h>
#include <zmu/platform/linux/ProcessDescriptor.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>

namespace zmu::window {

namespace {

constexpr char programName[] = "zmu-window";
using Path = char[PATH_MAX];

// ---- Where the program is ----------------------------------------------------------------------

/// The folder of the library's own file, wherever it was loaded by, without a separator at its end.
bool findLibraryFolder(Path& folder)
{
    static const char ourOwn = 0;
    Dl_info info{};
    link_map* library = nullptr;
    if (dladdr1(&ourOwn, &info, reinterpret_cast<void**>(&library), RTLD_DL_LINKMAP) == 0)
        return false;
    // The loader remembers the name that it was given, which may have been relative to a folder
    // that is no longer the current one, and the folder that it found.
    Path origin;
    if (dlinfo(library, RTLD_DI_ORIGIN, origin) != 0 || origin[0] != '/')
        return false;
    const char* const name = std::strrchr(library->l_name, '/');
    Path file;
    const int length =
        std::snprintf(file, sizeof file, "%s/%s", origin, name ? name + 1 : library->l_name);
    if (length >= static_cast<int>(sizeof file))
        return false;
    // Links lead to the folder that the package was installed in.
    if (!realpath(file, folder))
        std::strcpy(folder, file);
    *std::strrchr(folder, '/') = '\0';
    return true;
}

/// The program's path. Beside the library, as in the build tree, or where the package has it.
bool findProgram(Path& program)
{
    Path library;
    if (!findLibraryFolder(library))
        return false;
    for (const char* const folder : {".", ZMU_LIBEXEC_FROM_LIBRARY}) {
        const int length =
            std::snprintf(program, sizeof program, "%s/%s/%s", library, folder, programName);
        if (length < static_cast<int>(sizeof program) && access(program, X_OK) == 0)
            return true;
    }
    return false;
}

// ---- Starting it -------------------------------------------------------------------------------

/// All signals are held back, so that no handler of the host runs in a process that shares its
/// memory and is not the host.
class SignalsHold {
  public:
    SignalsHold()
    {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    ~SignalsHold() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    SignalsHold(const SignalsHold&) = delete;
    SignalsHold& operator=(const SignalsHold&) = delete;

  private:
    sigset_t m_before;
};

struct Launch {
    const char* program;
    int socket;
    int process = -1; ///< The result.
    int error = 0;
};

/// The program with the socket and nothing else, in a session of its own: what people type at the
/// host's terminal is for the host.
int spawn(const Launch& launch, pid_t& process)
{
    posix_spawn_file_actions_t files;
    posix_spawnattr_t attributes;
    if (posix_spawn_file_actions_init(&files) != 0)
        return ENOMEM;
    if (posix_spawnattr_init(&attributes) != 0) {
        posix_spawn_file_actions_destroy(&files);
        return ENOMEM;
    }
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);
    // The socket first, since it may be at one of the numbers that are filled next.
    int error = posix_spawn_file_actions_adddup2(&files, launch.socket, socketDescriptor);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (error == 0)
            error = posix_spawn_file_actions_addopen(&files, standard, "/dev/null", O_RDWR, 0);
    }
    if (error == 0)
        error = posix_spawn_file_actions_addclosefrom_np(&files, socketDescriptor + 1);
    if (error == 0) {
        char name[] = "zmu-window";
        char* arguments[] = {name, nullptr};
        error = posix_spawn(&process, launch.program, &files, &attributes, arguments, environ);
    }
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    return error;
}

/// Runs in a process between host and program that ends at once, so that the program is nobody's
/// child. It shares memory and descriptors with the host, which waits.
__attribute__((no_sanitize("thread", "address"))) int launchAndLeave(void* context)
{
    auto& launch = *static_cast<Launch*>(context);
    pid_t process = 0;
    launch.error = spawn(launch, process);
    if (launch.error != 0)
        _exit(0);
    launch.process = pidfd_open(process, 0);
    if (launch.process < 0) {
        launch.error = errno;
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }
    _exit(0);
}

/// Runs launchAndLeave. No signal tells of the end of a process that is made in this way, and only
/// those who ask for such ones can wait for it.
void launchApart(Launch& launch)
{
    constexpr std::size_t stackSize = std::size_t{64} * 1024;
    void* const stack = mmap(nullptr, stackSize, PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    if (stack == MAP_FAILED) {
        launch.error = errno;
        return;
    }
    const SignalsHold hold;
    const pid_t between = clone(launchAndLeave, static_cast<char*>(stack) + stackSize,
                                CLONE_VM | CLONE_VFORK | CLONE_FILES, &launch);
    if (between < 0)
        launch.error = errno;
    else
        waitpid(between, nullptr, __WALL);
    munmap(stack, stackSize);
}

DWORD toLastError(int error)
{
    switch (error) {
    case ENOENT:
        return ERROR_FILE_NOT_FOUND;
    case EACCES:
    case EPERM:
        return ERROR_ACCESS_DENIED;
    case ENOMEM:
    case EAGAIN:
    case EMFILE:
    case ENFILE:
        return ERROR_NOT_ENOUGH_MEMORY;
    default:
        return ERROR_GEN_FAILURE;
    }
}

/// Says on standard error why there is no window, and leaves the last error `error`. False.
bool tell(DWORD error, const char* what, const char* why)
{
    char text[1024];
    wchar_t wide[std::size(text)];
    std::snprintf(text, sizeof text, "zmu: no window can be shown: %.480s: %.480s\n", what, why);
    MultiByteToWideChar(CP_ACP, 0, text, -1, wide, static_cast<int>(std::size(wide)));
    OutputDebugStringW(wide);
    SetLastError(error);
    return false;
}

/// Converts to UTF-8 what `bytes` has room for at any text: 4 bytes an element.
std::string_view toBytes(std::wstring_view text, char* bytes)
{
    const auto room = static_cast<int>(4 * text.size());
    const int length =
        text.empty() ? 0
                     : WideCharToMultiByte(CP_ACP, 0, text.data(), static_cast<int>(text.size()),
                                           bytes, room, nullptr, nullptr);
    return {bytes, static_cast<std::size_t>(length)};
}

std::chrono::seconds learnPatience()
{
    constexpr int most = 3600;
    const char* const asked = std::getenv("ZMU_WINDOW_SECONDS");
    const int seconds = asked ? std::atoi(asked) : 0;
    return seconds >= 1 && seconds <= most ? std::chrono::seconds(seconds) : usualPatience;
}

bool isSet(const char* variable)
{
    const char* const value = std::getenv(variable);
    return value && *value;
}

} // namespace

bool hasDisplay()
{
    if (isSet("DISPLAY") || isSet("WAYLAND_DISPLAY"))
        return true;
    SetLastError(ERROR_REQUIRES_INTERACTIVE_WINDOWSTATION);
    return false;
}

// ---- The program -------------------------------------------------------------------------------

bool WindowHelper::start()
{
    if (!hasDisplay())
        return tell(ERROR_REQUIRES_INTERACTIVE_WINDOWSTATION, "there is no display",
                    "neither DISPLAY nor WAYLAND_DISPLAY is set");
    m_patience = learnPatience();
    if (!launch())
        return false;
    char words[1024] = "";
    Reply ready;
    if (receive(ready, words, sizeof words) && ready.answer == Answer::State)
        return true;
    const bool wasSlow = GetLastError() == ERROR_TIMEOUT;
    end();
    if (wasSlow)
        return tell(ERROR_TIMEOUT, programName,
                    "did not start in time: ZMU_WINDOW_SECONDS gives it more than five seconds");
    return tell(ERROR_GEN_FAILURE, programName,
                words[0] != '\0' ? words : "ended before it was ready");
}

bool WindowHelper::launch()
{
    Path program;
    if (!findProgram(program))
        return tell(ERROR_FILE_NOT_FOUND, "the program zmu-window is missing",
                    "it belongs beside the library or into libexec/zmu of its installation");
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0)
        return tell(toLastError(errno), program, std::strerror(errno));
    const int room = static_cast<int>(2 * textBytesMax);
    setsockopt(ends[0], SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
    Launch launch{program, ends[1]};
    launchApart(launch);
    close(ends[1]);
    if (launch.process < 0) {
        close(ends[0]);
        return tell(toLastError(launch.error), program, std::strerror(launch.error));
    }
    m_socket = ends[0];
    m_process = launch.process;
    m_host = getpid();
    return true;
}

bool WindowHelper::isAlive()
{
    if (m_socket < 0 || m_host != getpid())
        return false;
    pollfd program{m_process, POLLIN, 0};
    pollfd socket{m_socket, POLLIN, 0};
    const bool hasEnded = poll(&program, 1, 0) > 0 ||
                          (poll(&socket, 1, 0) > 0 && (socket.revents & (POLLHUP | POLLERR)) != 0);
    if (hasEnded)
        end();
    return !hasEnded;
}

bool WindowHelper::ask(const Request& request, std::wstring_view text, Reply& reply)
{
    char bytes[4 * lineMax];
    if (!isAlive()) {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return false;
    }
    if (send(request, toBytes(text.substr(0, lineMax), bytes)) && receive(reply)) {
        if (reply.answer == Answer::State)
            return true;
        SetLastError(ERROR_GEN_FAILURE);
    }
    const DWORD error = GetLastError();
    end();
    SetLastError(error);
    return false;
}

int WindowHelper::askPerson(const Request& request, std::wstring_view text)
{
    const std::wstring_view shown = text.substr(0, boxTextMax);
    const std::unique_ptr<char[]> bytes(new (std::nothrow) char[4 * shown.size() + 1]);
    if (!bytes) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return 0;
    }
    Reply reply;
    if (!send(request, toBytes(shown, bytes.get())))
        return 0;
    do {
        if (!receive(reply))
            return 0;
    } while (reply.answer == Answer::Alive);
    if (reply.answer == Answer::Button && reply.button > 0)
        return reply.button;
    SetLastError(ERROR_GEN_FAILURE);
    return 0;
}

void WindowHelper::end()
{
    if (m_socket < 0)
        return;
    close(m_socket);
    m_socket = -1;
    if (m_host == getpid()) {
        // It has nothing to save, so whatever it is busy with or waits for, it ends now.
        pidfd_send_signal(m_process, SIGKILL, nullptr, 0);
        waitFor(0, Clock::now() + m_patience);
        // A host that adopts orphans was given this one.
        waitid(P_PIDFD, static_cast<id_t>(m_process), nullptr, WEXITED | WNOHANG);
    }
    close(m_process);
    m_process = -1;
}

// ---- Packets -----------------------------------------------------------------------------------

/// Waits until the socket is ready for `events`, or the program has ended. False when neither
/// happens in time.
bool WindowHelper::waitFor(short events, Clock::time_point until)
{
    for (;;) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
        pollfd sources[] = {{m_socket, events, 0}, {m_process, POLLIN, 0}};
        const int ready =
            poll(sources, std::size(sources), static_cast<int>(std::max<i64>(left, 0)));
        if (ready > 0)
            return true;
        if (ready == 0 || errno != EINTR) {
            SetLastError(ERROR_TIMEOUT);
            return false;
        }
    }
}

bool WindowHelper::send(const Request& request, std::string_view text)
{
    Request head = request;
    iovec parts[] = {{&head, sizeof head}, {const_cast<char*>(text.data()), text.size()}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = std::size(parts);
    const auto until = Clock::now() + m_patience;
    while (sendmsg(m_socket, &message, MSG_NOSIGNAL | MSG_DONTWAIT) < 0) {
        if (errno != EAGAIN && errno != EINTR) {
            SetLastError(ERROR_INVALID_WINDOW_HANDLE);
            return false;
        }
        if (!waitFor(POLLOUT, until))
            return false;
    }
    return true;
}

bool WindowHelper::receive(Reply& reply, char* text, std::size_t textMax)
{
    iovec parts[] = {{&reply, sizeof reply}, {text, textMax == 0 ? 0 : textMax - 1}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = std::size(parts);
    const auto until = Clock::now() + m_patience;
    for (;;) {
        if (!waitFor(POLLIN, until))
            return false;
        const ssize_t length = recvmsg(m_socket, &message, MSG_DONTWAIT);
        if (length >= static_cast<ssize_t>(sizeof reply)) {
            if (text)
                text[length - static_cast<ssize_t>(sizeof reply)] = '\0';
            return true;
        }
        if (length >= 0 || (errno != EAGAIN && errno != EINTR)) {
            SetLastError(ERROR_INVALID_WINDOW_HANDLE);
            return false;
        }
    }
}

} // namespace zmu::window
