// Makes a status window with the library that the loader finds, and says how that went: the two
// codes and the seconds that it took, or the text of its control.
#include <zmu/notify/ZarnStatusReporter.h>

#include <chrono>
#include <cstdio>

int main()
{
    const auto start = std::chrono::steady_clock::now();
    ZarnStatusReporter* const reporter =
        ZarnStatusReporter::create(L"Title", 0, L"zmu.dll", 0, 100, 1000, nullptr, nullptr);
    const auto seconds =
        std::chrono::round<std::chrono::seconds>(std::chrono::steady_clock::now() - start).count();
    std::printf("%d/%u", ZarnStatusReporter::getDX_Code1(), ZarnStatusReporter::getDX_Code2());
    if (!reporter)
        std::printf(" %s", seconds < 3 ? "at once" : seconds < 8 ? "in time" : "late");
    std::fflush(stdout);
    ZarnStatusReporter::destroy();
}
