#include "Names.h"

#include <algorithm>
#include <set>

namespace zmu_tools {

namespace {

using Words = std::set<std::string_view>;

bool isUpper(char c)
{
    return c >= 'A' && c <= 'Z';
}

bool isLetter(char c)
{
    return (c >= 'a' && c <= 'z') || isUpper(c);
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

/// Capitals alone, as macros have: EOF, NULL, ERROR_TIMEOUT.
bool isLikeMacro(std::string_view name)
{
    return name.size() > 1 &&
           std::ranges::all_of(name, [](char c) { return isUpper(c) || isDigit(c) || c == '_'; });
}

/// What headers declare outside of any namespace, as far as somebody may call a catalogue that.
bool isGlobal(std::string_view name)
{
    static const Words words = {
        // the C library and POSIX
        "abort", "abs", "accept", "access", "acct", "acos", "addrinfo", "alarm", "alloca", "asin",
        "atan", "atexit", "atof", "atoi", "atol", "basename", "bcopy", "bind", "brk", "bsearch",
        "bzero", "calloc", "canonicalize", "cbrt", "ceil", "chdir", "chmod", "chown", "chroot",
        "clearenv", "clearerr", "clock", "clone", "close", "closedir", "closelog", "confstr",
        "connect", "copysign", "cos", "cosh", "creat", "crypt", "ctime", "daemon", "daylight",
        "difftime", "dirent", "dirname", "div", "drem", "dup", "dup2", "eaccess", "environ", "erf",
        "error", "execl", "execv", "exit", "exp", "exp2", "fabs", "fallocate", "fclose", "fcntl",
        "fdim", "feof", "ferror", "fflush", "fileno", "finite", "flock", "floor", "fma", "fmax",
        "fmin", "fmod", "fopen", "fork", "fread", "free", "frexp", "fseek", "fstat", "fsync",
        "ftell", "ftok", "fwrite", "gamma", "getc", "getchar", "getenv", "getline", "getopt",
        "getpid", "gets", "getuid", "glob", "gmtime", "group", "hostent", "hypot", "iconv", "index",
        "initgroups", "ioctl", "iovec", "isatty", "jn", "kill", "labs", "ldexp", "ldiv", "lerp",
        "linger", "link", "listen", "localtime", "lockf", "log", "log10", "log2", "logb", "longjmp",
        "lseek", "lstat", "madvise", "malloc", "memchr", "memcmp", "memcpy", "memmove", "memset",
        "mincore", "mkdir", "mktime", "mlock", "mmap", "modf", "mount", "mprotect", "msync",
        "munmap", "nan", "nanosleep", "nice", "obstack", "open", "openat", "opendir", "openlog",
        "optarg", "opterr", "optind", "optopt", "passwd", "pathconf", "pause", "pclose", "perror",
        "pipe", "poll", "pollfd", "popen", "pow", "printf", "prlimit", "profil", "psignal",
        "ptrace", "putc", "putchar", "putenv", "puts", "qsort", "raise", "rand", "random", "read",
        "readahead", "readdir", "readlink", "readv", "realloc", "realpath", "reboot", "recv",
        "remainder", "remove", "rename", "revoke", "rewind", "rindex", "rint", "rlimit", "rmdir",
        "round", "rusage", "scalb", "scandir", "scanf", "seekdir", "select", "send", "sendfile",
        "sendmsg", "sendto", "servent", "setenv", "setjmp", "setlocale", "shutdown", "sigaction",
        "sigevent", "signal", "signbit", "significand", "sigval", "sin", "sincos", "sinh", "sleep",
        "snprintf", "sockaddr", "socket", "socketpair", "splice", "sprintf", "sqrt", "srand",
        "sscanf", "stat", "statfs", "statx", "strcat", "strchr", "strcmp", "strcpy", "strdup",
        "strlen", "strstr", "strtok", "swab", "swapoff", "swapon", "symlink", "sync", "syscall",
        "sysconf", "sysinfo", "syslog", "system", "tan", "tanh", "tee", "telldir", "termio",
        "termios", "time", "timeb", "timegm", "timespec", "timeval", "timex", "timezone", "tm",
        "tmpfile", "tolower", "toupper", "trunc", "truncate", "ttyname", "tzname", "tzset", "ucred",
        "uint", "ulong", "umask", "umount", "uname", "ungetc", "unlink", "unshare", "ushort",
        "usleep", "utimbuf", "utime", "utimes", "utsname", "vfork", "vhangup", "vmsplice", "wait",
        "waitid", "waitpid", "winsize", "write", "writev", "yn",
        // Windows
        "boolean", "byte", "chsize", "cwait", "eof", "filelength", "getch", "itoa", "kbhit",
        "locking", "putch", "spawn", "sopen", "stricmp", "strlwr", "strrev", "strupr", "tell",
        // this library
        "i64", "u64", "u8", "ulong32", "zr", "CriticalSection", "Mutex", "OneTimeMethod",
        "OneTimeMethodState", "Signal", "StringEncoding", "Synchronized", "TObjectMap",
        "TimedMutex", "UTF8String"};
    return words.contains(name) || name.ends_with("_t") || name.starts_with("pthread_") ||
           name.starts_with("UTL_") || name.starts_with("Zarn") || name.starts_with("ZR");
}

} // namespace

bool isIdentifier(std::string_view name)
{
    return !name.empty() && isLetter(name.front()) && name.back() != '_' &&
           name.find("__") == std::string_view::npos &&
           std::ranges::all_of(name, [](char c) { return isLetter(c) || isDigit(c) || c == '_'; });
}

bool isReserved(std::string_view name)
{
    static const Words words = {
        "alignas", "alignof", "and", "and_eq", "asm", "auto", "bitand", "bitor", "bool", "break",
        "case", "catch", "char", "char8_t", "char16_t", "char32_t", "class", "compl", "concept",
        "const", "consteval", "constexpr", "constinit", "const_cast", "continue", "co_await",
        "co_return", "co_yield", "decltype", "default", "delete", "do", "double", "dynamic_cast",
        "else", "enum", "explicit", "export", "extern", "false", "float", "for", "friend", "goto",
        "if", "inline", "int", "long", "mutable", "namespace", "new", "noexcept", "not", "not_eq",
        "nullptr", "operator", "or", "or_eq", "private", "protected", "public", "register",
        "reinterpret_cast", "requires", "return", "short", "signed", "sizeof", "static",
        "static_assert", "static_cast", "struct", "switch", "template", "this", "thread_local",
        "throw", "true", "try", "typedef", "typeid", "typename", "union", "unsigned", "using",
        "virtual", "void", "volatile", "wchar_t", "while", "xor", "xor_eq",
        // what the header declares, and macros of platforms and of what hosts include
        "id", "load", "setUp", "monitor", "report", "errno", "linux", "unix", "near", "far",
        "small", "hyper", "interface", "assert", "stdin", "stdout", "stderr", "main", "min", "max",
        "major", "minor", "emit", "signals", "slots", "foreach", "forever"};
    return words.contains(name) || isLikeMacro(name);
}

bool isFunctionName(std::string_view name)
{
    return isIdentifier(name) && !isReserved(name) && !isUpper(name.front());
}

std::string recorderName(std::string situation)
{
    situation[0] = char(situation[0] - 'a' + 'A');
    return situation;
}

bool isNameSpace(std::string_view name)
{
    bool isFirst = true;
    for (std::size_t begin = 0; begin <= name.size(); isFirst = false) {
        const std::size_t end = std::min(name.find("::", begin), name.size());
        const std::string_view part = name.substr(begin, end - begin);
        if (!isIdentifier(part) || isReserved(part) || part == "std" || part == "zmu" ||
            (isFirst && isGlobal(part)))
            return false;
        begin = end + 2;
    }
    return !name.ends_with(':');
}

bool isFileName(std::string_view name)
{
    return !name.empty() && (isLetter(name.front()) || isDigit(name.front())) &&
           std::ranges::all_of(name, [](char c) {
               return isLetter(c) || isDigit(c) || c == '-' || c == '_' || c == '.';
           });
}

bool isLanguage(std::string_view tag)
{
    std::size_t length = 0;
    bool isFirst = true;
    for (const char c : tag) {
        if (c == '-' && length >= 2) {
            isFirst = false;
            length = 0;
        } else if ((isLetter(c) || (!isFirst && isDigit(c))) && length < 8) {
            ++length;
        } else {
            return false;
        }
    }
    return length >= 2 && (!isFirst || length <= 3);
}

} // namespace zmu_tools
