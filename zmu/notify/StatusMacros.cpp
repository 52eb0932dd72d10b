// The status dialog for callers that hold no pointer.
#include <zmu/notify/ZarnStatusReporter.h>

namespace {

/// What `operation` answers about the reporter; a false, 0 or null when there is none.
template <class Operation>
auto forward(Operation operation) -> decltype(operation(*ZarnStatusReporter::getLoneInstance()))
{
    ZarnStatusReporter* const reporter = ZarnStatusReporter::getLoneInstance();
    if (!reporter)
        return {};
    return operation(*reporter);
}

} // namespace

bool ZarnStatusReporter_MACRO_Appear()
{
    return forward([](const auto& reporter) { return reporter.appear(); });
}

bool ZarnStatusReporter_MACRO_Disappear()
{
    return forward([](const auto& reporter) { return reporter.disappear(); });
}

HWND ZarnStatusReporter_MACRO_GetDialogWindowHandle()
{
    return forward([](const auto& reporter) { return reporter.getDialogWindowHandle(); });
}

bool ZarnStatusReporter_MACRO_IsViable()
{
    return forward([](const auto& reporter) { return reporter.isViable(); });
}

bool ZarnStatusReporter_MACRO_IsVisible()
{
    return forward([](const auto& reporter) { return reporter.isVisible(); });
}

bool ZarnStatusReporter_MACRO_SetDLL_Resources(const wchar_t* file, ulong32 loadFlags)
{
    return forward([=](auto& reporter) { return reporter.setDLL_Resources(file, loadFlags); });
}

bool ZarnStatusReporter_MACRO_SetDLL_Resources(HINSTANCE module)
{
    return forward([=](auto& reporter) { return reporter.setDLL_Resources(module); });
}

ulong32 ZarnStatusReporter_MACRO_SetWaitingPeriod(ulong32 milliseconds)
{
    return forward([=](auto& reporter) { return reporter.setWaitingPeriod(milliseconds); });
}

bool ZarnStatusReporter_MACRO_UpdateDisplay(const wchar_t* text)
{
    return forward([=](const auto& reporter) { return reporter.updateDisplay(text); });
}

bool ZarnStatusReporter_MACRO_UpdateDisplay(unsigned int stringID, HINSTANCE module)
{
    return forward([=](const auto& reporter) { return reporter.updateDisplay(stringID, module); });
}

bool ZarnStatusReporter_MACRO_UpdateDisplay()
{
    return forward([](const auto& reporter) { return reporter.updateDisplay(); });
}
