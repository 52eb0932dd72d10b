// ZarnDataZGW: a module's monitor in one constructor call.
//
//     ZarnDataZGW owner(ZGW_OWNER_CM, true, nullptr, nullptr, Zarn_LOG_HTML);
//     Zarn* monitor = owner.createZarnMonitor();
//     ...
//     ZarnDataZGW::destroyZarnMonitor(monitor);
//
// The constructor gathers what is particular to the owner: resource modules, the product's texts,
// the fifteen tags of a form, log directory, names of log and form. createZarnMonitor makes a
// monitor of that, which does without its owner from then on.
//
// A log is named PROGRAM_YEAR-MONTH-DAY_HOUR-MINUTE-SECOND-MILLISECOND.html in the log directory
// that ZarnData::setLogVariables has set; owners LOGON and PW put the user's name in front. Its
// name is taken by making the file, so no other log of this or another process gets the same one:
// who comes second waits for the next millisecond. A file whose name nobody asked for, and no
// monitor wrote, goes away with the object.
//
// The form is bpw_template.html in the folder Templates of that directory, or aps_template.html for
// the owner APS; without one the built-in form is used. The directory must exist.
//
// Operations that can fail answer with a bool or a pointer; getDX_Code1 and getDX_Code2 tell why
// (docs/zgw-codes.md). The codes are those of the calling thread's last operation. An object is for
// one thread at a time; several may be made and destroyed at once. createZarnMonitor and
// destroyZarnMonitor enter and leave the registry of monitors, and so are for one thread at a time
// in the process.
#pragma once

#include <zmu/foundation/Export.h>
#include <zmu/foundation/Types.h>
#include <zmu/foundation/UTL_String.h>
#include <zmu/log/ZarnForm.h>
#include <zmu/monitor/ZarnTypes.h>
#include <zmu/platform/Host.h>

#include <atomic>

class Zarn;
class ZarnData;
class ZRpbr;

// Modules of the product that are told apart as owners, by the brand text that names them, by the
// user's name in their first log's, and by their form; any other number is an owner, too.
inline constexpr zmu::i64 ZGW_OWNER_CM = 0x80000040;    ///< cm.exe, the control manager
inline constexpr zmu::i64 ZGW_OWNER_LOGON = 0x80010000; ///< Logon.exe, of a user
inline constexpr zmu::i64 ZGW_OWNER_PW = 0x80200000;    ///< pw.exe, a user's program window
inline constexpr zmu::i64 ZGW_OWNER_APS = 0x80000001;   ///< aps.exe, the application server

class ZMU_API ZarnDataZGW {
  public:
    /// Prepares the data set of a monitor. `standalone`: the owner writes a log of its own;
    /// otherwise its descriptions go to the proxy under `ownerID`. Null for
    /// `resourceModuleInternal` means the library's own texts (the first object of a process
    /// decides), null for `resourceModuleExternal` the program's image. Throws an int, which is
    /// code 1, on failure.
    ZarnDataZGW(zmu::i64 ownerID, bool standalone, HINSTANCE resourceModuleInternal,
                HINSTANCE resourceModuleExternal, Zarn_LOG logType);
    ZarnDataZGW(const ZarnDataZGW&) = delete;
    ZarnDataZGW& operator=(const ZarnDataZGW&) = delete;

    // ---- The virtual stages, in the order of their slots --------------------------------------
    //
    // They run on the thread that makes or destroys the owner, without any lock, and may allocate.

    /// The place for a subclass to change m_dataSet before it becomes a monitor's, by its setters
    /// alone: there is no log yet, and nothing can be reported. Called by createZarnMonitor, once
    /// for each try, when all else is set. A subclass calls this class's form first, which forgets
    /// the codes of an earlier operation. True to go on. False, or an exception, refuses the
    /// monitor, with a code of the subclass's in code 1, else zgw::CustomizeRefused, and the data
    /// set stays for another try. As it stands here: zgw::CustomizeNoDataSet.
    virtual bool customizeForOwner();

  protected:
    /// Releases what the owner has: texts, tags, brander, the data set unless a monitor has it, and
    /// an unused log file. Called by the constructor where it fails and by the destructor, both in
    /// this class's form, and by setMemberVarsToDefaults with bit 4. Releases all of it also where
    /// a step fails, and answers false then, without a code; leaves null, since it may be called
    /// again.
    virtual bool freeResources();
    /// Gathers everything. Called once, by the constructor, and therefore in this class's form:
    /// a subclass cannot replace it. zgw::InitializedTwice, zgw::NoDataSet, zgw::NoDirectoryString,
    /// zgw::NoFileString, zgw::TagValuesUnknown, zgw::LogFilePathUnknown, zgw::DataSetRefused, the
    /// codes of brander, tags and paths, zgw::InitializeUnexpected.
    virtual bool initialize();

  public:
    virtual ~ZarnDataZGW();

    // ---- Life cycle -------------------------------------------------------------------------------

    /// Makes a monitor of the data set; null on failure. Succeeds once. zgw::NothingToHandOver,
    /// zgw::CustomizeRefused or a code of the subclass, zgw::MonitorNotCreated.
    Zarn* createZarnMonitor();
    /// Destroys a monitor and nulls the pointer; null is a success. False, with the pointer as it
    /// was, for what is no registered monitor.
    static bool destroyZarnMonitor(Zarn*& monitor);
    bool isOwnerRunningStandalone() const { return m_ownerStandalone; }
    /// Status of the calling thread's last operation of this class, 0 for success.
    static int getDX_Code1() { return code1(); }
    /// Its companion: an error of the system, or the code of another object.
    static zmu::ulong32 getDX_Code2() { return code2(); }

    // ---- Settings: no object needed -------------------------------------------------------------

    /// The enablement of each group of criteria that has a bit set.
    static void mapBehaviorCriteriaZMI_ToEnablementsZMP(zmu::u64 criteria,
                                                        unsigned int& enablements);
    /// The whole group of each enablement, and the respond bits with any.
    static void mapEnablementsZMP_ToBehaviorCriteriaZMI(unsigned int enablements,
                                                        zmu::u64& criteria);
    /// The highest level whose enablements are all present. Enablements without a level: false,
    /// with 11 and level 1. Level 5 is never the answer.
    static bool mapEnablementsZMP_ToLogOutputLevel(unsigned int& enablements, zmu::ulong32& level);
    /// Levels are 0 to 6. Any other: false, with level 1 and enablements 11.
    static bool mapLogOutputLevelToEnablementsZMP(zmu::ulong32& level, unsigned int& enablements);
    /// Criteria of the log output level that is set.
    static zmu::u64 obtainBehaviorCriteria();
    /// The same, which become those of `data` unless it is null.
    static zmu::u64 updateBehaviorCriteria(ZarnData* data);
    static zmu::ulong32 obtainLogFileOutputLevel();
    static zmu::ulong32 obtainLogFileAgeLimit();
    /// The log's greatest size that is set, taken as bytes.
    static zmu::u64 obtainLogFileByteCountLimit();
    /// The same, which becomes that of `data` unless it is null or refuses.
    static zmu::u64 updateLogFileByteCountLimit(ZarnData* data);
    /// 0 to keep old logs, 1 to remove them.
    static zmu::ulong32 obtainLogFileMaintenanceOperation();

    // ---- Log directory, names, tags ---------------------------------------------------------------

    /// The log directory with a separator at its end, environment references expanded. That it
    /// exists is not promised. One that cannot be expanded is taken as it stands, and made if it
    /// does not exist. zgw::DirectoryUnusable, zgw::DirectoryNotCreated, zgw::DirectoryTooLong,
    /// zgw::DirectoryNotAssigned, zgw::DirectorySecondUnexpected, zgw::HomeDirectoryUnknown,
    /// zgw::PathIsNoDirectory.
    static bool obtainLogDirectorySpecifier(UTL_String& directory, HINSTANCE module);
    /// Copies the log's path, which is empty for an owner that does not run standalone. A buffer of
    /// fewer than 260 elements, or one that the path does not fit, comes back empty. Whoever has
    /// asked may write the file: it stays.
    wchar_t* getLogFileFQPath(wchar_t* buffer, zmu::u64 capacity);

    /// Fresh values of all tags, "Unknown" where there is none. `values` is an array of `quantity`
    /// texts; release it with freeLogTagValues. zgw::BrandTextFailed,
    /// zgw::UnknownTextEmpty, zgw::TagValuesNoMemory, zgw::TagValuesNoBrander,
    /// zgw::TagValuesUnexpected.
    static bool obtainLogTagValues(UTL_String*& values, int& quantity, zmu::i64 ownerID,
                                   HINSTANCE const& module, ZRpbr* brander, int& code1,
                                   zmu::ulong32& code2);
    /// A fresh value of one tag; false if it is empty. `buffer` may be null.
    /// zgw::TagSourceFailed, zgw::TagBufferEmpty, zgw::BrandTextFailed, zgw::BrandTextNoBrander,
    /// zgw::TagModuleUnknown, zgw::TagValueUnexpected.
    static bool obtainLogTagValue(UTL_String& value, Zarn_FORM_TAG tag, zmu::i64 ownerID,
                                  HINSTANCE const& module, ZRpbr* brander, int& code1,
                                  zmu::ulong32& code2, wchar_t* buffer, zmu::u64 capacity);
    /// A tag as `monitor` has it, else as `values` has it, else a fresh value, else "Unknown".
    static bool getLogTagValue(UTL_String& value, Zarn_FORM_TAG tag, zmu::i64 ownerID,
                               HINSTANCE module, ZRpbr* brander, const UTL_String* values,
                               int quantity, Zarn* monitor);
    static void freeLogTagValues(UTL_String*& values, int& quantity);

    // ---- The product's brander ------------------------------------------------------------------

    /// The process's brander, made if it is not alive; `createdHere` tells which. A code
    /// that the calling thread still holds is a failure, too, and one costs the process its
    /// brander. zgw::BranderMissing, zgw::BranderUnexpected.
    static bool obtainProductBrander(ZRpbr*& brander, UTL_String*& moduleName, bool& createdHere);
    /// Hands the brander to the caller, and the name of its module unless `moduleName` is null.
    void relinquishProductBrander(ZRpbr*& brander, UTL_String** moduleName);
    static void destroyProductBrander(ZRpbr*& brander, UTL_String** moduleName);

  protected:
    /// Bit 4 of `mask` frees the resources, bit 2 clears the codes and the last error. False for
    /// fewer than one of `passes`, which does nothing.
    bool setMemberVarsToDefaults(int passes, zmu::ulong32 mask);
    /// The level of self-diagnosis from the machine's settings, 0 to 10. A missing or too high
    /// value is replaced by 0 there. False, with level 0, when the settings cannot be used; the
    /// trace tells which of zgw::AssertivenessKeyNotOpened, zgw::AssertivenessUnusable,
    /// zgw::AssertivenessNotWritten and zgw::AssertivenessUnexpected it was, the codes of the class
    /// stay as they are.
    bool obtainAssertivenessLevel(Zarn_DX_MODE& mode);
    bool obtainLogDirectorySpecifier();
    /// Composes the path of a log that does not exist yet, and makes the file where that is
    /// possible.
    bool learnLogFileFQPath(UTL_String& path);
    bool learnLogFormFQPath(UTL_String& path);
    bool obtainLogTagValues();
    bool obtainLogTagValue(UTL_String& value, Zarn_FORM_TAG tag, wchar_t* buffer,
                           zmu::u64 capacity);

    /// The calling thread's codes.
    static int& code1();
    static zmu::ulong32& code2();

    bool m_productBranderIsOurs = false;         ///< This object has made the brander.
    bool m_resourceModuleExternalIsOurs = false; ///< This object has loaded the module.
    zmu::i64 m_ownerID;
    bool m_ownerStandalone;
    UTL_String* m_logDirectorySpecifier = nullptr;
    UTL_String* m_logFileFQPath = nullptr;
    Zarn_LOG m_logType;
    UTL_String* m_logTagValues = nullptr; ///< One for each tag.
    int m_logTagValuesQty = 0;
    ZRpbr* m_productBrander = nullptr;
    UTL_String* m_productBranderModuleName = nullptr;
    ZarnData* m_dataSet = nullptr;                ///< Under construction; null after the hand-over.
    HINSTANCE m_resourceModuleExternal = nullptr; ///< Holds the owner's response specs.

    /// Holds the library's own texts; set once.
    static std::atomic<HINSTANCE> m_resourceModuleInternal;

  private:
    bool freeResourceModuleExternal();
    void locateResourceModules(HINSTANCE internal);
    void tellResourceModuleInternal();
    void configureDataSet(const UTL_String& formPath);
    void requireOfDataSet(bool condition);
    void recordCaption();
    void recordTags();
    /// customizeForOwner, for which an exception is false.
    bool isCustomized();
    bool getLogTagValue(UTL_String& value, Zarn_FORM_TAG tag);
    void freeLogTagValues();
    bool obtainProductBrander();
    void destroyProductBrander();
    /// As the public form; `owners` is how many objects more hold the brander on success.
    static bool obtainProductBrander(ZRpbr*& brander, UTL_String*& moduleName, bool& createdHere,
                                     int owners);
    /// Gives up the brander; the result is to be destroyed. Under the branders' lock.
    ZRpbr* letGoOfBrander(bool mayDestroy);
    void leaveLogFileTo(Zarn& monitor);
    void removeUnusedLogFile();

    bool m_logFileIsOurs = false; ///< The log file was made here and is nobody else's yet.
};
