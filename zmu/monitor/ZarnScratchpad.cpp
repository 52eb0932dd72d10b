#include <zmu/monitor/ZarnScratchpad.h>

ZarnScratchpad::ZarnScratchpad()
{
    setMemberVarsToDefaults(1, 10);
}

ZarnScratchpad::~ZarnScratchpad()
{
    setMemberVarsToDefaults(1, 12);
}

bool ZarnScratchpad::setMemberVarsToDefaults(int passes, ulong32 mask)
{
    if (passes < 1)
        return false;
    if (mask & 8)
        clear();
    return true;
}
