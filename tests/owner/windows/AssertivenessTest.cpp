// The setting of the machine, in the registry.
#include "Assertiveness.h"

using namespace zmu_test;

TEST_F(Assertiveness, NeedsAKeyAndANumber)
{
    Owner owner;
    settings.remove();
    EXPECT_EQ(level(owner), -32);
    EXPECT_EQ(settings.stored(), "(none)");
    const std::pair<DWORD, DWORD> kinds[] = {{REG_BINARY, 4}, {REG_QWORD, 8}, {REG_DWORD, 2},
                                             {REG_DWORD, 8},  {REG_SZ, 4},    {REG_NONE, 0}};
    const BYTE bytes[8] = {5};
    for (const auto& [type, size] : kinds) {
        settings.store(type, bytes, size);
        EXPECT_EQ(level(owner), -33) << type << ' ' << size;
    }
}
