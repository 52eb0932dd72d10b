#include "OwnLog.h"

#include <collect/Strings.h>
#include <tools/Text.h>
#include <zmu/monitor/DxCodes.h>
#include <zmu/monitor/ZarnData.h>
#include <zmu/owner/ZarnDataZGW.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cwchar>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace zmu_tools::collect {

namespace {

/// Whether the library tells that no form was named, which needs none.
bool isOfNoForm(const wchar_t* trace)
{
    constexpr std::wstring_view words = L" is dismissing exception #";
    const wchar_t* const found = std::wcsstr(trace, words.data());
    if (!found || !std::wstring_view(trace).starts_with(L"ZarnData::processFileLogForm ("))
        return false;
    const long code = std::wcstol(found + words.size(), nullptr, 10);
    return code == zmu::dx::FormNameEmpty || code == zmu::dx::FormNameMissing;
}

void traceUnlessOfNoForm(const wchar_t* text)
{
    if (isOfNoForm(text))
        return;
    const auto own = Zarn_setTraceFunction(nullptr);
    Zarn_TRACE(L"%ls", text);
    Zarn_setTraceFunction(own);
}

} // namespace

/// An owner whose log may have a form from elsewhere.
class OwnLog::Owner : public ZarnDataZGW {
  public:
    explicit Owner(std::wstring form)
        : ZarnDataZGW(0, true, nullptr, zmu_collect::ownModule(), Zarn_LOG_HTML),
          m_form(std::move(form))
    {}

    bool customizeForOwner() override
    {
        if (!ZarnDataZGW::customizeForOwner())
            return false;
        // One that nobody has named, and that is not where forms are, need not be missed.
        std::wstring log(m_dataSet->getFileLogName());
        if (m_form.empty() &&
            QFile::exists(QString::fromWCharArray(m_dataSet->getFileLog()->m_formName)))
            return true;
        return m_dataSet->recordLogFileNomenclature(log.data(), m_form.c_str(), Zarn_LOG_HTML);
    }

  private:
    std::wstring m_form;
};

OwnLog::OwnLog(std::string folder, std::string form, unsigned size)
    : m_folder(std::move(folder)), m_form(std::move(form))
{
    const QFileInfo place(QString::fromStdString(m_folder));
    if (!place.isDir())
        throw std::runtime_error(m_folder + " is no folder for logs");
    // With the separator, which is not added where a question about the folder fails.
    const std::wstring path =
        QDir::toNativeSeparators(place.absoluteFilePath() + '/').toStdWString();
    ZarnData::setLogVariables(path.c_str(), 1, false, size, 0);
    m_usualTrace = Zarn_setTraceFunction(traceUnlessOfNoForm);
}

OwnLog::~OwnLog()
{
    beginAnother();
    Zarn_setTraceFunction(m_usualTrace);
}

Zarn* OwnLog::monitor(std::string& why)
{
    if (m_monitor)
        return m_monitor;
    // The library's traces tell why there is no log; not each second once more.
    const auto usual = Zarn_setTraceFunction(nullptr);
    Zarn_setTraceFunction(m_hasFailed ? [](const wchar_t*) {} : usual);
    try {
        Owner owner(widened(m_form));
        m_monitor = owner.createZarnMonitor();
    } catch (int) {
        // its codes tell
    }
    Zarn_setTraceFunction(usual);
    m_hasFailed = !m_monitor;
    if (!m_monitor)
        why = "no log can be begun in " + m_folder + " (ZGW" +
              std::to_string(ZarnDataZGW::getDX_Code1()) + "/WLE" +
              std::to_string(ZarnDataZGW::getDX_Code2()) + ')';
    return m_monitor;
}

void OwnLog::beginAnother()
{
    ZarnDataZGW::destroyZarnMonitor(m_monitor);
}

} // namespace zmu_tools::collect
