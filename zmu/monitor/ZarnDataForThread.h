// ZarnDataForThread: the engine that carries one situation from its number to its reports.
//
// Each thread that reports has one per data set. Its arrays are allocated once, in initialize, and
// every text stage works in fixed buffers. Each phase is a virtual operation, and phases call each
// other through their slots, so that a subclass can replace any of them. Every phase answers with
// isSelfSatisfied() and lets no exception out.
//
// Only the thread that owns an engine touches it. The data set's lock is held through
// respondToSituation, and entered again by the phases that need it on their own.
#pragma once

#include <zmu/foundation/Export.h>
#include <zmu/foundation/Types.h>
#include <zmu/foundation/UTL_String.h>
#include <zmu/foundation/WideBuffer.h>
#include <zmu/log/ZarnForm.h>
#include <zmu/monitor/ArgumentBlock.h>
#include <zmu/monitor/FailurePlace.h>
#include <zmu/monitor/ZarnScratchpad.h>
#include <zmu/monitor/ZarnTypes.h>

#include <cstddef>
#include <span>

class ZarnData;
struct ZarnDataFile;
namespace zmu {
struct FormSection;
}

class ZMU_API ZarnDataForThread {
  public:
    ZarnDataForThread() = default;
    ZarnDataForThread(const ZarnDataForThread&) = delete;
    ZarnDataForThread& operator=(const ZarnDataForThread&) = delete;

    // ---- The virtual stages, in the order of their slots --------------------------------------

  protected:
    /// Runs the situation's plug-ins, one after the other; what one does concerns no other.
    virtual bool activatePlugIns();

  public:
    /// Learns the response and reports it.
    virtual bool describeSituation();
    /// Enters and leaves the data set's lock; false without a data set.
    virtual bool enterCriticalSection() const;

  protected:
    virtual void forgetArgs();
    virtual void forgetArgsInt();
    virtual void forgetArgsStrA();
    virtual void forgetArgsStrW();
    virtual void forgetArgsUInt();
    virtual void forgetDescriptionFillers();
    virtual void forgetPlugInsIndirectIndices();

  public:
    /// Clears everything of the situation except the DX code and the dialog's result.
    virtual bool forgetSituation();

  protected:
    virtual bool formatDescriptionForDisplay();
    virtual bool formatDescriptionForLogFile();
    virtual bool formatDescriptions();
    virtual void free_Memory();
    virtual void free_Resources();

  public:
    /// Fetches the situation's spec, parses it and formats its texts.
    virtual bool learnResponse();

  protected:
    /// `fillerStrings`: where string fillers are collected as well, or null (see
    /// parseResponseSpecHeaderFillers).
    virtual bool learnResponseSpecs(zmu::u64* fillerStrings);

  public:
    virtual bool leaveCriticalSection() const;

  protected:
    virtual bool logFormSection(wchar_t* format, int varCount, Zarn_FORM_VAR* vars,
                                zmu::u64* values, zmu::u64& bytesWritten, bool countBytes);
    virtual bool obtainResponseSpecs();
    virtual bool parseDescriptionSpec_MessageAffix(wchar_t* text, wchar_t* target,
                                                   zmu::u64 targetCharacters);
    virtual bool parseDescriptionSpec_MessageFormat(wchar_t* text, Zarn_MSG_FMT format,
                                                    wchar_t* scratch, zmu::ulong32 scratchBytes);
    virtual bool parseDescriptionSpecDisplay();
    virtual bool parseDescriptionSpecDisplayDlgBox(wchar_t* text);
    virtual bool parseDescriptionSpecLogFile();
    virtual bool parseResponseSpecHeader(zmu::u64* fillerStrings);
    /// With `fillerStrings` and a narrow character set each string filler is also stored there.
    virtual bool parseResponseSpecHeaderFillers(zmu::u64* fillerStrings, wchar_t* text);
    virtual bool parseResponseSpecHeaderPlugInIDs(wchar_t* text);
    virtual bool parseResponseSpecs(zmu::u64* fillerStrings);

  public:
    /// Delivers the texts: the log or the proxy, the display; then replaces a log at its limit.
    virtual bool reportDescriptions();

  protected:
    virtual bool reportDescriptionToDisplay();
    virtual bool reportDescriptionToLogFileDirectly();
    virtual bool reportDescriptionToLogFileIndirectly();

  public:
    virtual ~ZarnDataForThread();

    // ---- Life cycle and the road of a situation ---------------------------------------------------

    /// Binds the engine to its data set and makes its arrays. 6 to 10, 217, 265, 269.
    bool initialize(ZarnData* dataSet);
    /// Describes the recorded situation, runs its plug-ins and forgets it. After a failure the
    /// situation stays as far as it got. 65, 262, 263, 265, and the codes of the phases.
    bool respondToSituation();

    int recordArgument(const char* value, int position);
    int recordArgument(const wchar_t* value, int position);
    int recordArgument(int value, int position);
    int recordArgument(unsigned int value, int position);
    int recordSituationID(int situationID);
    int recordSituationID_Remote(int situationID);
    void setDescriptionArgV(char** argV) { m_descriptionArgV = argV; }
    /// Takes over the arguments of a call, and reads the next situation's from there.
    void setArguments(const zmu::u64* values, const zmu::SlotKind* kinds, std::size_t count);

    /// A recorded unsigned argument; 0 if it cannot be read, and always when every slot is used.
    unsigned int getArg_UInt(int index) const;
    zmu::u64* getDescriptionFillers() const { return m_descriptionFillers; }
    /// What each filler is.
    std::span<const zmu::SlotKind> getDescriptionFillerKinds() const
    {
        return {m_fillerKinds, static_cast<std::size_t>(m_descriptionFillersQty)};
    }
    wchar_t* getDescriptionForDisplay() { return m_descriptionForDisplay.inPlace(); }
    wchar_t* getDescriptionForLogFile() { return m_descriptionForLogFile.inPlace(); }
    int getDisplayDlgBoxResult() const { return m_displayDlgBoxResult; }
    int getSituationID() const { return m_situationID; }
    bool isSituationNormal() const { return m_situationID == 0; }
    /// True from the beginning of respondToSituation to its end.
    bool isResponding() const { return m_isResponding; }

    int getSelfDX_Code() const { return m_selfDX_Code; }
    void setSelfDX_Code(int code) const { m_selfDX_Code = code; }
    void forgetSelfDX_Code() const { m_selfDX_Code = 0; }
    bool isSelfSatisfied() const { return m_selfDX_Code == 0; }

    zmu::u64* createDescriptionFillers();
    int* createPlugInsIndirectIndices();
    const wchar_t* formatLogHyperlinkWinSDK(zmu::ulong32 code) const;

    /// Begins the log file: byte-order mark and head.
    bool logFormSectionHead();
    /// Writes the tail where the log stands, right behind a head or an entry.
    bool logFormSectionTail();

  protected:
    /// Writes an entry over the present tail.
    bool logFormSectionBody();

    static constexpr unsigned int defaultDialogStyle = 48;

    /// The gate of every phase: raises 265 without a data set, else the code that is held.
    void requireApproval() const;
    /// The data set's line width for a target; 67 or 0 without a data set.
    zmu::u8 getDefaultLineWidth(Zarn_MSG_FMT format) const;

    int* createArgsInt();
    bool createArgsStr();
    char** createArgsStrA();
    wchar_t** createArgsStrW();
    unsigned int* createArgsUInt();

    int* m_argsInt = nullptr;
    int m_argsIntCount = 0; ///< Highest used slot plus 1.
    char** m_argsStrA = nullptr;
    wchar_t** m_argsStrW = nullptr;
    int m_argsStrCount = 0;
    unsigned int* m_argsUInt = nullptr;
    int m_argsUIntCount = 0;
    ZarnData* m_dataSet = nullptr;
    char** m_descriptionArgV = nullptr;
    zmu::WideBuffer<512> m_descriptionForDisplay;
    bool m_descriptionDisplayIsDupe = false;
    zmu::u8 m_descriptionDisplayLineWd = 67;
    UTL_String* m_logHyperlink = nullptr;
    zmu::u64* m_descriptionFillers = nullptr;
    int m_argSource = 0;
    zmu::WideBuffer<256> m_responseSpecHeader;
    zmu::WideBuffer<1024> m_descriptionForLogFile;
    zmu::u8 m_descriptionLogFileLineWd = 0;
    int m_displayDlgBoxSpecA = 0;
    int m_displayDlgBoxResult = 0;
    int m_displayDlgBoxSpecB = 0;
    unsigned int m_displayDlgBoxType = defaultDialogStyle;
    int* m_plugInsIndirectIndices = nullptr;
    int m_plugInsIndirectQty = 0;
    wchar_t m_tokenSeparator[2] = {};
    unsigned int m_situationApprovalKind = 2;
    ZarnScratchpad m_scratchpad;
    mutable int m_selfDX_Code = 0;
    int m_specStrictness = 0; ///< Never set; the strict tests of the parsers are dormant.
    int m_situationID = 0;
    int m_situationID_Remote = 0;
    zmu::u64 m_situationResponseTraits = ZARN_DEFAULT_RESPONSE_TRAITS;

  private:
    friend class ZarnData; // which keeps the engine, and moves it to a monitor

    static constexpr zmu::u64 anyThread = 0;

    /// Spans an operation on a situation. At the very end of the outermost one, when it has left
    /// its lock, a failure is told.
    class Operation {
      public:
        explicit Operation(ZarnDataForThread& engine) : m_engine(engine)
        {
            ++engine.m_operationDepth;
        }
        ~Operation() { m_engine.endOperation(); }
        Operation(const Operation&) = delete;
        Operation& operator=(const Operation&) = delete;

      private:
        ZarnDataForThread& m_engine;
    };

    /// Where the log stood before an entry, so that a failed write can be taken back.
    struct LogMark {
        zmu::u64 byteCount;
        int tailPosition;
        bool tailCountsBytes;
        zmu::ulong32 situationsCount;
    };

    void endOperation();
    /// Writes the entry that stands in for a situation that could not be described. What the
    /// situation has left, the code included, stays as it is.
    void reportSubstitute();
    bool composeSubstitute(int code);
    void loadSpec(ZarnScratchpad::Buffer& spec);
    void clearSpecFields();
    void parseApprovalKind(wchar_t* group);
    void parseResponseTraits(const wchar_t* group);
    void parseArgSource(wchar_t* group);
    void fillFromRecorded(int filler, const wchar_t* record);
    void fillFromCursor(int filler, const wchar_t* record);
    void forgetTextFillers();
    void setFiller(int filler, zmu::u64 slot, zmu::SlotKind kind);
    /// The first argument that is recorded as the next one after a failure gives up what the
    /// situation that failed was told.
    void prepareArgument(int position);
    void markArgumentsStale();
    bool parseMessageFormat(wchar_t* text, Zarn_MSG_FMT format);
    template <class Body>
    void withTarget(Zarn_MSG_FMT format, Body body);
    void appendRecord(int index, wchar_t* record, Zarn_MSG_FMT format);
    template <class Buffer>
    void formatDescription(Buffer& description, zmu::u8 lineWidth, int failed);
    std::size_t loadAffix(int number, wchar_t* output, std::size_t room) const;
    bool isDupeForm(const wchar_t* text) const;
    void resetDisplaySpec();
    void resetDialogSpec();
    void replaceLogFileAtLimit();
    void runPlugIn(ZarnPlugIn plugIn);
    /// Holds back what the sections write, for one write of an entry and its tail.
    LogMark beginEntry();
    /// Makes that write; failing that the code is that of a section.
    bool finishEntry();
    /// Brings the log back to where it stood: the entry that failed is gone, the tail is whole.
    void takeEntryBack(const LogMark& mark);
    void rewriteTail(const ZarnDataFile& file);
    /// The checks that every section writer begins with, and the log's record.
    ZarnDataFile& requireLog(bool sectionEntered, int notNative);
    zmu::u64 sectionValue(const ZarnDataFile& file, Zarn_FORM_VAR var) const;
    bool writeSection(const zmu::FormSection& section, bool countBytes, zmu::u64& bytesWritten);

    // What the arrays were made for; the data set's quantities may have changed since.
    int m_argsIntQty = 0;
    int m_argsStrQty = 0;
    int m_argsUIntQty = 0;
    int m_descriptionFillersQty = 0;
    int m_plugInsIndirectIndicesQty = 0;
    zmu::ArgumentBlock m_argumentBlock;
    zmu::SlotKind m_fillerKinds[zmu::ArgumentSlotsQty] = {};
    int m_operationDepth = 0;
    zmu::FailurePlace m_failurePlace;
    bool m_displayIsRaw = false; ///< The display field was not parsed, and is not to be shown.
    bool m_isResponding = false;
    bool m_isDescribed = false; ///< The situation in hand has learned its response.
    /// A situation has failed that a forgiving data set has done with. Its arguments stay until one
    /// is recorded as the next; what was recorded since then, up to the fresh counts, is kept.
    bool m_argsAreStale = false;
    int m_argsIntFreshCount = 0;
    int m_argsStrFreshCount = 0;
    int m_argsUIntFreshCount = 0;
    zmu::u64 m_fileSizeLimit = 0; ///< Bytes that the log may grow to, as asked for this entry.
    zmu::u64 m_threadSerial = anyThread; ///< The thread that the engine was made for.
};
