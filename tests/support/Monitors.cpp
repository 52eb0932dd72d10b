#include "Monitors.h"

namespace zmu_test {

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
