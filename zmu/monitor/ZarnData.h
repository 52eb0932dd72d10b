// ZarnData: the shared state of one monitor.
//
// A configuring party builds a data set, sets it up and hands it to Zarn::create, which moves its
// contents into the data set that the new monitor owns:
//
//     ZarnData settings;
//     settings.setCharSetExternal(2);
//     settings.setResourceModule(GetModuleHandleW(nullptr));
//     settings.recordLogFileNomenclature(path, nullptr, Zarn_LOG_HTML);
//     Zarn* monitor = Zarn::create(&settings);
//
// A subclass can replace every virtual stage; it drives its situations itself, beginning with
// establishLogFile(true). Operations answer with a bool, a pointer or a count; no exception leaves
// them, and getSelfDX_Code tells which failure came first (docs/dx-codes.md lists the codes).
//
// Threads: the setters are for the configuring thread, before the first situation, except where
// one is said to enter the lock. Everything about a situation may be called by any thread: it
// works on the engine of the calling thread, and the data set's one re-entrant lock is held where
// threads meet.
#pragma once

#include <zmu/foundation/Export.h>
#include <zmu/foundation/Mutex.h>
#include <zmu/foundation/TObjectMap.h>
#include <zmu/foundation/Types.h>
#include <zmu/foundation/UTL_String.h>
#include <zmu/log/FormMistake.h>
#include <zmu/log/ZarnDataFile.h>
#include <zmu/monitor/ResourceEntry.h>
#include <zmu/monitor/ZarnArguments.h>
#include <zmu/monitor/ZarnScratchpad.h>
#include <zmu/monitor/ZarnTypes.h>

#include <atomic>
#include <cstddef>
#include <span>
#include <string>

class ZarnDataForThread;
namespace zmu {
class InjectorBlock;
class LogDevice;
struct EntryPieces;
class SectionPieces;
class SpecMemory;
} // namespace zmu

class ZMU_API ZarnData {
  public:
    /// `nonnativeInstantiatorID` 0: this process runs natively and writes its own log. Any other
    /// value names the instantiator whose situations travel through the proxy. Throws only when
    /// memory for the object itself is missing.
    explicit ZarnData(const zmu::i64& nonnativeInstantiatorID = 0);
    ZarnData(const ZarnData&) = delete;
    ZarnData& operator=(const ZarnData&) = delete;

    // ---- The virtual stages, in the order of their slots --------------------------------------
    //
    // What holds for each stage, unless it says otherwise:
    // - It is called by the stage that is named, on the thread that establishes, reports or
    //   replaces, with the lock held.
    // - It answers isSelfSatisfied(). A failure is a code in this data set (setSelfDX_Code), where
    //   the first one stays; the codes named are those of the stage as it stands here. A stage that
    //   answers false without a code leaves its caller without a reason.
    // - What it throws is caught by the caller, and becomes the caller's code for the unexpected.
    // - It may allocate, since only establishing and replacing a log come here, and does not report
    //   to the same monitor.
    // The stages of the form work on the record that getFileLog() gives; `mask` says which sections
    // are wanted, as SECTION_HEAD and its like in ZarnForm.h.

  protected:
    /// Whether the sections of `mask`, as learned, can make a log of `kind`. Called when sections
    /// have been learned; changes nothing. dx::BodyUnusable, dx::BodyWithoutDescription,
    /// dx::HeadUnusable, dx::TailUnusable, dx::LogKindNotServed, dx::UsabilityUnexpected.
    virtual bool areLogFileFormSectionsUsable(zmu::ulong32 mask, Zarn_LOG kind);

  public:
    /// Moves everything out of `other` into this data set, which must hold neither a lock nor an
    /// open log. Called by Zarn::create, before there is a lock to hold. `other` is an empty shell
    /// afterwards, unless it was refused, when it keeps all. dx::AssimilateRefused, dx::NoFileLog,
    /// dx::AssimilateUnexpected.
    virtual bool assimilateDataSetContents(ZarnData* other);

  protected:
    /// Closes and deletes a stream and its device, and nulls it; a null one is a success. Called
    /// for the log and for a form, `name` being the file's. Raises nothing: where it answers false
    /// the caller nulls the stream and, for a log, makes dx::OldLogNotClosed of it at a
    /// replacement.
    virtual bool closeFile(QTextStream*& stream, const wchar_t* name);
    /// Closes the log. Called when it is replaced, when it could not be established, and when the
    /// data set goes. False for a process without a log of its own, and where closeFile fails;
    /// raises nothing.
    virtual bool closeLogFile();

  public:
    /// Enters the one lock, which is made if it does not exist yet; the thread that holds it enters
    /// it again. Called by whatever needs it, from any thread and without it, on every report: it
    /// allocates only for the first time. False if that is refused, of which the caller makes
    /// dx::LockRefused; what it throws ends the caller with its code for the unexpected.
    virtual bool enterCriticalSection() const;
    /// Opens the log file and gives it head and first tail; with `learnForm` the form is learned
    /// anew first. Called by Zarn::create, or by whoever drives a data set by hand, and with every
    /// replacement. Runs `initialize` if that has not happened, and enters the lock. On failure the
    /// log is closed. dx::LockRefused, dx::LockNotLeft, dx::EstablishNoEngine, the codes of
    /// initialize, obtainLogFileFormData, openFile and the writers of head and tail,
    /// dx::EstablishUnexpected.
    virtual bool establishLogFile(bool learnForm);

  protected:
    /// Empties every row of the plug-in table. Called by createPlugIns when the table is made; the
    /// lock is not held. Raises nothing.
    virtual void forgetPlugIns();
    /// Releases texts, tables, form data and engines, and leaves null where they were. Called by
    /// free_Resources, whatever code is held. Raises nothing.
    virtual void free_Memory();
    /// Releases the proxy, the log, the form, the injected texts and the memory, all of them also
    /// where one fails; false then, without a code. Called by assimilateDataSetContents, before
    /// there is a lock, and by the destructor in this class's form.
    virtual bool free_Resources();
    /// Releases what was learned of a form: its sections, the names of variables, the injected
    /// texts. Called when a form is learned, when that failed, and by free_Memory; whatever code is
    /// held. Raises nothing, and leaves null and 0.
    virtual void freeLogFileFormData();
    /// The same, but only the three sections: when the built-in form takes over.
    virtual void freeLogFileFormDataForSections();
    /// The same, but only the head: when it could not be written.
    virtual void freeLogFileFormSectionHeadData();

  public:
    /// Whether a monitor can be made of this data set: a log name that fits, a character set and a
    /// resource module. Called by Zarn::create and by the monitor's constructor, without the lock.
    /// An answer and no status: raises nothing, changes nothing.
    virtual bool isValid();

  protected:
    /// Judges names and kind of a log. Called by recordLogFileNomenclature and isValid, without the
    /// lock; changes nothing but `dxCode`, which is 0 if they will do, else dx::LogNameMissing,
    /// dx::LogNameBlank, dx::LogNameIsFormName or dx::LogKindRefused. `charSet` is not looked at.
    virtual bool isValidLogFileNomenclature(const wchar_t* logName, const wchar_t* formName,
                                            Zarn_LOG kind, int charSet, int& dxCode);
    virtual bool isValidLogFileNomenclature(const char* logName, const char* formName,
                                            Zarn_LOG kind, int charSet, int& dxCode);
    /// Learns the form whose stream is open: its raw sections, the finished ones, the injectors.
    /// Called by processFileLogForm, which takes the built-in form where it fails.
    /// dx::FormNameMissing, dx::FormNameEmpty, dx::FormNotOpen, dx::InjectorFilesPresent,
    /// dx::InjectorStreamsPresent, dx::OwnModuleUnknown, the codes of the three steps,
    /// dx::LearnFormUnexpected.
    virtual bool learnLogFileForm(zmu::ulong32 mask);
    /// Makes the texts that the form injects; `injectorStart` is where the form names them, -1 for
    /// nowhere. Called by learnLogFileForm, if mustLearnLogFileFormInjectors says so, when the
    /// sections are finished.
    virtual bool learnLogFileFormInjectors(long injectorStart);
    /// Finishes a section of the built-in form: loads text `stringId` of the library's own module
    /// and compiles it. Called by learnLogFileFormSectionsFinished. What is learned goes to
    /// `format`, `varCount`, `vars`, `values` and, unless null, `hasEntryId`; on failure they are
    /// empty. dx::SectionNotLoaded, dx::SectionArguments, the codes of the last step,
    /// dx::SectionFinishUnexpected.
    virtual bool learnLogFileFormSectionFinished(unsigned int stringId, wchar_t** format,
                                                 int& varCount, Zarn_FORM_VAR** vars,
                                                 zmu::u64** values, bool* hasEntryId);
    /// The same for `length` bytes of the form file from `start` on, read by way of `buffer`.
    /// dx::SectionSeekFailed, and as above.
    virtual bool learnLogFileFormSectionFinished(long start, std::size_t length, wchar_t* buffer,
                                                 std::size_t bufferLength, wchar_t** format,
                                                 int& varCount, Zarn_FORM_VAR** vars,
                                                 zmu::u64** values, bool* hasEntryId);
    /// Compiles the text in `*format` into a message format and the variables that fill it. Called
    /// last by both forms above; replaces `*format`. dx::SectionFinishUnexpected, and the codes of
    /// the steps of a compilation, dx::BracketClosed to dx::VarNameUnknown among them.
    virtual bool learnLogFileFormSectionFinishedBasic(wchar_t** format, int& varCount,
                                                      Zarn_FORM_VAR** vars, zmu::u64** values,
                                                      bool* hasEntryId);
    /// Finishes the sections of `mask` of the built-in form for a log of `kind`. Called when it
    /// takes over. The codes of a section and of areLogFileFormSectionsUsable,
    /// dx::SectionsFinishUnexpected.
    virtual bool learnLogFileFormSectionsFinished(zmu::ulong32 mask, Zarn_LOG kind);
    /// The same for a form file, whose sections lie at the positions given, in bytes, -1 for one
    /// that it does not have. Called by learnLogFileForm. dx::SectionsAllEmpty,
    /// dx::BodyWithoutText, dx::SectionsNoMemory, the codes of a section and of
    /// areLogFileFormSectionsUsable, dx::SectionsFinishUnexpected.
    virtual bool learnLogFileFormSectionsFinished(long headStart, std::size_t headLength,
                                                  long bodyStart, std::size_t bodyLength,
                                                  long tailStart, std::size_t tailLength,
                                                  zmu::ulong32 mask);
    /// Finds the sections of the form file: where the text of each begins, -1 for one that is
    /// missing, and how many bytes it has. Called by learnLogFileForm, first. dx::MarkerUnknown,
    /// the four codes of a section out of order (dx::HeadOutOfOrder), of a position unknown
    /// (dx::HeadPositionUnknown) and of a keyword missing (dx::KeywordHeadMissing),
    /// dx::KeywordsAlike, dx::FormNotReadToEnd, dx::SectionsRawUnexpected.
    virtual bool learnLogFileFormSectionsRaw(long& injectorStart, long& headStart,
                                             std::size_t& headLength, long& bodyStart,
                                             std::size_t& bodyLength, long& tailStart,
                                             std::size_t& tailLength);
    /// Loads the names of all variables, sorted. Called by obtainLogFileFormData before the form is
    /// looked at. On failure there are none. dx::VarNameNotLoaded, dx::VarNamesUnexpected.
    virtual bool learnLogFileFormVarNames();

  public:
    /// Leaves the lock once; true if there was none to leave. Called as often as it was entered, on
    /// every report; allocates nothing. False where that fails, of which the caller makes
    /// dx::LockNotLeft.
    virtual bool leaveCriticalSection() const;

  protected:
    /// Whether the sections of `mask` use an injector that the form defines. Called by
    /// learnLogFileForm behind the sections. A decision and no status: raises nothing.
    virtual bool mustLearnLogFileFormInjectors(long injectorStart, zmu::ulong32 mask);
    /// Forgets the form and learns it anew: names of variables, then form file or built-in form.
    /// Called by establishLogFile; enters the lock itself. On failure nothing is left of a form.
    /// dx::FormNotInitialized, dx::LockRefused, dx::LockNotLeft, the codes of the two steps,
    /// dx::ObtainFormUnexpected.
    virtual bool obtainLogFileFormData(zmu::ulong32 mask);
    /// Opens file `name` in `openMode` (QIODevice's), copies the name to `*nameSlot` unless it is
    /// that very text, and puts the stream, which must be null, into `*streamSlot`. Called for the
    /// log and for a form. On failure no stream is left and no copy that was made here; traced with
    /// the name. dx::OpenFileArguments, dx::OpenFileNoMemory, dx::FileNotOpened,
    /// dx::OpenFileUnexpected.
    virtual bool openFile(wchar_t** nameSlot, QTextStream** streamSlot, wchar_t* name,
                          int openMode);
    /// Learns the form file, or the built-in form where there is no file or it cannot be used,
    /// which is traced. Called by obtainLogFileFormData. dx::FormAlreadyOpen, the codes of the
    /// built-in form, dx::ProcessFormUnexpected.
    virtual bool processFileLogForm(zmu::ulong32 mask);

  public:
    /// Stores the names and the kind of the log for a later establishLogFile; forgets the data
    /// set's code first. Called by the configuring party, before there is a lock to hold. A null or
    /// empty `formName` means the built-in form; only kind 0 is served. The narrow form takes UTF-8
    /// outside Windows and the system's narrow code page there. dx::LogNameMissing,
    /// dx::LogNameBlank, dx::LogNameIsFormName, dx::LogKindRefused, dx::LogNameNotStored,
    /// dx::FormNameNotStored, dx::RecordNomenclatureUnexpected.
    virtual bool recordLogFileNomenclature(wchar_t* logName, const wchar_t* formName,
                                           Zarn_LOG kind);
    virtual bool recordLogFileNomenclature(char* logName, const char* formName, Zarn_LOG kind);

  private:
    /// Closes the log and establishes a successor under `logName`. Called by the public form of
    /// that name, in the midst of the situation that reached the limit; enters the lock itself. The
    /// codes of the public form.
    virtual bool reestablishLogFile(wchar_t* logName, wchar_t* formName, Zarn_LOG kind);

  public:
    /// Deletes the calling thread's engine; true as well if it has none. Called by the thread, or,
    /// for a registered monitor, when it ends; takes the lock of the thread map only.
    /// dx::RemoveThreadNoMap, dx::RemoveThreadFailed in the midst of a situation,
    /// dx::RemoveThreadUnexpected; a held code refuses.
    virtual bool removeThread();
    virtual ~ZarnData();

    // ---- Life cycle -------------------------------------------------------------------------------

    /// Creates the lock, the map and the calling thread's engine, and finds the library's own
    /// module and, in a process without a log, the proxy. Afterwards the configuring setters
    /// refuse. Runs once.
    bool initialize();

    // ---- Configuration that ends with initialize: false once it has run -------------------------

    bool setArgsIntQty(int qty);            ///< Slots for recorded ints, 0 to 99.
    bool setArgsStrQty(int qty);            ///< Slots for recorded strings, 0 to 99.
    bool setArgsUIntQty(int qty);           ///< Slots for recorded unsigneds, 0 to 99.
    bool setDescriptionFillersQty(int qty); ///< Inserts a message can have, 5 to 99.
    bool setCharSetExternal(int charSet);   ///< Recorded strings: 0 or 1 narrow, 2 wide.
    /// Stores before initialize only; returns the previous mode in any case.
    Zarn_DX_MODE setSituationMode(Zarn_DX_MODE mode);

    // ---- Configuration at any time ----------------------------------------------------------------

    bool setDescriptionAffixID_Min(int id);  ///< String ID of affix 0, 1 to 32767.
    bool setDescriptionAffixIDsQty(int qty); ///< Number of affixes, at most 32767.
    /// Stores none (0) or forgiving (2) only; returns the previous tolerance.
    Zarn_TOLERANCE setSelfDX_FaultTolerance(Zarn_TOLERANCE tolerance);
    /// Null is ignored; returns the previous function.
    ZarnTraitsAssessor setSituationResponseTraitsAssessor(ZarnTraitsAssessor assessor);
    /// Buckets of the thread map, above 0, before initialize; returns the previous size.
    zmu::ulong32 sizeMapOfDataForThreads(zmu::ulong32 size);
    ZarnDisplayFunction setDisplayDlgBoxFunction(ZarnDisplayFunction function);
    HWND setDisplayDlgBoxParent(HWND parent);
    /// Is told of every situation that fails from now on, besides the trace line that each one gets
    /// anyway; null for nobody, as it begins. Returns the previous function.
    ZarnFailureFunction setFailureFunction(ZarnFailureFunction function);
    /// With `wanted` a situation that cannot be described gets an entry of the log all the same,
    /// which names its number and the code, so that no number is missing without a trace. Off as it
    /// begins. Returns the previous setting.
    bool setSubstituteEntries(bool wanted);
    /// Makes the engines from now on, so that a subclass can stand in; null is ignored. Returns the
    /// previous factory.
    ZarnEngineFactory setEngineFactory(ZarnEngineFactory factory);
    zmu::i64 setNonnativeInstantiatorID(const zmu::i64& id);
    Zarn* setOwner(Zarn* owner);
    int setSelfDX_Code(int code) const;
    HMODULE setSelfResourceModule(HMODULE module);
    /// Finds the library's own module, whose strings are the built-in table.
    /// dx::OwnModuleUnknown.
    bool learnSelfResourceModule();
    /// Swaps the module that response specs and affixes are loaded from; null is ignored. Returns
    /// the previous one, null if the lock was refused. Enters the lock.
    void* setResourceModule(void* module);
    /// Swaps the criteria word; returns the previous one. Enters the lock.
    zmu::u64 setBehaviorCriteria(zmu::u64 criteria);
    /// Copies the caption of the display dialog; null forgets it.
    bool recordDialogBoxCaption(const char* caption);
    bool recordDialogBoxCaption(const wchar_t* caption);
    /// Makes a table of `qty` plug-ins, all null, for the caller to fill before the first
    /// situation of any thread. A table that exists is returned as it is. Null for `qty` below 1
    /// or without memory (dx::CreatePlugInsUnexpected).
    ZarnPlugIn* createPlugIns(int qty);

    // ---- Tags: values of a form, copied; no lock ---------------------------------------------------

    bool recordTag(const wchar_t* value, Zarn_FORM_TAG tag); ///< False for an unknown tag.
    bool recordTag(const char* value, Zarn_FORM_TAG tag);
    /// As recordTag, for a value that comes from the system or a module where the product's own is
    /// missing: no markup, if system texts are escaped.
    bool recordSystemTag(const wchar_t* value, Zarn_FORM_TAG tag);
    wchar_t* getTag(Zarn_FORM_TAG tag) const; ///< The stored text, null without one.
    /// Copies what fits into `size` elements, and zeroes the rest; empty without a value. A `size`
    /// of 0 empties the first element. Returns `buffer`.
    wchar_t* getTag(wchar_t* buffer, std::size_t size, Zarn_FORM_TAG tag);
    char* getTag(char* buffer, std::size_t size, Zarn_FORM_TAG tag);
    /// Whether forms show what the system or a user has named as it is, whatever markup is in it:
    /// tags of host, domain, user, session, folder, module and versions, and the log's name. Off
    /// until it is set, before the tags are recorded. Returns the value before.
    bool setSystemTextsEscaped(bool escape);
    /// What a form shows of a tag or of the log's name; null without one.
    const wchar_t* getTagForForm(Zarn_FORM_TAG tag) const;
    const wchar_t* getLogNameForForm() const;

    // ---- A log that comes back -----------------------------------------------------------------------

    /// Whether the log comes back by itself; returns what held before. Off for a new data set, on
    /// for one that ZarnDataZGW makes. With it
    /// - a replacement that failed, and a log that was deleted, moved, emptied or cut from outside,
    ///   or whose folder was removed, leads to a later situation opening a successor, at most one
    ///   try a second. The file is looked at once a second at most. What was written in between is
    ///   taken along, and the first entry of the new log tells how many situations had no log;
    /// - a rollover that failed is tried again at most once a second, and the situations in between
    ///   are none that failed;
    /// - a successor's path may have 1023 elements and not only 259.
    /// docs/logs-in-use.md tells what that means for who looks after logs. Enters the lock.
    bool setLogRecovery(bool comesBack);
    bool getLogRecovery() const { return m_logWatch.isOn; }
    /// Called by an engine before each entry, under the lock: finds the log a file if it has none,
    /// or none of this process's.
    void attendToLog();
    /// Called by an engine when the log is at its limit, under the lock: a successor takes over, as
    /// by reestablishLogFile(false), with what was written to a file that was taken away. Whether
    /// it does; no code stays.
    bool replaceFullLog();
    /// Notes that a situation found no log.
    void countLostSituation();
    /// Whether it is time to try a replacement, after one that failed.
    bool mayReplaceLog() const;

    // ---- Self-diagnosis -------------------------------------------------------------------------

    /// The data set's code, else that of the calling thread's engine, else 0.
    int getSelfDX_Code() const;
    bool isSelfSatisfied() const { return getSelfDX_Code() == 0; }
    /// Whether the data set itself holds no code, whatever the engines hold.
    bool isFreeOfCode() const { return m_selfDX_Code == 0; }
    /// Whether no other thread holds one of the locks at this moment. Waits for nobody.
    bool isAtRest() const;
    void forgetSelfDX_Code() const;
    /// The gate that every operation passes first: true without a held code, or after a forgiving
    /// tolerance has erased it.
    bool isSelfApproving() const;

    // ---- Getters -----------------------------------------------------------------------------------

    int getArgsIntQty() const { return m_argsIntQty; }
    int getArgsStrQty() const { return m_argsStrQty; }
    int getArgsUIntQty() const { return m_argsUIntQty; }
    zmu::u64 getBehaviorCriteria() const { return m_behaviorCriteria; }
    int getCharSetExternal() const { return m_charSetExternal; }
    int getDescriptionAffixID_Min() const { return m_descriptionAffixID_Min; }
    int getDescriptionAffixIDsQty() const { return m_descriptionAffixIDsQty; }
    wchar_t getDescriptionDisplayDupeOp() const { return m_descriptionDisplayDupeOp; }
    zmu::u8 getDescriptionDisplayLineWd() const { return m_descriptionDisplayLineWd; }
    int getDescriptionFillersQty() const { return m_descriptionFillersQty; }
    zmu::u8 getDescriptionLogFileLineWd() const { return m_descriptionLogFileLineWd; }
    wchar_t* getDisplayDlgBoxCaption() const { return m_displayDlgBoxCaption; }
    ZarnDisplayFunction getDisplayDlgBoxFunction() const { return m_displayDlgBoxFunction; }
    HWND getDisplayDlgBoxParent() const { return m_displayDlgBoxParent; }
    ZarnDataFile* getFileLog() const { return &m_fileLog; }
    /// The file of the open log; null without one, and for a device that a subclass opened.
    zmu::LogDevice* getLogDevice() const;
    /// The recorded name itself, null if there is none.
    wchar_t* getFileLogName() const { return m_fileLog.m_logName; }
    /// Copies the name of the open log; on failure `buffer` is empty. Enters the lock.
    /// dx::GetFileLogNameNoBuffer, dx::GetFileLogNameTooSmall, dx::GetFileLogNameNotOpen,
    /// dx::GetFileLogNameNone, dx::LockRefused, dx::LockNotLeft, dx::GetFileLogNameUnexpected.
    bool getFileLogName(wchar_t* buffer, std::size_t size);
    zmu::u64 getLogFileByteCountLimit() const { return m_logFileByteCountLimit; }
    zmu::i64 getNonnativeInstantiatorID() const { return m_nonnativeInstantiatorID; }
    Zarn* getOwner() const { return m_owner; }
    ZarnPlugIn* getPlugIns() const { return m_plugIns; }
    int getPlugInsQty() const { return m_plugInsQty; }
    HMODULE getResourceModule() const { return m_resourceModule; }
    wchar_t getResStrTokenSepField() const { return m_resStrTokenSepField; }
    wchar_t getResStrTokenSepGroup() const { return m_resStrTokenSepGroup; }
    wchar_t getResStrTokenSepRecord() const { return m_resStrTokenSepRecord; }
    wchar_t getResStrTokenSepUnit() const { return m_resStrTokenSepUnit; }
    Zarn_TOLERANCE getSelfDX_FaultTolerance() const { return m_selfDX_FaultTolerance; }
    HMODULE getSelfResourceModule() const { return m_selfResourceModule; }
    Zarn_DX_MODE getSituationMode() const { return m_situationMode; }
    ZarnTraitsAssessor getSituationResponseTraitsAssessor() const
    {
        return m_situationResponseTraitsAssessor;
    }
    bool getSubstituteEntries() const { return m_substituteEntries; }
    zmu::ulong32 getSituationsCount() const { return m_situationsCount; }
    zmu::ulong32 getSituationsQty() const { return m_situationsQty; }
    bool isInstantiatorRunningNatively() const { return m_nonnativeInstantiatorID == 0; }
    /// True while a successor gets its first entry, the note about its series.
    bool isNotingSeries() const { return m_isNotingSeries; }
    /// Whether a form's comments <!--TIME_ZONE-->, <!--PREVIOUS_LOG-->, <!--NEXT_LOG--> and
    /// <!--EXPLANATIONS--> are filled: with the offset of the log's local time, with links between
    /// the files of a series, and with one to the page that explains the situations. Off at first;
    /// owners turn it on. Takes effect when a form is learned.
    void offerFormExtras(bool offered) { m_offersFormExtras = offered; }
    bool offersFormExtras() const { return m_offersFormExtras; }
    /// The text of an extra, empty if there is none; null for a number that is none.
    const wchar_t* getFormExtra(int extra) const;
    /// True while a head is written: only then does a section writer allocate.
    bool isSafeToAllocateMemory() const { return m_safeToAllocateMemory; }

    // ---- Log file ------------------------------------------------------------------------------------

    /// Replaces the log file by a successor with a fresh name in the log directory, as ZarnDataZGW
    /// composes it. With `force` a file at its limit is left alone; without, it is always replaced.
    /// Enters the lock. dx::ReestablishNotNative, dx::SuccessorOwnerMissing,
    /// dx::SuccessorNameMissing, dx::LogNameMissing, dx::LogNameBlank, dx::LogNameIsFormName,
    /// dx::LogNameNotStored, dx::OldLogNotClosed, dx::LockRefused, dx::LockNotLeft, the codes of
    /// establishLogFile, dx::ReestablishUnexpected.
    bool reestablishLogFile(const bool& force);
    /// Sets the byte limit, 1048576 to 78643200; a log that has reached it is replaced at once.
    /// `previous` receives the old limit, 0 on failure. Enters the lock.
    /// dx::SetLimitNotNative, dx::LimitTooHigh, dx::LimitTooLow, dx::SetLimitReplacementFailed,
    /// dx::LockRefused, dx::LockNotLeft, dx::SetLimitUnexpected.
    bool setLogFileByteCountLimit(zmu::u64 limit, zmu::u64& previous);
    /// Both return the new count, which saturates at 0xFFFFFFFF and at 0.
    zmu::ulong32 incrementSituationsCount(zmu::ulong32 n);
    zmu::ulong32 decrementSituationsCount(zmu::ulong32 n);

    /// Records the product's log settings for the process, before its first owner. `directory` must
    /// exist. An owner takes `maxFileSize`, in bytes, as the limit of its log if that is within
    /// those of setLogFileByteCountLimit, and else leaves it at 20 MiB. The rest is handed out, by
    /// the getters below and by ZarnDataZGW, and changes nothing about a log.
    static void setLogVariables(const wchar_t* directory, unsigned int outputLevel,
                                bool backupEnabled, unsigned int maxFileSize,
                                unsigned int maxFileAge);
    /// The directory for temporary files until one is set. The text is good until another is.
    static wchar_t* getLogDirectory();
    static unsigned int getLogOutputLevel() { return s_logOutputLevel; }
    static bool getLogBackupEnabled() { return s_logBackupEnabled; }
    static unsigned int getLogMaxFileSize() { return s_logMaxFileSize; }
    static unsigned int getLogMaxFileAge() { return s_logMaxFileAge; }

    // ---- Criteria and traits ---------------------------------------------------------------------------

    /// Whether any respond bit is set: 1 or 0.
    static Zarn_FUZZY_CHOICE canRespondToSituations(const zmu::u64& criteria);
    Zarn_FUZZY_CHOICE canRespondToSituations() const;
    /// The default assessor: the respond bits, and any level field that approves.
    static bool approveSituationResponseTraits(const zmu::u64& criteria, const zmu::u64& traits);
    /// One field: `mask` shifted left by `shift`. A situation's level is approved if it is not
    /// above the criteria's; a level of 0 on either side never is.
    static bool approveSituationResponseTraitsLevel(const zmu::u64& criteria,
                                                    const zmu::u64& traits, const zmu::u64& mask,
                                                    const zmu::u64& shift);
    /// Asks the assessor with this data set's criteria.
    bool approveSituationResponseTraits(const zmu::u64& traits) const;
    /// The word spoken with the proxy: kind 1 gives 11, kind 2 the bit of each approving field.
    /// True if `enablements` is non-zero.
    bool approveSituationResponseTraits(unsigned int kind, const zmu::u64& traits,
                                        unsigned int& enablements) const;
    /// Hands a description to the proxy if its traits are approved. dx::ProxyArguments,
    /// dx::ProxyRefused, dx::ProxyUnexpected.
    bool logSituationDescriptionViaProxy(int situationID, unsigned int kind, zmu::u64 traits,
                                         const wchar_t* description);

    // ---- The calling thread's situation: forwarded to its engine, which is made if need be -----

    bool describeSituation();
    bool forgetSituation();
    bool learnResponse();
    bool reportDescriptions();
    bool respondToSituation();
    /// `argV`: a pointer to a cursor over 64-bit argument slots, which the spec advances.
    bool respondToSituation(char** argV);
    /// Zarn's forms: `resourceModule`, unless null, stands in for the data set's meanwhile, and the
    /// lock is held as long. The first answers how the situation went. The second copies the
    /// arguments of a call, of which `kinds` tells what each was packed from; it is true whatever
    /// became of the situation, and false only where entering the lock threw.
    bool respondToSituation(int situationID, char** argV, void* resourceModule);
    bool respondToSituation(int situationID, void* resourceModule, const zmu::u64* values,
                            const zmu::SlotKind* kinds, std::size_t count);
    /// Stores an argument at `position` (ZARN_ARG_NEXT: behind the last) and returns the position,
    /// -1 if it has no place. Strings are not copied: they must outlive the situation. What a
    /// situation that failed was told stays recorded; where the tolerance forgives, the first
    /// argument that is recorded as the next one replaces it.
    int recordArgument(const char* value, int position);
    int recordArgument(const wchar_t* value, int position);
    int recordArgument(int value, int position);
    int recordArgument(unsigned int value, int position);
    int recordSituationID(int situationID);        ///< Returns the previous ID.
    int recordSituationID_Remote(int situationID); ///< Returns the previous ID.
    unsigned int getArg_UInt(int index) const;
    zmu::u64* getDescriptionFillers() const;
    std::span<const zmu::SlotKind> getDescriptionFillerKinds() const;
    wchar_t* getDescriptionForDisplay() const;
    wchar_t* getDescriptionForLogFile() const;
    int getDisplayDlgBoxResult() const;
    int getSituationID() const;
    bool isSituationNormal() const;

    // ---- Hyperlinks to the pages of codes ----------------------------------------------------------

    /// Fills `out` with the link that string `stringID` of the library's own module makes of
    /// `code`, and returns its text; null on failure. Enters the lock. A code that is held
    /// is a failure, too, unless the tolerance forgives it. dx::OwnModuleUnknown,
    /// dx::HyperlinkLockRefused, dx::HyperlinkLockNotLeft, dx::HyperlinkEmpty,
    /// dx::HyperlinkNotPrinted, dx::HyperlinkUnexpected.
    const wchar_t* formatLogHyperlink(zmu::ulong32 code, unsigned int stringID,
                                      UTL_String& out) const;
    /// The link to a system error. The text belongs to the thread's engine, until its next one.
    const wchar_t* formatLogHyperlinkWinSDK(zmu::ulong32 code) const;

  protected:
    /// The calling thread's engine; with `create` it is made if it does not exist. Null without a
    /// map, while the data set holds a code, and on failure: dx::LockRefused, dx::LockNotLeft,
    /// dx::NoEngine, dx::EngineNotInserted, what the engine holds, dx::ObtainEngineUnexpected.
    ZarnDataForThread* obtainDataForCurrentThread(bool create) const;

    /// Replaces the owned text in `*target` by a copy of `source`; a null `source` leaves null.
    /// False, with the old text kept, without memory.
    static bool duplicate_String(wchar_t** target, const wchar_t* source, bool freeOld);
    static bool duplicate_String(wchar_t** target, const char* source, bool freeOld);

    // The log file and its form.
    bool isValidLogFileNomenclature(ZarnDataFile& file);
    bool openLogFile(wchar_t* name);
    bool openLogFileForm(wchar_t* name);
    bool supplantLogFileFormFromResDLL(zmu::ulong32 mask);
    bool eliminateLogFileFormInjector(int index);

    /// Why learnLogFileForm has failed, with the code that is held.
    zmu::FormMistake getFormMistake() const;
    /// Where to put what is learned of a form that does not make it unusable, besides the trace;
    /// null, as it begins, for nowhere.
    void setFormWarnings(zmu::FormMistakes* warnings) { m_formWarnings = warnings; }

    // Sections and their variables.
    Zarn_FORM_VAR convertLogFileFormVarNameToEnum(wchar_t* name);
    int convertLogFileFormVarNameToIndex(wchar_t* name);
    bool countLogFileFormSectionVarNames(wchar_t* text, int& count);
    bool createLogFileFormSectionArgV_Enums(int count, Zarn_FORM_VAR** vars);
    bool createLogFileFormSectionArgV_Values(int count, zmu::u64** values);
    bool composeLogFileFormSectionFormat(wchar_t** format, int& count, Zarn_FORM_VAR** vars,
                                         zmu::u64** values);
    bool reformatLogFileFormSection(wchar_t** format, int count, Zarn_FORM_VAR* vars);
    bool isVarInLogFileFormSection(Zarn_FORM_VAR var, int count, const Zarn_FORM_VAR* vars);

    using ThreadMap = TObjectMap<zmu::ulong32, void*>;

    ZarnTraitsAssessor m_situationResponseTraitsAssessor = approveSituationResponseTraits;
    int m_argsIntQty = 0;
    int m_argsStrQty = 0;
    int m_argsUIntQty = 0;
    std::atomic<zmu::u64> m_behaviorCriteria = ZARN_DEFAULT_BEHAVIOR_CRITERIA;
    int m_charSetExternal = -1;
    mutable CriticalSection* m_criticalSection = nullptr;
    int m_descriptionAffixID_Min = 0;
    int m_descriptionAffixIDsQty = 0;
    wchar_t m_descriptionDisplayDupeOp = L'&';
    zmu::u8 m_descriptionDisplayLineWd = 67;
    int m_descriptionFillersQty = 10;
    zmu::u8 m_descriptionLogFileLineWd = 0;
    wchar_t* m_displayDlgBoxCaption = nullptr;
    ZarnDisplayFunction m_displayDlgBoxFunction;
    HWND m_displayDlgBoxParent = nullptr;
    HMODULE m_proxyModule = nullptr;
    mutable ZarnDataFile m_fileLog;
    bool m_initialized = false;
    bool m_reserved = false;
    bool m_safeToAllocateMemory = false;
    zmu::u64 m_logFileByteCountLimit = 20971520; // 20 MiB
    ZarnProxyFunction m_proxyRespondToSituation = nullptr;
    ThreadMap* m_mapOfDataForThreads = nullptr;
    zmu::ulong32 m_sizeMapOfDataForThreads = 17;
    zmu::i64 m_nonnativeInstantiatorID;
    Zarn* m_owner = nullptr;
    ZarnPlugIn* m_plugIns = nullptr;
    int m_plugInsQty = 0;
    HMODULE m_resourceModule = nullptr;
    wchar_t m_resStrTokenSepField = L'|';
    wchar_t m_resStrTokenSepGroup = L'~';
    wchar_t m_resStrTokenSepRecord = L'`';
    wchar_t m_resStrTokenSepUnit = L',';
    mutable ZarnScratchpad m_scratchpad;
    mutable std::atomic<int> m_selfDX_Code = 0;
    Zarn_TOLERANCE m_selfDX_FaultTolerance = Zarn_TOLERANCE_NONE;
    zmu::ulong32 m_reserved2 = 0;
    HMODULE m_selfResourceModule = nullptr;
    Zarn_DX_MODE m_situationMode = 0;
    std::atomic<zmu::ulong32> m_situationsCount = 0;
    zmu::ulong32 m_situationsQty = 0;
    wchar_t* m_tags[Zarn_FORM_TAGS_QTY] = {};

    static std::atomic<HMODULE> m_resModuleBootstrap;
    static unsigned int s_logOutputLevel;
    static bool s_logBackupEnabled;
    static unsigned int s_logMaxFileSize;
    static unsigned int s_logMaxFileAge;
    static wchar_t* s_logDirectory;
    static bool s_logInformationInitialized;

  private:
    friend class ZarnDataForThread; // which tells of its failures

    ZarnEngineFactory m_engineFactory;
    /// Kept from one log to its successor, since it cannot be made when memory is short.
    QTextStream* m_spareLogStream = nullptr;
    zmu::ResourceEntry m_resourceEntry;
    mutable zmu::SpecMemory* m_specMemory = nullptr; ///< Made with the first engine, or not at all.
    zmu::EntryPieces* m_entryPieces = nullptr; ///< Likewise; null leaves all to the formatter.
    std::atomic<ZarnFailureFunction> m_failureFunction = nullptr;
    bool m_substituteEntries = false;
    bool m_isNotingSeries = false;
    /// What keeps the log alive. Times are milliseconds.
    struct {
        bool isOn = false;
        unsigned forkCount = 0;   ///< Of the process that opened the log.
        zmu::u64 lookTime = 0;    ///< When the file was looked at, or opened.
        zmu::u64 failTime = 0;    ///< When a replacement failed; 0 since one succeeded.
        int seenPosition = 0;     ///< Where the tail stood then: so far the file was whole.
        zmu::ulong32 entries = 0; ///< Since then.
        zmu::ulong32 lost = 0;    ///< Situations that no log has.
        // Entries of a log that is gone, which the next one takes along.
        int strayFile = -1;
        int strayBegin = 0;
        int strayEnd = 0;
        int strayHole = -1; ///< Where that file was cut, -1 for nowhere.
        zmu::ulong32 strayEntries = 0;
    } m_logWatch;
    bool m_offersFormExtras = false;
    std::wstring m_formExtras[4];          ///< By zmu::FormExtra.
    zmu::LogDevice* m_logDevice = nullptr; ///< Of the stream that openLogFile opened last.
    zmu::FormMistake m_formMistake; ///< Of the form that is being learned; its code is not kept.
    zmu::FormMistakes* m_formWarnings = nullptr;
    /// The place in the section that is being compiled: in its text, or in the format made of it.
    std::size_t m_sectionOffset = 0;
    bool m_sectionIsCompiled = false;

    bool m_escapesSystemTexts = false;
    wchar_t* m_escapedTags[Zarn_FORM_TAGS_QTY] = {}; ///< Those that differ when escaped.
    wchar_t* m_escapedLogName = nullptr;             ///< The same.

    class ModuleStandIn;

    void loadProxy();
    /// The pieces of the body or the tail; null for a format that is neither, or has none.
    zmu::SectionPieces* obtainPieces(const wchar_t* format, int varCount) const;
    void watchNewLog();
    bool leaveLogOfParent();
    /// Unsure: the system does not tell, or has no number for what is to be kept of the file.
    /// Nothing is lost where it is; the next look is a second later.
    enum class LogPlace { Here, Elsewhere, Gone, Unsure };
    void lookAtLog();
    LogPlace findLog();
    bool keepStrayEntries(int file, int hole);
    bool openSuccessor();
    void takeStrayEntriesAlong();
    bool copyStrayEntries(int& position);
    void mendCutLog();
    void forgetStrayEntries();
    bool escapeTag(Zarn_FORM_TAG tag, bool isOfSystem);
    bool escapeLogName(const wchar_t* name);
    bool storeEscaped(wchar_t*& target, const wchar_t* text) const;
    void freeEscapedTexts();
    void traceForm(const zmu::FormMistake& mistake) const;
    void traceFormDismissed() const;
    void warnOfSection(const wchar_t* what, const wchar_t* text, std::size_t offset,
                       int line) const;
    int lineInForm(long position) const;
    void storeNomenclature(const wchar_t* logName, const wchar_t* formName, Zarn_LOG kind);
    void resetLogCounters();
    std::wstring& formExtra(int extra);
    void learnFormExtras();
    void linkSuccessor(const wchar_t* successor);
    bool writeBeginning(ZarnDataForThread& engine);
    bool tryBeginning(ZarnDataForThread& engine, bool& headSucceeded);
    /// Opens a log with the stream that the last one has left, or with the first one.
    QTextStream* openLogStream(const wchar_t* name);
    void freeLogSpares();
    bool swapFormName(const wchar_t* formName);
    void learnInjector(zmu::InjectorBlock& block);
    bool eliminateLogFileFormInjectors();
    void freeInjectors();
    void releaseUnusedInjectors();
    void noteSeries(unsigned int number);
    void adoptEngines();
    void freeEngines();
    /// The calling thread's engine for an operation that begins work, for which a forgiving data
    /// set drops the code that it holds.
    ZarnDataForThread* obtainDataToWork() const;
    ZarnDataForThread* createDataForCurrentThread() const;
    /// The calling thread's engine whatever code is held, null for none. There is a map.
    ZarnDataForThread* findEngine() const;
    /// Runs an operation on a situation; false, told as its failure, if there is no engine for it.
    template <class Operation>
    bool work(int situationID, Operation operation);
    template <class Report>
    bool respondWith(ZarnDataForThread& engine, void* resourceModule, Report report);
    static void tellFailure(const ZarnData* dataSet, int situationID, int code,
                            const wchar_t* text) noexcept;
};
