#include <zmu/localize/ResourceModule.h>
#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/ZarnData.h>

ZMU_RESOURCE_MODULE_ENTRY int ZRLoadStringW(unsigned int id, wchar_t* buffer, int bufferMax)
{
    const wchar_t* text = id == 1001 ? L"2~0~2~u`s||``Session %1!u! of %2!s! has started.`" : L"";
    SetLastError(*text ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND);
    return *text ? swprintf(buffer, bufferMax, L"%ls", text) : 0;
}

int main()
{
    wchar_t logName[] = L"shortest.html";
    ZarnData settings;
    settings.setCharSetExternal(2);
    settings.setResourceModule(GetModuleHandleW(nullptr));
    settings.recordLogFileNomenclature(logName, nullptr, Zarn_LOG_HTML);
    Zarn* monitor = Zarn::create(&settings);
    if (monitor)
        monitor->respondToSituation(1001, nullptr, 7U, L"Ada");
    const bool isWritten = monitor && monitor->isSelfSatisfied();
    Zarn::destroy(&monitor, 0, false);
    return isWritten ? 0 : 1;
}
