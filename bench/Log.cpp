#include "Log.h"

#include "Situation.h"

#include <QFile>
#include <QFileInfo>

#include <stdexcept>
#include <string>

namespace zmu_bench {

namespace {

constexpr u64 highestByteLimit = 78643200; // 75 MiB

int showNothing(HWND, const wchar_t*, const wchar_t*, unsigned int)
{
    return 0;
}

/// Settings of a monitor that logs to `file`.
struct LogSettings : ZarnData {
    LogSettings(const QString& file, const wchar_t* form, bool comesBack)
    {
        configure(*this);
        setLogRecovery(comesBack);
        recordLogFileNomenclature(file.toStdWString().data(), form, Zarn_LOG_HTML);
    }
};

} // namespace

void configure(ZarnData& settings)
{
    constexpr int wide = 2;
    settings.setCharSetExternal(wide);
    settings.setDisplayDlgBoxFunction(showNothing);
}

ProxySettings::ProxySettings(const wchar_t* module) : ZarnData(1)
{
    wchar_t noLog[] = L"";
    configure(*this);
    recordLogFileNomenclature(noLog, nullptr, Zarn_LOG_HTML);
    m_proxyModule = LoadLibraryW(module);
}

Monitor::Monitor(ZarnData&& settings) : m_monitor(Zarn::create(&settings))
{
    if (!m_monitor)
        throw std::runtime_error("no monitor: code " + std::to_string(settings.getSelfDX_Code()));
}

Monitor::~Monitor()
{
    Zarn::destroy(&m_monitor, 0, false);
}

Log::Log(Medium medium, const wchar_t* form, bool comesBack)
    : m_folder(medium), m_monitor(LogSettings(m_folder.path("log.html"), form, comesBack))
{
    u64 previous = 0;
    m_monitor->setLogFileByteCountLimit(highestByteLimit, previous);
}

QString Log::file() const
{
    wchar_t name[1024];
    m_monitor->getFileLogName(name, std::size(name));
    return QString::fromWCharArray(name);
}

qint64 Log::size() const
{
    return QFileInfo(file()).size();
}

void Log::startAnew() const
{
    // Successors go where the last measurement of an owner had its folder, which may be gone.
    ZarnData::setLogVariables(m_folder.path(".").toStdWString().c_str(), 1, true, 20, 7);
    if (!m_monitor->reestablishLogFile(false))
        throw std::runtime_error("the log was not replaced");
    m_folder.clearExcept(file());
}

const Sections& sectionsOfLoggedSituation()
{
    static const Sections sections = [] {
        const Log log(Medium::Disk);
        report(log.monitor(), LoggedSituation);
        QFile file(log.file());
        if (!file.open(QIODevice::ReadOnly))
            throw std::runtime_error("no log to read");
        const QByteArray bytes = file.readAll();
        const QString text(reinterpret_cast<const QChar*>(bytes.constData()), bytes.size() / 2);
        const qsizetype body = text.lastIndexOf(QStringLiteral("<!-- SituationID="));
        const qsizetype tail = text.lastIndexOf(QStringLiteral("</body>"));
        if (body < 0 || tail < body)
            throw std::runtime_error("no entry in the log");
        return Sections{text.mid(body, tail - body), text.mid(tail)};
    }();
    return sections;
}

} // namespace zmu_bench
