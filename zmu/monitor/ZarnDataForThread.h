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
#include <string_view>

class ZarnData;
struct ZarnDataFile;
namespace zmu {
class InjectedTexts;
class LogDevice;
class SectionPieces;
class SectionTime;
struct FormSection;
struct LearnedSpec;
} // namespace zmu

class ZMU_API ZarnDataForThread {
  public:
    ZarnDataForThread() = default;
    ZarnDataForThread(const ZarnDataForThread&) = delete;
    ZarnDataForThread& operator=(const ZarnDataForThread&) = delete;

    // ---- The virtual stages, in the order of their slots --------------------------------------
    //
    // What holds for each stage, unless it says otherwise:
    // - It is called by the stage that is named, on the thread that owns the engine. The data set's
    //   lock is held, since respondToSituation holds it; whoever drives the phases singly through
    //   the data set holds it only from reportDescriptions down.
    // - It answers isSelfSatisfied(). A failure is a code in this engine (setSelfDX_Code), where
    // the
    //   first one stays; the codes named are those of the stage as it stands here, beside
    //   dx::NoDataSet and the code that is held already, which every stage checks first. A stage
    //   that answers false without a code ends the situation without one.
    // - What it throws is caught by the caller, and becomes the caller's code for the unexpected.
    // - It allocates nothing, does not block, and does not report to the same monitor.
    // - On success and on failure it leaves both scratch buffers of m_scratchpad empty, and
    //   m_tokenSeparator as it was.

  protected:
    /// Runs the plug-ins that m_plugInsIndirectIndices names, one after the other. Called by
    /// respondToSituation behind describeSituation, if there are any. A plug-in may allocate and
    /// block. What one does, or fails at, concerns no other: dx::PlugInFailed, dx::PlugInMissing
    /// and dx::PlugInOutOfRange are held for its turn only. dx::PlugInsTooFew,
    /// dx::PlugInTableMissing, dx::PlugInIndicesMissing, dx::PlugInsUnexpected.
    virtual bool activatePlugIns();

  public:
    /// Learns the response and reports it. Called by respondToSituation, and by the data set's
    /// operation of that name, without the lock. Leaves what learnResponse and reportDescriptions
    /// leave, and their codes; dx::DescribeSituationUnexpected.
    virtual bool describeSituation();
    /// Enters the data set's lock, which can be entered again by the thread that holds it. Called
    /// by whatever needs it, also before the engine is initialised. False without a data set or
    /// where it is refused, of which the caller makes dx::LockRefused; raises nothing itself.
    virtual bool enterCriticalSection() const;

  protected:
    /// Empties the four arrays of recorded arguments. Called by forgetSituation, whatever code is
    /// held; the lock need not be. Each of the others empties one array and its count, is also
    /// called when that array is made, and must not fail where the array is missing.
    virtual void forgetArgs();
    virtual void forgetArgsInt();
    virtual void forgetArgsStrA();
    virtual void forgetArgsStrW();
    virtual void forgetArgsUInt();
    /// Zeroes m_descriptionFillers. Called when the array is made, before fillers are read and when
    /// that failed, and by forgetSituation; the lock need not be held.
    virtual void forgetDescriptionFillers();
    /// Sets m_plugInsIndirectIndices to -1 and m_plugInsIndirectQty to 0. Called like
    /// forgetDescriptionFillers.
    virtual void forgetPlugInsIndirectIndices();

  public:
    /// Ends a situation: arguments, fillers, texts and what its spec has set go back to what a new
    /// engine has. Called last by respondToSituation, and by the data set's operation of that name,
    /// without the lock and whatever code is held. Leaves the code and the dialog's result.
    /// dx::ForgetSituationUnexpected.
    virtual bool forgetSituation();

  protected:
    /// Turns the template in m_descriptionForDisplay into the text, with m_descriptionFillers and
    /// m_descriptionDisplayLineWd. Called by formatDescriptions, after the log's. Leaves the buffer
    /// empty on failure, and for a situation whose display shows the log's text.
    /// dx::FormatDisplayFailed, dx::FormatDisplayUnexpected.
    virtual bool formatDescriptionForDisplay();
    /// The same for m_descriptionForLogFile and m_descriptionLogFileLineWd; the calling thread's
    /// last error becomes 0 first. dx::FormatLogFailed, dx::FormatLogUnexpected.
    virtual bool formatDescriptionForLogFile();
    /// Formats both texts, the second also where the first has failed. Called by learnResponse.
    /// The first of their codes; dx::FormatDescriptionsUnexpected.
    virtual bool formatDescriptions();
    /// Releases the arrays and the holder of links. Called by free_Resources, once, without the
    /// lock; from the destructor in this class's form. Raises nothing, throws nothing.
    virtual void free_Memory();
    virtual void free_Resources();

  public:
    /// Fetches the spec of m_situationID, parses it and formats its texts. Called by
    /// describeSituation, and by the data set's operation of that name, without the lock. Leaves
    /// the two descriptions ready to be reported, and fillers, plug-in indices and dialog numbers
    /// set. The codes of learnResponseSpecs and formatDescriptions; dx::LearnResponseUnexpected.
    virtual bool learnResponse();

  protected:
    /// Fetches and parses. Called by learnResponse with null; `fillerStrings` is for a subclass,
    /// see parseResponseSpecHeaderFillers. On failure header and descriptions are empty. The codes
    /// of obtainResponseSpecs and parseResponseSpecs; dx::LearnSpecsUnexpected.
    virtual bool learnResponseSpecs(zmu::u64* fillerStrings);

  public:
    /// Leaves the data set's lock once. False without a data set or where that fails, of which the
    /// caller makes dx::LockNotLeft; raises nothing itself.
    virtual bool leaveCriticalSection() const;

  protected:
    /// Formats one section of the log's form with `values`, one for each of the `varCount`
    /// variables `vars`, which it sets first, and writes it where the log's stream stands. Called
    /// by logFormSectionHead, logFormSectionBody and logFormSectionTail. `bytesWritten` is what has
    /// reached the file, 0 on failure; with `countBytes` it is added to the log's byte count. A
    /// section with the variable ENTRY_ID adds a situation to the count. Allocates only for a head
    /// (ZarnData::isSafeToAllocateMemory). dx::SectionNotNative, dx::LockRefused, dx::NoFileLog,
    /// dx::SectionFormatMissing, dx::LogNotOpen, dx::SectionVarUnknown, dx::SectionNotFormatted,
    /// dx::SectionNoBuffer, dx::SectionLengthDisagrees, dx::LockNotLeft; dx::LogSectionUnexpected,
    /// a write that failed among its causes.
    virtual bool logFormSection(wchar_t* format, int varCount, Zarn_FORM_VAR* vars,
                                zmu::u64* values, zmu::u64& bytesWritten, bool countBytes);
    /// Fetches the spec of m_situationID and cuts it into m_responseSpecHeader,
    /// m_descriptionForDisplay and m_descriptionForLogFile, all three empty on failure. Called by
    /// learnResponseSpecs. The resource module may allocate. dx::SpecNotLoaded, dx::SpecTooLong,
    /// dx::SpecFields, dx::SpecFieldIndex, dx::HeaderFieldUnusable, dx::DisplayFieldTooLong,
    /// dx::LogFieldUnusable, dx::ObtainSpecsUnexpected.
    virtual bool obtainResponseSpecs();
    /// Adds the affixes that `text` names to the end of `target`, a buffer of `targetCharacters`
    /// elements, of which those behind the text are zero and stay so. Called by
    /// parseDescriptionSpec_MessageFormat for a record that is not blank; cuts `text`. Empties
    /// `target` on failure. The resource module may allocate. dx::AffixNotNumber,
    /// dx::AffixOutOfRange, dx::AffixNotLoaded, dx::AffixUnexpected; dx::AffixArguments where
    /// m_specStrictness is above 5, which it never is.
    virtual bool parseDescriptionSpec_MessageAffix(wchar_t* text, wchar_t* target,
                                                   zmu::u64 targetCharacters);
    /// Makes the template of one target, m_descriptionForDisplay or m_descriptionForLogFile, of the
    /// records in `text`, and sets its line width. Called by parseDescriptionSpecLogFile and
    /// parseDescriptionSpecDisplay with scratch A as `scratch`, which is empty and is left empty;
    /// `text` lies in scratch B and is left as it is. On failure the template is empty and the
    /// width the data set's. dx::MessageFormatTarget, dx::MessageFormatRecords,
    /// dx::MessageFormatRecordIndex, dx::LineWidthNotNumber, dx::LineWidthOutOfRange,
    /// dx::MessageTextTooLong, the codes of an affix, dx::MessageFormatUnexpected.
    virtual bool parseDescriptionSpec_MessageFormat(wchar_t* text, Zarn_MSG_FMT format,
                                                    wchar_t* scratch, zmu::ulong32 scratchBytes);
    /// Parses the display description, in place: the mark for the log's text, or dialog spec and
    /// message format. Called by parseResponseSpecs, last, where the criteria allow responses. On
    /// failure m_descriptionForDisplay is empty and the dialog has its defaults.
    /// dx::DisplaySpecGroups, dx::DisplaySpecGroupIndex, dx::DisplaySpecFormatMisplaced, the codes
    /// of the two parts, dx::DisplaySpecUnexpected.
    virtual bool parseDescriptionSpecDisplay();
    /// Sets the three numbers of the dialog. Called by parseDescriptionSpecDisplay with a `text` in
    /// scratch B, without leading blanks; an empty one changes nothing. On failure the numbers have
    /// their defaults. dx::DialogSpecRecords, dx::DialogSpecRecordIndex,
    /// dx::DialogSpecFirstNotNumber, dx::DialogSpecSecondNotNumber, dx::DialogSpecThirdNotNumber,
    /// dx::DialogSpecUnexpected.
    virtual bool parseDescriptionSpecDisplayDlgBox(wchar_t* text);
    /// Parses the log description, in place. Called by parseResponseSpecs behind the header. On
    /// failure m_descriptionForLogFile is empty. dx::LogSpecGroups, dx::LogSpecGroupIndex,
    /// dx::LogSpecFormatMisplaced, the codes of the message format, dx::LogSpecUnexpected.
    virtual bool parseDescriptionSpecLogFile();
    /// Parses m_responseSpecHeader, which it cuts, into approval kind, traits, source of the
    /// arguments, fillers and plug-in indices. Called by parseResponseSpecs, first. On failure the
    /// header is empty. dx::HeaderGroups, dx::HeaderGroupIndex, dx::KindNotNumber,
    /// dx::KindOutOfRange, dx::TraitsNotNumber, dx::ArgSourceUnknown, the codes of the two lists,
    /// dx::HeaderUnexpected; dx::HeaderEmpty where m_specStrictness is above 5, which it never is.
    virtual bool parseResponseSpecHeader(zmu::u64* fillerStrings);
    /// Fills m_descriptionFillers from the recorded arguments or the cursor, which it advances, as
    /// the records of `text` say; an empty one changes nothing. With `fillerStrings` and a narrow
    /// character set each string is also stored there, one after the other. Called by
    /// parseResponseSpecHeader, which has set m_argSource. On failure the fillers are zero.
    /// dx::ArgSourceUnknown, dx::FillersWithoutCursor, dx::FillersTooMany, dx::FillerWithoutSlot,
    /// dx::FillerSlotOutOfRange, dx::FillerLetterUnknown, dx::FillersUnexpected.
    virtual bool parseResponseSpecHeaderFillers(zmu::u64* fillerStrings, wchar_t* text);
    /// Sets m_plugInsIndirectIndices and their quantity from the records of `text`; an empty one
    /// changes nothing. Called by parseResponseSpecHeader. On failure there are none.
    /// dx::PlugInIdsWithoutTable, dx::PlugInIdsTooMany, dx::PlugInIdNotNumber,
    /// dx::PlugInIdOutOfRange, dx::PlugInIdRepeated, dx::PlugInIdsUnexpected.
    virtual bool parseResponseSpecHeaderPlugInIDs(wchar_t* text);
    /// Parses header, log description and display description, in that order. Called by
    /// learnResponseSpecs. False without a code where there is no data set; else the codes of the
    /// three.
    virtual bool parseResponseSpecs(zmu::u64* fillerStrings);

  public:
    /// Delivers the texts: to the log or the proxy, then to the display, also where the log has
    /// failed; then replaces a log that has reached its limit. Called by describeSituation, and by
    /// the data set's operation of that name; enters the lock itself. May allocate at a
    /// replacement, and blocks as long as the display function does. Leaves the texts as they are.
    /// The code of the log, dx::RolloverFailed, dx::NoFileLog or that of the display, the first of
    /// these; dx::LockRefused, dx::LockNotLeft, dx::ReportUnexpected.
    virtual bool reportDescriptions();

  protected:
    /// Calls the display function, if the criteria allow responses and there is a text, and keeps
    /// its answer in m_displayDlgBoxResult, which is 0 otherwise. Called by reportDescriptions. The
    /// function may allocate and block. dx::DisplayFunctionMissing, dx::DisplayFunctionThrew,
    /// dx::ReportDisplayUnexpected.
    virtual bool reportDescriptionToDisplay();
    /// Writes entry and tail, or neither. Called by reportDescriptions in a process that has a log;
    /// enters the lock itself. Nothing to tell is a success. dx::ReportLogNotNative,
    /// dx::LockRefused, dx::LockNotLeft, the codes of the sections, dx::ReportLogUnexpected.
    virtual bool reportDescriptionToLogFileDirectly();
    /// Hands the text to ZarnData::logSituationDescriptionViaProxy. Called by reportDescriptions in
    /// a process without a log. Nothing to tell, and traits that are not approved, are a success.
    /// dx::ReportProxyFailed.
    virtual bool reportDescriptionToLogFileIndirectly();

  public:
    virtual ~ZarnDataForThread();

    // ---- Life cycle and the road of a situation ---------------------------------------------------

    /// Binds the engine to its data set and makes its arrays. dx::NoDataSet, dx::NoHyperlinkHolder,
    /// dx::NoArgsInt, dx::NoArgsStr, dx::NoArgsUInt, dx::NoDescriptionFillers, dx::NoPlugInIndices,
    /// dx::EngineInitializeUnexpected.
    bool initialize(ZarnData* dataSet);
    /// Describes the recorded situation, runs its plug-ins and forgets it. After a failure the
    /// situation stays as far as it got. dx::LockRefused, dx::LockNotLeft, dx::NoDataSet, the codes
    /// of the phases, dx::RespondUnexpected.
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
    /// True from the beginning of a report, or of a stage that was called by itself, until the host
    /// has been told of its failure.
    bool isInOperation() const { return m_operationDepth > 0; }

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

    /// Where the stage that has failed was in its spec. What a report or learnResponse leaves is
    /// told and gone when it returns; whoever calls the stages below singly reads it here.
    const zmu::FailurePlace& getFailurePlace() const { return m_failurePlace; }
    /// The gate of every phase: raises dx::NoDataSet without a data set, else the code that is
    /// held.
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
        ~Operation()
        {
            if (m_engine.m_operationDepth == 1)
                m_engine.tellOutcome();
            --m_engine.m_operationDepth;
        }
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

    void tellOutcome();
    /// Writes the entry that stands in for a situation that could not be described. What the
    /// situation has left, the code included, stays as it is.
    void reportSubstitute();
    bool composeSubstitute(int code);
    /// Room for a spec that is one element too long, so that this shows.
    using SpecText = wchar_t[ZarnScratchpad::Buffer::capacity + 1];
    std::wstring_view loadSpec(SpecText& text);
    void clearSpecFields();
    void cutSpec(std::wstring_view spec);
    /// Sets m_spec to what is known of a text, or where that can be learned; else to null.
    void findSpec(std::wstring_view text);
    /// Keeps in m_spec what the parsers have left.
    void learnSpec();
    bool learnFillers();
    bool canFillLearned() const;
    /// Sets what the parsers would leave. False, with nothing done, for a spec that fails now.
    bool recallSpec();
    /// Formats the log description of a spec that is known. False if the formatter has to do it.
    bool formatLearnedDescription();
    /// Whether the display description in hand was found right with fillers of the same kinds.
    bool isDisplayProven() const;
    /// Remembers that it was, with these.
    void keepDisplayProof();
    void parseApprovalKind(std::wstring_view group);
    void parseResponseTraits(const wchar_t* group);
    void parseArgSource(std::wstring_view group);
    void fillFromRecorded(int filler, std::wstring_view record);
    void fillFromRecorded(int filler, wchar_t letter, int slot);
    void fillFromCursor(int filler, std::wstring_view record);
    void fillFromCursor(int filler, wchar_t letter);
    void forgetTextFillers();
    void setFiller(int filler, zmu::u64 slot, zmu::SlotKind kind);
    /// The first argument that is recorded as the next one after a failure gives up what the
    /// situation that failed was told.
    void prepareArgument(int position);
    void markArgumentsStale();
    bool parseMessageFormat(wchar_t* text, Zarn_MSG_FMT format);
    template <class Body>
    void withTarget(Zarn_MSG_FMT format, Body body);
    void appendRecord(int index, std::wstring_view record, Zarn_MSG_FMT format, wchar_t* scratch);
    /// Raises `failed` unless every insert of a format can be filled.
    void requireInserts(const wchar_t* format, int failed);
    template <class Buffer>
    void formatDescription(Buffer& description, zmu::u8 lineWidth, int failed);
    std::size_t loadAffix(int number, wchar_t* output, std::size_t room);
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
    /// Writes the tail once more in its place. A failure leaves no code.
    bool refreshTail();
    /// Whether engine and data set are of the library's own classes: no subclass has replaced a
    /// stage, or the lock.
    bool isOfOwnClasses() const;
    /// Whether the situation in hand has the lock, and no subclass is there to see it entered
    /// again.
    bool holdsLock() const { return m_isUnseen; }
    /// The checks that every section writer begins with, and the log's record.
    ZarnDataFile& requireLog(bool sectionEntered, int notNative);
    zmu::u64 sectionValue(const ZarnDataFile& file, Zarn_FORM_VAR var) const;
    bool writeSection(const zmu::FormSection& section, bool countBytes, zmu::u64& bytesWritten);
    /// Sets the value of each variable; whether ENTRY_ID is among them. Injected texts are for
    /// heads, null for none.
    bool setValues(const ZarnDataFile& file, int varCount, const Zarn_FORM_VAR* vars,
                   zmu::u64* values, zmu::SectionTime& time, zmu::InjectedTexts* injected) const;
    void endTail(ZarnDataFile& file);
    /// Writes body and tail. Where no subclass could tell and both are made of pieces, that is done
    /// in one go; else by the stages, one after the other.
    bool logFormSections();
    /// Adds the text of one of them to what the log's device holds. Its bytes; 0, with nothing
    /// added, leaves it to its stage, which refuses where this has failed with a code.
    zmu::u64 appendSection(zmu::LogDevice& device, const zmu::SectionPieces& pieces,
                           const zmu::FormSection& section, zmu::SectionTime& time);

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
    zmu::LearnedSpec* m_spec =
        nullptr;                 ///< Of the situation in hand, while its response is learned.
    bool m_usesAffix = false;    ///< The spec in hand has asked for an affix.
    bool m_displayIsRaw = false; ///< The display field was not parsed, and is not to be shown.
    bool m_isUnderLock = false;  ///< The situation in hand is reported under the data set's lock.
    bool m_isUnseen = false;     ///< So it is, and by classes of the library's own alone.
    bool m_isDescribed = false;  ///< The situation in hand has learned its response.
    /// A situation has failed that a forgiving data set has done with. Its arguments stay until one
    /// is recorded as the next; what was recorded since then, up to the fresh counts, is kept.
    bool m_argsAreStale = false;
    int m_argsIntFreshCount = 0;
    int m_argsStrFreshCount = 0;
    int m_argsUIntFreshCount = 0;
    zmu::u64 m_fileSizeLimit = 0; ///< Bytes that the log may grow to, as asked for this entry.
    zmu::u64 m_threadSerial = anyThread; ///< The thread that the engine was made for.
};
