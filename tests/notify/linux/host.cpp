// Makes a status window with the library that the loader finds, and says how that went: the two
// codes.
#include <zmu/notify/ZarnStatusReporter.h>

#include <cstdio>

int main()
{
    ZarnStatusReporter::create(L"Title", 0, L"zmu.dll", 0, 100, 1000, nullptr, nullptr);
    std::printf("%d/%u", ZarnStatusReporter::getDX_Code1(), ZarnStatusReporter::getDX_Code2());
    std::fflush(stdout);
    ZarnStatusReporter::destroy();
}
