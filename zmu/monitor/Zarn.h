// Zarn: the monitor that every module holds and reports its situations to.
//
//     Zarn* monitor = Zarn::create(&settings);               // see ZarnData.h
//     monitor->respondToSituation(1001, nullptr, pid, L"shell");
//     if (!monitor->isSelfSatisfied())
//         ... monitor->getSelfDX_Code() ...
//     Zarn::destroy(&monitor, 0, false);
//
// A situation's number selects its response spec, a line of text in the resource module; the spec
// says where its arguments are and what the display and the log are told.
//
// Threads: any thread may report while the monitor lives; what is kept for it goes away when it
// ends. A display function and a plug-in run in the midst of a situation: they read it, but do
// not report to the same monitor, nor destroy it. create, destroy and setBehaviorCriteria take no
// lock: serialise them.
#pragma once

#include <zmu/foundation/Export.h>
#include <zmu/foundation/Types.h>
#include <zmu/foundation/UTL_String.h>
#include <zmu/log/ZarnForm.h>
#include <zmu/monitor/Trace.h>
#include <zmu/monitor/ZarnArguments.h>
#include <zmu/monitor/ZarnTypes.h>

#include <array>
#include <atomic>
#include <concepts>
#include <cstddef>
#include <span>
#include <type_traits>

class ZarnData;

class ZMU_API Zarn {
  protected:
    /// Takes over `dataSet`; raises a bool if that cannot make a monitor.
    explicit Zarn(ZarnData* dataSet);
    virtual void free_Memory();
    virtual bool initialize(ZarnData* dataSet);

  public:
    /// Replaces the log file by a successor. With `force` a file at its byte limit is left alone.
    /// dx::ReestablishFailed, dx::ReestablishNotNative, dx::NoDataSet, dx::ReestablishUnexpected.
    virtual bool reestablishLogFile(const bool& force);

  protected:
    virtual ~Zarn();

  public:
    /// Copies share the data set, and whichever is destroyed first takes it away.
    Zarn(const Zarn& other) = default;
    Zarn& operator=(const Zarn& other) = default;

    // ---- The registry of the process: at most 10 monitors; takes no lock --------------------------

    /// Makes a monitor of a data set's contents, with its log established. The caller keeps the
    /// empty `dataSet`. Null on failure, with the code in `dataSet`: dx::CreateRefused,
    /// dx::CreateNoDataSet, dx::CreateNoMonitor, dx::CreateUnexpected, or what the new data set
    /// holds.
    static Zarn* create(ZarnData* dataSet);
    /// Destroys every registered monitor; returns how many, negated if an exception ended it.
    static int destroy();
    /// Destroys one monitor and nulls the pointer. It is looked for from `startIndex` to the end of
    /// the registry and, with `wrap`, from its beginning on. False if it is not found.
    static bool destroy(Zarn** monitor, int startIndex, bool wrap);
    /// Null outside 0 to the count, and where a monitor was destroyed.
    static Zarn* getZarnMonitor(int index);
    static Zarn** getZarnMonitors() { return m_zarnMonitors; }
    static int getZarnMonitorsCount() { return m_zarnMonitorsCount; }
    static int getZarnMonitorsQty() { return m_zarnMonitorsQty; }

    // ---- Text -----------------------------------------------------------------------------------------

    /// "(NULL)" for null; "(BLANK)" for an empty text if that is marked; else `text`.
    static const char* getPrintableString(const char* text, bool blankIsMarked);
    static const wchar_t* getPrintableString(const wchar_t* text, bool blankIsMarked);
    /// The message formatter: fills `format` with `inserts` into at most `outputSize` elements.
    /// `flags` holds 0x2400 and the line width in its low byte. Returns the length without the
    /// terminator, 0 on failure with the last error set. `inserts` must have every slot that
    /// `format` names.
    static zmu::ulong32 formatMessage(zmu::ulong32 flags, const wchar_t* format, wchar_t* output,
                                      int outputSize, zmu::u64* inserts);

    // ---- Situations -----------------------------------------------------------------------------------

    /// Reports a situation. Arguments are integers of up to 32 bits and string pointers, read in
    /// order by the fillers of the spec; what a spec asks beyond them reads as 0. `resourceModule`,
    /// unless null, stands in for the data set's for this situation. True as soon as there is a
    /// data set: isSelfSatisfied() tells how it went.
    template <zmu::SituationArgument... Args>
    bool respondToSituation(int situationID, void* resourceModule, Args... args)
    {
        static_assert(sizeof...(args) <= zmu::ArgumentSlotsQty, "more arguments than fillers");
        const std::array<zmu::u64, sizeof...(args)> values{zmu::toArgumentSlot(args)...};
        const std::array<zmu::SlotKind, sizeof...(args)> kinds{zmu::slotKindOf<Args>()...};
        return respondWithValues(situationID, resourceModule, values.data(), kinds.data(),
                                 values.size());
    }
    /// The same with a cursor over 64-bit slots, which the spec's fillers advance. True if all went
    /// well.
    bool respondToSituation(int situationID, char** argV, void* resourceModule);
    /// Calls that look like one form and would be taken for the other: the cursor in the module's
    /// place, and the address of anything but a text as an argument.
    template <std::same_as<char**> T>
    bool respondToSituation(int situationID, T argV) = delete;
    template <class T>
    requires(!zmu::SituationArgument<T*> && !std::is_void_v<T> &&
             !std::same_as<T, HINSTANCE__>) bool respondToSituation(int situationID, std::nullptr_t,
                                                                    T* argument) = delete;
    /// Reports what recordSituationID and recordArgument have recorded. True if all went well.
    bool respondToSituation();

    bool forgetSituation();
    /// Store an argument of the next situation; see ZarnData.
    int recordArgument(const char* value, int position);
    int recordArgument(const wchar_t* value, int position);
    int recordArgument(int value, int position);
    int recordArgument(unsigned int value, int position);
    int recordSituationID(int situationID);
    /// An ID on behalf of another party, shown in the log instead.
    int recordSituationID_Remote(int situationID);
    /// Deletes what is kept for the calling thread, ahead of its end.
    bool removeThread();

    // ---- What is known of the calling thread's situation ---------------------------------------------

    unsigned int getArg_UInt(int index) const;
    zmu::u64* getDescriptionFillers() const;
    /// What each filler is; as many as there are fillers.
    std::span<const zmu::SlotKind> getDescriptionFillerKinds() const;
    /// Copies the text into `size` elements, cut if need be; false without a buffer or a text.
    bool getDescriptionForDisplay(wchar_t* buffer, int size) const;
    bool getDescriptionForLogFile(wchar_t* buffer, int size) const;
    int getDisplayDlgBoxResult() const;
    int getSituationID() const;
    bool isSituationNormal() const;

    // ---- Settings and state of the data set -------------------------------------------------------------

    Zarn_FUZZY_CHOICE canRespondToSituations() const;
    zmu::u64 getBehaviorCriteria() const;
    HWND getDisplayDlgBoxParent() const;
    bool getFileLogName(wchar_t* buffer, std::size_t size) const;
    Zarn_DX_MODE getSituationMode() const;
    zmu::ulong32 getSituationsCount() const;
    zmu::ulong32 getSituationsQty() const;
    wchar_t* getTag(Zarn_FORM_TAG tag) const;
    /// Sets the criteria of every registered monitor, not only of this one.
    void setBehaviorCriteria(zmu::u64 criteria);
    ZarnDisplayFunction setDisplayDlgBoxFunction(ZarnDisplayFunction function);
    HWND setDisplayDlgBoxParent(HWND parent);
    /// Is told of every situation that fails, see ZarnTypes.h; null for nobody. Returns the
    /// previous function, null without a data set.
    ZarnFailureFunction setFailureFunction(ZarnFailureFunction function);
    bool setLogFileByteCountLimit(zmu::u64 limit, zmu::u64& previous);
    void* setResourceModule(void* module);

    const wchar_t* formatLogHyperlink(zmu::ulong32 code, unsigned int stringID,
                                      UTL_String& out) const;
    const wchar_t* formatLogHyperlinkWinSDK(zmu::ulong32 code) const;

    // ---- Self-diagnosis ---------------------------------------------------------------------------------

    /// The monitor's own code, else its data set's; dx::NoDataSet without one; 0 when satisfied.
    int getSelfDX_Code() const;
    bool isSelfSatisfied() const { return getSelfDX_Code() == 0; }
    void forgetSelfDX_Code();

  protected:
    ZarnData* getDataSet() const { return m_dataSet; }

    ZarnData* m_dataSet = nullptr;
    bool m_initialized = false;
    int m_selfDX_Code = 0; ///< Read and written by any thread: through ownCode().

  private:
    std::atomic_ref<int> ownCode() const
    {
        return std::atomic_ref<int>(const_cast<int&>(m_selfDX_Code));
    }
    bool respondWithValues(int situationID, void* resourceModule, const zmu::u64* values,
                           const zmu::SlotKind* kinds, std::size_t count);

    static Zarn* m_zarnMonitors[10];
    static int m_zarnMonitorsCount;
    static int m_zarnMonitorsQty;
};
