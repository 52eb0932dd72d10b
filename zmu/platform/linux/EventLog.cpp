// The event log, which here is the systemd journal. Its library is loaded when the first source is
// registered, so that a host without it, or without events, does not need it.
#include <zmu/platform/ProcessLock.h>
#include <zmu/platform/Win32.h>
#include <zmu/platform/linux/Conversion.h>
#include <zmu/platform/linux/ModuleFiles.h>

#include <dlfcn.h>
#include <limits.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cwchar>
#include <exception>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

using namespace zmu;

namespace {

/// A row of the message table.
struct Message {
    DWORD event;
    int situation;
    const char* messageID;
    const wchar_t* text;
};

constexpr Message messages[] = {
#define ZMU_EVENT(event, situation, strings, messageID, text)                                      \
    {event, situation, messageID, L"" text},
#include <zmu/platform/EventMessages.def>
#undef ZMU_EVENT
};

/// What a handle of this family is.
struct EventSource {
    std::string identifier;
};

// ---- The journal ---------------------------------------------------------------------------------------

using SendFields = int (*)(const iovec* fields, int count);

/// The journal's own call; null without its library. That stays loaded, since another thread may
/// be in it at any time. Throws without memory.
SendFields loadSendFields()
{
    static std::atomic<SendFields> known = nullptr;
    SendFields send = known;
    if (!send) {
        void* const library =
            isSystemSearchAbsolute() ? dlopen("libsystemd.so.0", RTLD_NOW | RTLD_LOCAL) : nullptr;
        if (library)
            send = reinterpret_cast<SendFields>(dlsym(library, "sd_journal_sendv"));
        known = send;
    }
    return send;
}

/// The last error for what the journal's socket says.
DWORD toSystemError(int error)
{
    const bool isMissing = error == ENOENT || error == ECONNREFUSED; // or has nobody behind it
    return isMissing ? ERROR_SERVICE_NOT_ACTIVE : error ? errorOf(error) : ERROR_SUCCESS;
}

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds patience{5};

/// Waits until `end` for `socket` to take a message: the error, 0 when it does. The host's signals
/// do not make it longer.
DWORD awaitRoom(int socket, Clock::time_point end)
{
    using std::chrono::milliseconds;
    for (;;) {
        const auto left = std::chrono::ceil<milliseconds>(end - Clock::now()).count();
        pollfd room{socket, POLLOUT, 0};
        const int ready = poll(&room, 1, std::max(static_cast<int>(left), 0));
        if (ready >= 0)
            return ready > 0 ? ERROR_SUCCESS : ERROR_TIMEOUT;
        if (errno != EINTR)
            return toSystemError(errno);
    }
}

/// Whether the journal takes an entry: the error, 0 when it does. The journal's own call is silent
/// when there is no journal, and waits for ever for one that is stuck; this does neither.
DWORD awaitJournal(Clock::time_point end)
{
    constexpr sockaddr_un address{AF_UNIX, "/run/systemd/journal/socket"};
    const int probe = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (probe < 0)
        return toSystemError(errno);
    const bool isThere =
        connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    const DWORD error = isThere ? awaitRoom(probe, end) : toSystemError(errno);
    close(probe);
    return error;
}

// ---- Entries -------------------------------------------------------------------------------------------

ProcessLock s_sender; ///< Held by the thread that sends an entry.

/// The fields of an entry: names, and values of any bytes. Adding one throws without memory.
class Fields {
  public:
    void add(std::string_view name, std::string_view value)
    {
        std::string& field = m_fields.emplace_back(name);
        field += '=';
        field += value;
    }

    /// The error, 0 when the journal has them.
    DWORD sendTo(SendFields send)
    {
        std::vector<iovec> vectors;
        for (std::string& field : m_fields)
            vectors.push_back({field.data(), field.size()});
        // One thread at a time, or all would find room for one message. Those that have waited for
        // another that found none do not wait anew.
        const auto end = Clock::now() + patience;
        while (!s_sender.try_lock()) {
            if (Clock::now() >= end)
                return ERROR_TIMEOUT; // the journal's own call has no limit
            Sleep(1);
        }
        const std::lock_guard guard(s_sender, std::adopt_lock);
        const DWORD error = awaitJournal(end);
        return error ? error
                     : toSystemError(-send(vectors.data(), static_cast<int>(vectors.size())));
    }

  private:
    std::vector<std::string> m_fields;
};

/// What an entry holds of a string: enough for a path, and little enough for all strings and the
/// text that is made of them to be one message to the journal.
std::wstring shortened(const wchar_t* string)
{
    constexpr std::size_t longest = PATH_MAX;
    constexpr std::wstring_view mark = L"...";
    const std::size_t length = string ? wcsnlen(string, longest + 1) : 0;
    if (length <= longest)
        return std::wstring(string ? string : L"", length);
    return std::wstring(string, longest - mark.size()).append(mark);
}

/// Raises an error.
std::wstring compose(const wchar_t* format, const std::vector<std::wstring>& strings)
{
    u64 slots[99] = {}; // as many as a format can name
    std::size_t room = std::wcslen(format) + 1;
    for (std::size_t i = 0; i < strings.size() && i < std::size(slots); ++i) {
        slots[i] = reinterpret_cast<std::uintptr_t>(strings[i].c_str());
        room += strings[i].size();
    }
    std::wstring text(room, L'\0');
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY,
                                        format, 0, 0, text.data(), static_cast<DWORD>(room), slots);
    if (length == 0)
        throw DWORD{GetLastError()};
    text.resize(length);
    return text;
}

/// The syslog priority of an event, by its severity.
const char* priorityOf(DWORD event)
{
    constexpr const char* information = "6";
    constexpr const char* bySeverity[] = {information, information, "4", "3"};
    return bySeverity[event >> 30];
}

Fields describe(const EventSource& source, const Message& message,
                const std::vector<std::wstring>& strings)
{
    char event[11];
    std::snprintf(event, sizeof event, "0x%08X", static_cast<unsigned>(message.event));

    Fields fields;
    fields.add("MESSAGE", narrow(compose(message.text, strings)));
    fields.add("PRIORITY", priorityOf(message.event));
    fields.add("SYSLOG_IDENTIFIER", source.identifier);
    fields.add("MESSAGE_ID", message.messageID);
    fields.add("ZMU_EVENT_ID", event);
    if (message.situation)
        fields.add("ZMU_SITUATION", std::to_string(message.situation));
    int number = 0;
    for (const std::wstring& string : strings)
        fields.add("ZMU_STRING_" + std::to_string(++number), narrow(string));
    return fields;
}

bool isThisMachine(std::string_view server)
{
    char name[HOST_NAME_MAX + 1] = {};
    gethostname(name, HOST_NAME_MAX);
    server.remove_prefix(std::min(server.find_first_not_of('\\'), server.size()));
    return server.empty() || server == "." || server == "localhost" || server == name;
}

} // namespace

HANDLE RegisterEventSourceA(const char* server, const char* source)
{
    return withoutThrowing([=]() -> HANDLE {
        if (!source || !*source)
            throw DWORD{ERROR_INVALID_PARAMETER};
        if (server && !isThisMachine(server))
            throw DWORD{RPC_S_SERVER_UNAVAILABLE};
        if (!loadSendFields())
            throw DWORD{ERROR_MOD_NOT_FOUND};
        if (const DWORD error = awaitJournal(Clock::now() + patience))
            throw error;
        return new EventSource{source};
    });
}

HANDLE RegisterEventSourceW(const wchar_t* server, const wchar_t* source)
{
    return withoutThrowing([=] {
        return RegisterEventSourceA(narrow(server ? server : L"").c_str(),
                                    narrow(source ? source : L"").c_str());
    });
}

BOOL DeregisterEventSource(HANDLE source)
{
    if (!source) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    delete static_cast<EventSource*>(source);
    return TRUE;
}

BOOL ReportEventW(HANDLE source, WORD, WORD, DWORD event, void*, WORD count, DWORD,
                  const wchar_t** strings, void*)
{
    return withoutThrowing([=] {
        if (!source)
            throw DWORD{ERROR_INVALID_HANDLE};
        const auto* const message =
            std::find_if(std::begin(messages), std::end(messages),
                         [=](const Message& row) { return row.event == event; });
        if (message == std::end(messages))
            throw DWORD{ERROR_MR_MID_NOT_FOUND};
        std::vector<std::wstring> texts;
        std::transform(strings, strings + count, std::back_inserter(texts), shortened);
        const SendFields send = loadSendFields();
        const DWORD error =
            describe(*static_cast<EventSource*>(source), *message, texts).sendTo(send);
        if (error)
            throw error;
        return TRUE;
    });
}
