// Shows a status window with the library that the loader finds, and says how that went: the codes
// of each operation.
#include <zmu/notify/ZarnStatusReporter.h>

#include <cstdio>

namespace {

void tell()
{
    const int code = ZarnStatusReporter::getDX_Code1();
    std::printf(code == 0 ? "%d " : "%d/%u ", code, ZarnStatusReporter::getDX_Code2());
}

} // namespace

int main()
{
    ZarnStatusReporter* const reporter =
        ZarnStatusReporter::create(L"Title", 0x10000, L"zmu.dll", 0, 100, 1000, nullptr, nullptr);
    tell();
    if (reporter) {
        reporter->appear();
        tell();
        reporter->updateDisplay(L"text");
        tell();
        ZarnStatusReporter::centerWindow(reporter->getDialogWindowHandle(), nullptr);
        tell();
    }
    std::fflush(stdout);
    ZarnStatusReporter::destroy();
}
