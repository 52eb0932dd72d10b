#include "Support.h"

#include <zmu/foundation/UTL_String.h>

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <cwchar>
#include <ostream>
#include <utility>

#if !defined(_WIN32)
#include <pwd.h>
#include <unistd.h>
#endif

ZMU_RESOURCE_MODULE_ENTRY int ZRLoadStringW(unsigned int id, wchar_t* buffer, int bufferMax)
{
    const auto& strings = zmu_test::strings();
    const auto row = strings.find(id);
    if (row == strings.end()) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return 0;
    }
    const std::size_t length = row->second.copy(buffer, static_cast<std::size_t>(bufferMax) - 1);
    buffer[length] = L'\0';
    SetLastError(ERROR_SUCCESS);
    return static_cast<int>(length);
}

#if defined(__SANITIZE_THREAD__)
// The sanitizer sees neither the locks of Qt, which is not built for it and shares the texts of
// settings among threads, nor how libsystemd comes by its socket, nor the lock that the C library
// takes around its time zone.
extern "C" const char* __tsan_default_suppressions()
{
    return "race:libQt6Core.so\nrace:libsystemd.so\nrace:linux/Settings.cpp\nrace:tzset_internal\n";
}
#endif

void PrintTo(const QString& text, std::ostream* out)
{
    *out << '"' << qPrintable(text) << '"';
}

namespace zmu_test {

std::map<unsigned int, std::wstring>& strings()
{
    static std::map<unsigned int, std::wstring> table{{textSituation, L"2~0~2~s~||``%1`"}};
    return table;
}

int reportText(Zarn* monitor, const wchar_t* text)
{
    monitor->respondToSituation(textSituation, nullptr, text);
    return monitor->getSelfDX_Code();
}

// ---- Files -----------------------------------------------------------------------------------------------

std::wstring Folder::path(const char* name) const
{
    return m_folder.filePath(QString::fromUtf8(name)).toStdWString();
}

std::wstring Folder::write(const char* name, const QByteArray& bytes) const
{
    QFile file(m_folder.filePath(QString::fromUtf8(name)));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    return path(name);
}

QByteArray Folder::read(const char* name) const
{
    return readFile(path(name));
}

QStringList Folder::files() const
{
    return QDir(m_folder.path()).entryList(QDir::Files, QDir::Name);
}

QByteArray readFile(const std::wstring& path)
{
    QFile file(QString::fromStdWString(path));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << qPrintable(file.fileName());
    return file.readAll();
}

QString userName()
{
#if defined(_WIN32)
    wchar_t name[256];
    DWORD size = 256;
    return GetUserNameW(name, &size) ? QString::fromWCharArray(name) : QString();
#else
    const passwd* const user = getpwuid(geteuid());
    return user ? QString::fromLocal8Bit(user->pw_name) : QString();
#endif
}

bool runsUnderWine()
{
#if defined(_WIN32)
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
#else
    return false;
#endif
}

bool formatterCompletesLineFeeds()
{
    constexpr ulong32 fromStringAndArray = 0x2400;
    static const bool completes = [] {
        wchar_t text[8] = {};
        u64 none = 0;
        return Zarn::formatMessage(fromStringAndArray, L"\n", text, 8, &none) == 2;
    }();
    return completes;
}

QString logText(const std::wstring& path)
{
    const QByteArray bytes = readFile(path);
    const QString text(reinterpret_cast<const QChar*>(bytes.constData()), bytes.size() / 2);
    EXPECT_TRUE(text.startsWith(QChar(0xFEFF)));
    EXPECT_EQ(bytes.size() % 2, 0);
    return asLogText(text.mid(1));
}

QString asLogText(QString text)
{
    return formatterCompletesLineFeeds() ? text.replace("\r\n", "\n") : text;
}

std::string toNarrow(const std::wstring& text)
{
    return UTL_String(text.c_str()).narrowText();
}

QString withoutTimes(QString text)
{
    static const QRegularExpression time(
        QStringLiteral("\\d+-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d\\d\\d"));
    return text.replace(time, QStringLiteral("<time>"));
}

// ---- Traces ----------------------------------------------------------------------------------------------

#if defined(_WIN32)
namespace {

QString caught;

/// Debug output is an exception that a debugger handles, or else the system.
LONG CALLBACK catchTrace(EXCEPTION_POINTERS* exception)
{
    constexpr DWORD printNarrow = 0x40010006;
    constexpr DWORD printWide = 0x4001000A; // not every version has it
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    if (record.ExceptionCode == printWide)
        caught += QString::fromWCharArray(
            reinterpret_cast<const wchar_t*>(record.ExceptionInformation[1]));
    else if (record.ExceptionCode == printNarrow)
        caught +=
            QString::fromLocal8Bit(reinterpret_cast<const char*>(record.ExceptionInformation[1]));
    else
        return EXCEPTION_CONTINUE_SEARCH;
    return EXCEPTION_CONTINUE_EXECUTION;
}

} // namespace

Traces::Traces() : m_handler(AddVectoredExceptionHandler(1, catchTrace)) {}

Traces::~Traces()
{
    take();
}

QString Traces::take()
{
    if (m_handler)
        RemoveVectoredExceptionHandler(std::exchange(m_handler, nullptr));
    return std::exchange(caught, {});
}
#else
Traces::Traces() : m_original(dup(STDERR_FILENO))
{
    char name[] = "/tmp/zmu-traces-XXXXXX";
    m_file = mkstemp(name);
    unlink(name);
    dup2(m_file, STDERR_FILENO);
}

Traces::~Traces()
{
    take();
}

QString Traces::take()
{
    if (m_original < 0)
        return {};
    dup2(m_original, STDERR_FILENO);
    close(std::exchange(m_original, -1));
    QFile file;
    QByteArray bytes;
    if (file.open(m_file, QIODevice::ReadOnly) && file.seek(0))
        bytes = file.readAll();
    close(std::exchange(m_file, -1));
    return QString::fromUtf8(bytes);
}
#endif

// ---- Display and monitors --------------------------------------------------------------------------------

Shown& shown()
{
    static Shown last;
    return last;
}

int show(HWND, const wchar_t* text, const wchar_t* caption, unsigned int type)
{
    Shown& last = shown();
    last.text = text;
    last.caption = caption ? caption : L"";
    last.type = type;
    ++last.count;
    return last.answer;
}

void makeReady(ZarnData& settings, const std::wstring& logName, const wchar_t* formName)
{
    std::wstring name = logName;
    settings.setCharSetExternal(2);
    settings.setArgsIntQty(5);
    settings.setArgsStrQty(5);
    settings.setArgsUIntQty(5);
    settings.setDisplayDlgBoxFunction(show);
    settings.recordLogFileNomenclature(name.data(), formName, Zarn_LOG_HTML);
}

void setLogDirectory(const std::wstring& directory)
{
    ZarnData::setLogVariables(directory.c_str(), 1, true, 20, 7);
}

Monitor::Monitor(const std::wstring& logName, const wchar_t* formName)
{
    ZarnData settings;
    makeReady(settings, logName, formName);
    m_monitor = Zarn::create(&settings);
    m_createCode = settings.getSelfDX_Code();
}

Monitor::~Monitor()
{
    Zarn::destroy(&m_monitor, 0, false);
}

} // namespace zmu_test
