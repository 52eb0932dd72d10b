// ZarnStatusReporter: a small window with one line that tells a person how things go.
//
//     ZarnStatusReporter* reporter = ZarnStatusReporter::create(
//         L"Starting", 0x10000, L"server.dll", 0, dialogID, textID, nullptr, nullptr);
//     if (reporter) {
//         reporter->appear();
//         reporter->updateDisplay(L"Reading the settings");
//     }
//     ...
//     ZarnStatusReporter::destroy();
//
// On Windows the dialog is a template in the resource file, with one static text control. Elsewhere
// the window is the library's own, and of the resource file only the strings are used; a program
// that comes with the library shows it (platform/HostWindows.h tells of its limits). It does not
// take the focus there.
//
// There is at most one reporter in the process. Operations answer with a bool, a pointer or a
// handle; getDX_Code1 and getDX_Code2 tell why the last one of them failed (docs/status-codes.md).
// No exception leaves them. A window that the person has closed, or that was lost, leaves a
// reporter that is not viable: destroy() it and create another.
//
// Nothing here is locked. One thread at a time makes and destroys the reporter, and composes its
// text, or shows a string or a monitor's situation, which are kept as composed texts are. Other
// texts may be shown from any thread: on Windows the thread that made the dialog must run a message
// loop for that, since the call waits for it.
#pragma once

#include <zmu/foundation/Export.h>
#include <zmu/foundation/Types.h>
#include <zmu/foundation/WideBuffer.h>
#include <zmu/platform/HostWindows.h>

#include <atomic>

class Zarn;

class ZMU_API ZarnStatusReporter {
  public:
    ZarnStatusReporter(const ZarnStatusReporter&) = delete;
    ZarnStatusReporter& operator=(const ZarnStatusReporter&) = delete;

    // ---- The one reporter ---------------------------------------------------------------------

    /// Makes a hidden dialog from the resource `dialogID`, 1 to 28671, of a module that is found or
    /// loaded by name with `loadFlags`; the text control's ID is 8 to 57343. Of `styles` the high
    /// 16 bits count: 0x10000 keeps it above other windows. Null for `procedure` means the built-in
    /// one, which gives the dialog the desktop's colours and font and centres it. `title` and
    /// `parent` may be null. Null on failure: 12 to 15, 20, 21, 31 to 33.
    static ZarnStatusReporter* create(const wchar_t* title, zmu::ulong32 styles,
                                      const wchar_t* resourceFile, zmu::ulong32 loadFlags,
                                      int dialogID, int textControlID, DLGPROC procedure,
                                      HWND parent);
    /// Adopts a dialog with its own procedure, which stays the caller's. Null on failure: 12, 13,
    /// 17, 18, 22, 23, 31 to 33.
    static ZarnStatusReporter* create(HWND dialog, int textControlID, DLGPROC procedure,
                                      const wchar_t* resourceFile, zmu::ulong32 loadFlags);
    /// Destroys the reporter, if there is one, and the dialog unless it was adopted.
    static void destroy();
    /// Null if there is none.
    static ZarnStatusReporter* getLoneInstance();

    // ---- The window -----------------------------------------------------------------------------

    /// Shows the window. True as well, with nothing done, for one that is not viable: 1, 2.
    bool appear() const;
    /// Hides it. False if it is not viable.
    bool disappear() const;
    /// Whether the window is still there.
    bool isViable() const;
    bool isVisible() const;
    /// Null if it is not viable.
    HWND getDialogWindowHandle() const;

    // ---- The text ---------------------------------------------------------------------------------

    /// Formats, as by printf, the text that updateDisplay() shows: at most 2047 characters, the
    /// rest is cut off. Only "%ls" takes wide text and "%hs" narrow text on every platform. 9
    /// to 11.
    bool composeTextMessage(const wchar_t* format, ...);
    /// Shows the text last composed, loaded, or taken from a monitor.
    bool updateDisplay() const;
    /// Shows a text as it is, then sleeps for the waiting period: 40 to 43.
    bool updateDisplay(const wchar_t* text) const;
    /// Shows string `stringID`, 8 to 57343, of a module, null being the one that create was given:
    /// 38, 39 and those above.
    bool updateDisplay(unsigned int stringID, HINSTANCE module) const;
    /// Shows what the monitor's situation in hand tells the log: 36, 37 and those above. Without a
    /// reporter false.
    static bool updateDisplay(const Zarn* monitor);
    /// Milliseconds to sleep after each text, 0 for none. Returns those from before.
    zmu::ulong32 setWaitingPeriod(zmu::ulong32 milliseconds);

    // ---- Strings ----------------------------------------------------------------------------------

    /// Takes strings from another module from now on, which is found or loaded by name: 31 to
    /// 33, 35.
    bool setDLL_Resources(const wchar_t* file, zmu::ulong32 loadFlags);
    /// The same with a module that stays the caller's: 34.
    bool setDLL_Resources(HINSTANCE module);

    // ---- Without a reporter -------------------------------------------------------------------------

    /// Centres a window on the window that owns it, if it is a child, else in the work area: 3
    /// to 8.
    static bool centerWindow(HWND window, HWND insertAfter);
    /// The first window above a child that is none; any other window itself; null for no window.
    static HWND learnParentWindowOwner(HWND window);
    /// Finds a module in memory, or else loads it, which sets `loadedHere`: 31 to 33. `module` must
    /// be null.
    static bool obtainModuleHandle(const wchar_t* file, zmu::ulong32 loadFlags, HINSTANCE& module,
                                   bool& loadedHere);
    static void clearDiagnostics();
    /// Status of the last operation, 0 for success.
    static int getDX_Code1();
    /// The system's error where the status has one.
    static zmu::ulong32 getDX_Code2();

  protected:
    // For subclasses. They throw the status as an int: those above, and 16 or 19 beside a reporter.
    ZarnStatusReporter(const wchar_t* title, zmu::ulong32 styles, const wchar_t* resourceFile,
                       zmu::ulong32 loadFlags, int dialogID, int textControlID, DLGPROC procedure,
                       HWND parent);
    ZarnStatusReporter(HWND dialog, int textControlID, DLGPROC procedure,
                       const wchar_t* resourceFile, zmu::ulong32 loadFlags);

    // ---- The virtual operations, in the order of their slots ----------------------------------------

    virtual bool freeResources();
    virtual ~ZarnStatusReporter();

    // ---- Stages ---------------------------------------------------------------------------------------

    /// The built-in dialog procedure. It leaves no status.
    static zmu::i64 processDialogMessages(HWND window, unsigned int message, zmu::u64 first,
                                          zmu::i64 second);
    bool establishDlgBox_Aesthetics() const;
    bool establishDlgBoxColorBackground() const;
    bool establishDlgBoxColorText() const;
    bool establishDlgBoxLogicalFont() const;
    bool freeDLL_Resources();
    /// Bit 2 of `mask` clears the status, 4 frees the resources, 8 resets the members. False for
    /// fewer than one of `passes`, which does nothing, and if something was not freed.
    bool setMemberVarsToDefaults(int passes, zmu::ulong32 mask);
    /// Finds the text control and sets the title. Nothing once there is a status.
    bool ZarnStatusReporter_(const wchar_t* title, int textControlID);
    bool updateDisplay_(const Zarn* monitor) const;

  private:
    static void requireAlone(int code);
    template <class Body>
    void construct(Body body);
    static bool fail(int code);
    static void failFirst(int code);
    static bool failWithLastError(int code);

    static constexpr int textMax = 2048;

    HWND m_textControl = nullptr;
    DLGPROC m_dialogProcedure = nullptr;
    HWND m_dialogWindow = nullptr;
    mutable zmu::WideBuffer<textMax> m_textMessage; ///< Last composed.
    HINSTANCE m_resourceModule = nullptr;
    bool m_resourceModuleIsOurs = false;
    bool m_dialogWindowIsOurs = false;
    zmu::ulong32 m_waitingPeriod = 0;

    static ZarnStatusReporter* m_loneInstance;
    static std::atomic<int> m_DX_Code1;
    static std::atomic<zmu::ulong32> m_DX_Code2;
    static HBRUSH m_dialogWindowColorBackground;
    static zmu::ulong32 m_dialogWindowColorText;
    static HFONT m_dialogWindowLogicalFont;
    static zmu::ulong32 m_dialogWindowStyles;
};

// ---- For callers that hold no pointer -------------------------------------------------------------
//
// Each does what the reporter's operation does; without a reporter it gives false, 0 or null.

ZMU_API bool ZarnStatusReporter_MACRO_Appear();
ZMU_API bool ZarnStatusReporter_MACRO_Disappear();
ZMU_API HWND ZarnStatusReporter_MACRO_GetDialogWindowHandle();
ZMU_API bool ZarnStatusReporter_MACRO_IsViable();
ZMU_API bool ZarnStatusReporter_MACRO_IsVisible();
ZMU_API bool ZarnStatusReporter_MACRO_SetDLL_Resources(const wchar_t* file, zmu::ulong32 loadFlags);
ZMU_API bool ZarnStatusReporter_MACRO_SetDLL_Resources(HINSTANCE module);
ZMU_API zmu::ulong32 ZarnStatusReporter_MACRO_SetWaitingPeriod(zmu::ulong32 milliseconds);
ZMU_API bool ZarnStatusReporter_MACRO_UpdateDisplay(const wchar_t* text);
ZMU_API bool ZarnStatusReporter_MACRO_UpdateDisplay(unsigned int stringID, HINSTANCE module);
ZMU_API bool ZarnStatusReporter_MACRO_UpdateDisplay();
