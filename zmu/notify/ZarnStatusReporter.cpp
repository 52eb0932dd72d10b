// The life of the status dialog, its texts and its strings. StatusDialog.cpp has its looks.
#include <zmu/notify/ZarnStatusReporter.h>

#include <zmu/foundation/internal/LoadString.h>
#include <zmu/monitor/Zarn.h>
#include <zmu/notify/StatusCodes.h>
#include <zmu/platform/EntryPoint.h>
#include <zmu/platform/Win32.h>

#include <cstdarg>
#include <utility>

namespace status = zmu::status;

ZarnStatusReporter* ZarnStatusReporter::m_loneInstance = nullptr;
std::atomic<int> ZarnStatusReporter::m_DX_Code1 = status::Success;
std::atomic<ulong32> ZarnStatusReporter::m_DX_Code2 = 0;
HBRUSH ZarnStatusReporter::m_dialogWindowColorBackground = nullptr;
ulong32 ZarnStatusReporter::m_dialogWindowColorText = 0;
HFONT ZarnStatusReporter::m_dialogWindowLogicalFont = nullptr;
ulong32 ZarnStatusReporter::m_dialogWindowStyles = 0x10000;

namespace {

// Bits of setMemberVarsToDefaults.
constexpr ulong32 clearStatus = 2;
constexpr ulong32 freeAll = 4;
constexpr ulong32 resetMembers = 8;

// IDs of dialogs, and those of controls and strings; the ends are not included.
constexpr int dialogIDEnd = 28672;
constexpr int controlIDMin = 8;
constexpr int controlIDEnd = 57344;

/// The display server of the product, which pushes texts to a screen that is elsewhere. It may come
/// and go, so it is looked up each time; it is never loaded from here.
void flushDisplayServer()
{
    const DWORD error = GetLastError();
    const HMODULE server = GetModuleHandleW(L"ds.dll");
    if (!server) {
        SetLastError(error); // Nothing has failed.
        return;
    }
    try {
        if (auto* const flush = zmu::entryPoint<void (*)()>(server, "dsFlushDisplayServer"))
            flush();
    } catch (...) {
        // The text is in the window: what becomes of it elsewhere is the server's affair.
        return;
    }
}

bool isNamed(const wchar_t* file)
{
    return file && *file;
}

bool isControlID(i64 id)
{
    return id >= controlIDMin && id < controlIDEnd;
}

} // namespace

// ---- Status --------------------------------------------------------------------------------------

void ZarnStatusReporter::clearDiagnostics()
{
    m_DX_Code1 = status::Success;
    m_DX_Code2 = 0;
}

int ZarnStatusReporter::getDX_Code1()
{
    return m_DX_Code1;
}

ulong32 ZarnStatusReporter::getDX_Code2()
{
    return m_DX_Code2;
}

bool ZarnStatusReporter::fail(int code)
{
    m_DX_Code1 = code;
    return false;
}

/// The codes that the constructors throw are there already.
void ZarnStatusReporter::failFirst(int code)
{
    if (m_DX_Code1 == status::Success)
        fail(code);
}

bool ZarnStatusReporter::failWithLastError(int code)
{
    m_DX_Code2 = GetLastError();
    return fail(code);
}

// ---- Construction ----------------------------------------------------------------------------------

ZarnStatusReporter* ZarnStatusReporter::create(const wchar_t* title, ulong32 styles,
                                               const wchar_t* resourceFile, ulong32 loadFlags,
                                               int dialogID, int textControlID, DLGPROC procedure,
                                               HWND parent)
{
    clearDiagnostics();
    if (m_loneInstance) {
        fail(status::ResourceSecond);
        return nullptr;
    }
    try {
        m_loneInstance = new ZarnStatusReporter(title, styles, resourceFile, loadFlags, dialogID,
                                                textControlID, procedure, parent);
    } catch (int code) {
        failFirst(code);
        return nullptr;
    } catch (...) {
        fail(status::ResourceUnexpected);
        return nullptr;
    }
    return m_loneInstance;
}

ZarnStatusReporter* ZarnStatusReporter::create(HWND dialog, int textControlID, DLGPROC procedure,
                                               const wchar_t* resourceFile, ulong32 loadFlags)
{
    clearDiagnostics();
    if (m_loneInstance) {
        fail(status::AdoptSecond);
        return nullptr;
    }
    try {
        m_loneInstance =
            new ZarnStatusReporter(dialog, textControlID, procedure, resourceFile, loadFlags);
    } catch (int code) {
        failFirst(code);
        return nullptr;
    } catch (...) {
        fail(status::AdoptUnexpected);
        return nullptr;
    }
    return m_loneInstance;
}

ZarnStatusReporter* ZarnStatusReporter::getLoneInstance()
{
    return m_loneInstance;
}

void ZarnStatusReporter::destroy()
{
    delete std::exchange(m_loneInstance, nullptr);
}

/// Throws `code` if there is a reporter, whose colours and font must not be released with this one.
void ZarnStatusReporter::requireAlone(int code)
{
    clearDiagnostics();
    if (m_loneInstance) {
        fail(code);
        throw code;
    }
}

/// The frame of the constructors: what `body` has made is released when it fails, and then the code
/// is thrown.
template <class Body>
void ZarnStatusReporter::construct(Body body)
{
    try {
        body();
    } catch (...) {
        setMemberVarsToDefaults(1, freeAll | resetMembers);
        throw;
    }
    if (m_DX_Code1 == status::Success)
        return;
    // The dialog's procedure clears the codes while the dialog goes.
    const int code1 = m_DX_Code1;
    const ulong32 code2 = m_DX_Code2;
    setMemberVarsToDefaults(1, freeAll | resetMembers);
    m_DX_Code1 = code1;
    m_DX_Code2 = code2;
    throw code1;
}

ZarnStatusReporter::ZarnStatusReporter(const wchar_t* title, ulong32 styles,
                                       const wchar_t* resourceFile, ulong32 loadFlags, int dialogID,
                                       int textControlID, DLGPROC procedure, HWND parent)
    : m_dialogWindowIsOurs(true)
{
    requireAlone(status::ResourceInstanceExists);
    construct([&] {
        setMemberVarsToDefaults(1, clearStatus | resetMembers);
        if (!isNamed(resourceFile) || dialogID < 1 || dialogID >= dialogIDEnd)
            return fail(status::ResourceBadArguments);
        if (!obtainModuleHandle(resourceFile, loadFlags, m_resourceModule, m_resourceModuleIsOurs))
            return false;
        m_dialogProcedure = procedure ? procedure : processDialogMessages;
        m_dialogWindowStyles = styles & 0xFFFF0000;
        establishDlgBox_Aesthetics();
        m_dialogWindow = CreateDialogParamW(m_resourceModule, MAKEINTRESOURCEW(dialogID), parent,
                                            m_dialogProcedure, 0);
        if (!m_dialogWindow)
            return failWithLastError(status::DialogNotCreated);
        return ZarnStatusReporter_(title, textControlID);
    });
}

ZarnStatusReporter::ZarnStatusReporter(HWND dialog, int textControlID, DLGPROC procedure,
                                       const wchar_t* resourceFile, ulong32 loadFlags)
    : m_dialogWindow(dialog)
{
    requireAlone(status::AdoptInstanceExists);
    construct([&] {
        setMemberVarsToDefaults(1, clearStatus | resetMembers);
        if (!dialog || !isNamed(resourceFile))
            return fail(status::AdoptBadArguments);
        if (!procedure || procedure == processDialogMessages)
            return fail(status::AdoptBadProcedure);
        if (!obtainModuleHandle(resourceFile, loadFlags, m_resourceModule, m_resourceModuleIsOurs))
            return false;
        m_dialogProcedure = procedure;
        return ZarnStatusReporter_(nullptr, textControlID);
    });
}

bool ZarnStatusReporter::ZarnStatusReporter_(const wchar_t* title, int textControlID)
{
    if (m_DX_Code1 != status::Success)
        return false;
    SetLastError(ERROR_SUCCESS);
    if (m_textControl || !isViable() || !isControlID(textControlID))
        return fail(status::TextControlBad);
    m_textControl = GetDlgItem(m_dialogWindow, textControlID);
    if (!m_textControl)
        return failWithLastError(status::TextControlNotFound);
    if (title)
        SetWindowTextW(m_dialogWindow, title);
    return true;
}

// ---- Clean-up ----------------------------------------------------------------------------------------

ZarnStatusReporter::~ZarnStatusReporter()
{
    setMemberVarsToDefaults(1, freeAll | resetMembers);
}

bool ZarnStatusReporter::setMemberVarsToDefaults(int passes, ulong32 mask)
{
    if (passes < 1)
        return false;
    const bool succeeded = !(mask & freeAll) || freeResources();
    if (mask & clearStatus)
        clearDiagnostics();
    if (mask & resetMembers) {
        m_textControl = nullptr;
        m_dialogProcedure = nullptr;
        m_dialogWindowColorBackground = nullptr;
        m_dialogWindowColorText = 0;
        m_textMessage.clear();
        m_waitingPeriod = 0;
    }
    return succeeded;
}

bool ZarnStatusReporter::freeResources()
{
    bool succeeded = true;
    auto* const dialog = std::exchange(m_dialogWindow, nullptr);
    if (dialog && m_dialogWindowIsOurs && IsWindow(dialog) && !DestroyWindow(dialog)) {
        SetLastError(ERROR_SUCCESS);
        succeeded = false;
    }
    if (!freeDLL_Resources())
        succeeded = false;
    // The brush is the system's.
    auto* const font = std::exchange(m_dialogWindowLogicalFont, nullptr);
    if (font && !DeleteObject(font)) {
        SetLastError(ERROR_SUCCESS);
        succeeded = false;
    }
    return succeeded;
}

bool ZarnStatusReporter::freeDLL_Resources()
{
    auto* const module = std::exchange(m_resourceModule, nullptr);
    if (!std::exchange(m_resourceModuleIsOurs, false) || FreeLibrary(module))
        return true;
    SetLastError(ERROR_SUCCESS);
    return false;
}

// ---- Strings -----------------------------------------------------------------------------------------

bool ZarnStatusReporter::obtainModuleHandle(const wchar_t* file, ulong32 loadFlags,
                                            HINSTANCE& module, bool& loadedHere)
{
    clearDiagnostics();
    if (module)
        return fail(status::ModuleTwice);
    loadedHere = false;
    if (!isNamed(file))
        return fail(status::ModuleNoFile);
    module = GetModuleHandleW(file);
    if (module)
        return true;
    SetLastError(ERROR_SUCCESS);
    module = LoadLibraryExW(file, nullptr, loadFlags);
    if (!module)
        return failWithLastError(status::ModuleNotLoaded);
    loadedHere = true;
    return true;
}

bool ZarnStatusReporter::setDLL_Resources(const wchar_t* file, ulong32 loadFlags)
{
    clearDiagnostics();
    if (!isNamed(file))
        return fail(status::ResourcesNoFile);
    freeDLL_Resources();
    return obtainModuleHandle(file, loadFlags, m_resourceModule, m_resourceModuleIsOurs);
}

bool ZarnStatusReporter::setDLL_Resources(HINSTANCE module)
{
    clearDiagnostics();
    if (!module)
        return fail(status::ResourcesNoModule);
    freeDLL_Resources();
    m_resourceModule = module;
    return true;
}

// ---- The window ----------------------------------------------------------------------------------------

bool ZarnStatusReporter::isViable() const
{
    return m_dialogWindow && IsWindow(m_dialogWindow);
}

bool ZarnStatusReporter::isVisible() const
{
    return isViable() && IsWindowVisible(m_dialogWindow);
}

HWND ZarnStatusReporter::getDialogWindowHandle() const
{
    return isViable() ? m_dialogWindow : nullptr;
}

bool ZarnStatusReporter::appear() const
{
    clearDiagnostics();
    if (!isViable())
        return true;
    ShowWindow(m_dialogWindow, SW_SHOW);
    SetForegroundWindow(m_dialogWindow);
    if (!InvalidateRect(m_dialogWindow, nullptr, TRUE))
        return failWithLastError(status::AppearNotInvalidated);
    if (!UpdateWindow(m_dialogWindow))
        return failWithLastError(status::AppearNotUpdated);
    return true;
}

bool ZarnStatusReporter::disappear() const
{
    clearDiagnostics();
    if (!isViable())
        return false;
    ShowWindow(m_dialogWindow, SW_HIDE);
    return true;
}

// ---- The text ------------------------------------------------------------------------------------------

bool ZarnStatusReporter::composeTextMessage(const wchar_t* format, ...)
{
    clearDiagnostics();
    m_textMessage.clear();
    if (!format)
        return fail(status::ComposeNoFormat);
    int code = status::Success;
    va_list arguments;
    va_start(arguments, format);
    try {
        wchar_t* const text = m_textMessage.writable();
        const int count = _vsnwprintf(text, textMax - 1, format, arguments);
        // A text that fills the buffer was cut, which is no failure.
        if (count < 0 && text[textMax - 2] == L'\0')
            code = status::ComposeFailed;
    } catch (...) {
        code = status::ComposeUnexpected;
    }
    va_end(arguments);
    m_textMessage.setUsed(textMax);
    if (code == status::Success)
        return true;
    m_textMessage.clear();
    return fail(code);
}

bool ZarnStatusReporter::updateDisplay() const
{
    return updateDisplay(m_textMessage.c_str());
}

bool ZarnStatusReporter::updateDisplay(const wchar_t* text) const
{
    clearDiagnostics();
    if (!isViable() || !text || !m_textControl || !IsWindow(m_textControl))
        return fail(status::NotUsable);
    if (!SetWindowTextW(m_textControl, text))
        return failWithLastError(status::UpdateTextNotSet);
    if (!InvalidateRect(m_textControl, nullptr, TRUE))
        return fail(status::UpdateNotInvalidated);
    if (!UpdateWindow(m_textControl))
        return fail(status::UpdateNotUpdated);
    GdiFlush();
    flushDisplayServer();
    if (m_waitingPeriod > 0)
        Sleep(m_waitingPeriod);
    return true;
}

bool ZarnStatusReporter::updateDisplay(unsigned int stringID, HINSTANCE module) const
{
    clearDiagnostics();
    m_textMessage.clear();
    auto* const source = module ? module : m_resourceModule;
    if (!source || !isControlID(stringID))
        return fail(status::StringBadArguments);
    int count = 0;
    try {
        count = zmu::loadString(source, stringID, m_textMessage.writable(), textMax);
    } catch (...) {
        SetLastError(ERROR_SUCCESS);
    }
    m_textMessage.setUsed(textMax);
    if (count < 1) {
        m_textMessage.clear();
        return failWithLastError(status::StringNotLoaded);
    }
    return updateDisplay(m_textMessage.c_str());
}

bool ZarnStatusReporter::updateDisplay(const Zarn* monitor)
{
    return m_loneInstance && m_loneInstance->updateDisplay_(monitor);
}

bool ZarnStatusReporter::updateDisplay_(const Zarn* monitor) const
{
    clearDiagnostics();
    m_textMessage.clear();
    if (!monitor)
        return fail(status::MonitorMissing);
    const bool isDescribed = monitor->getDescriptionForLogFile(m_textMessage.writable(), textMax);
    m_textMessage.setUsed(textMax);
    if (!isDescribed) {
        m_textMessage.clear();
        return fail(status::MonitorNoDescription);
    }
    return updateDisplay(m_textMessage.c_str());
}

ulong32 ZarnStatusReporter::setWaitingPeriod(ulong32 milliseconds)
{
    return std::exchange(m_waitingPeriod, milliseconds);
}
