// tests/support/Strings.cpp for a program whose strings the tools serve.
#include "Strings.h"

#include <tools/ServedStrings.h>

int zmu_test::reportText(Zarn* monitor, const wchar_t* text)
{
    zmu_tools::ServedStrings strings;
    strings[textSituation] = L"2~0~2~s~||``%1`";
    monitor->respondToSituation(textSituation, nullptr, text);
    return monitor->getSelfDX_Code();
}
