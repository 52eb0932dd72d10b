// The life of a log file: its name, opening and closing, its head and first tail, its replacement
// by a successor, its byte limit.
#include <zmu/monitor/ZarnData.h>

#include <zmu/foundation/WideBuffer.h>
#include <zmu/foundation/internal/FileNames.h>
#include <zmu/foundation/internal/Texts.h>
#include <zmu/log/internal/DirectoryTrace.h>
#include <zmu/log/internal/FormDevice.h>
#include <zmu/log/internal/LogDevice.h>
#include <zmu/log/internal/SectionPieces.h>
#include <zmu/monitor/Trace.h>
#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/ZarnDataForThread.h>
#include <zmu/monitor/internal/Guards.h>
#include <zmu/owner/ZarnDataZGW.h>
#include <zmu/platform/Clock.h>
#include <zmu/platform/Files.h>
#include <zmu/platform/Paths.h>
#include <zmu/platform/ProcessLock.h>
#include <zmu/platform/Win32.h>

#include <QTextStream>
#include <QThread>

#include <cwchar>
#include <cwctype>
#include <iterator>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

using namespace zmu;

namespace {

constexpr u64 limitMin = 1048576;  // 1 MiB
constexpr u64 limitMax = 78643200; // 75 MiB
constexpr int seriesNote = 10006;
constexpr int lossNote = 10014; ///< The same with the number of situations that no log has.

using SuccessorName = WideBuffer<1024>;
/// Room for a successor's name where the log does not come back by itself.
constexpr std::size_t successorQty = 260;

// The series of log files that the process writes, shared by all its data sets.
ProcessLock s_logSeriesLock;
wchar_t s_logSeriesOrigin[260 + 1] = {};
unsigned int s_logSeriesCount = 1;

/// The first name counts: it becomes the origin of the series.
void beginSeries(const wchar_t* name)
{
    const std::lock_guard lock(s_logSeriesLock);
    if (!*s_logSeriesOrigin && name)
        std::wcsncpy(s_logSeriesOrigin, name, std::size(s_logSeriesOrigin) - 1);
}

/// Number of the next file of the series.
unsigned int continueSeries()
{
    const std::lock_guard lock(s_logSeriesLock);
    return ++s_logSeriesCount;
}

bool isBlank(const wchar_t* text)
{
    while (std::iswspace(static_cast<std::wint_t>(*text)))
        ++text;
    return !*text;
}

/// Whether two names mean one file: by their text, or because both lead to it.
bool isSameFile(const wchar_t* left, const wchar_t* right)
{
    if (_wcsicmp(left, right) == 0)
        return true;
    return identityOf(left).isSameFile(identityOf(right));
}

/// Prepares for objects of Qt, whose constructors crash without memory: where it is short this
/// throws, and Qt knows the thread afterwards.
void prepareForQt()
{
    constexpr std::size_t enough = 65536; // for all of them
    std::make_unique<char[]>(enough);
    QThread::currentThread();
}

/// A stream that owns its device.
QTextStream* makeStream(std::unique_ptr<QIODevice> device)
{
    auto stream = std::make_unique<QTextStream>(device.get());
    static_cast<void>(device.release()); // freeStream deletes it through the stream
    return stream.release();
}

void freeStream(QTextStream*& stream)
{
    const std::unique_ptr<QIODevice> device(stream->device());
    delete std::exchange(stream, nullptr);
}

QTextStream* openFormStream(const wchar_t* name)
{
    prepareForQt();
    auto device = std::make_unique<FormDevice>();
    require(device->openPath(name), dx::FileNotOpened);
    return makeStream(std::move(device));
}

/// Tells why a log could not be opened, if its directory is the reason.
void traceDirectoryOf(const wchar_t* name)
{
    WideBuffer<1024> directory;
    directory.assign(name);
    std::size_t length = directory.length();
    while (length > 0 && !isPathSeparator(directory.c_str()[length - 1]))
        --length;
    // With a separator behind it a file would seem to be missing; a root needs its own.
    if (length > 1 && directory.c_str()[length - 2] != L':')
        --length;
    directory.inPlace()[length] = L'\0';
    traceDirectory(L"ZarnData::openFile ()", length > 0 ? directory.c_str() : L".");
}

/// Composes a fresh name as an owner does, one that lives for no longer. What its constructor
/// raised is left in `ownerCode`.
void nameSuccessor(SuccessorName& name, std::size_t room, HMODULE self, HMODULE program,
                   Zarn_LOG kind, int& ownerCode)
{
    std::unique_ptr<ZarnDataZGW> owner;
    try {
        owner = std::make_unique<ZarnDataZGW>(0, true, self, program, kind);
    } catch (int code) {
        ownerCode = code;
    }
    require(owner != nullptr, dx::SuccessorOwnerMissing);
    owner->getLogFileFQPath(name.writable(), room);
}

} // namespace

// ---- Names -----------------------------------------------------------------------------------------------

bool ZarnData::isValidLogFileNomenclature(const wchar_t* logName, const wchar_t* formName,
                                          Zarn_LOG kind, int /*charSet*/, int& dxCode)
{
    const bool isNative = isInstantiatorRunningNatively();
    dxCode = dx::Satisfied;
    if (kind == Zarn_LOG_UNSET)
        dxCode = dx::LogKindRefused;
    else if (!logName)
        dxCode = dx::LogNameMissing;
    else if (isNative && !*logName)
        dxCode = dx::LogNameBlank;
    else if (!isEmpty(formName) && (isNative || *logName) && isSameFile(logName, formName))
        dxCode = dx::LogNameIsFormName;
    return dxCode == dx::Satisfied;
}

bool ZarnData::isValidLogFileNomenclature(const char* logName, const char* formName, Zarn_LOG kind,
                                          int charSet, int& dxCode)
{
    UTL_String log(logName);
    UTL_String form(formName);
    return isValidLogFileNomenclature(logName ? log.wideText() : nullptr,
                                      formName ? form.wideText() : nullptr, kind, charSet, dxCode);
}

bool ZarnData::isValidLogFileNomenclature(ZarnDataFile& file)
{
    int dxCode = dx::Satisfied;
    return isValidLogFileNomenclature(file.m_logName, file.m_formName, file.m_logKind,
                                      ZARN_CHARSET_WIDE, dxCode);
}

bool ZarnData::recordLogFileNomenclature(wchar_t* logName, const wchar_t* formName, Zarn_LOG kind)
{
    setSelfDX_Code(dx::Satisfied);
    runGuarded(*this, dx::RecordNomenclatureUnexpected, [&] {
        int dxCode = dx::Satisfied;
        if (!isValidLogFileNomenclature(logName, formName, kind, m_charSetExternal, dxCode))
            throw dxCode;
        storeNomenclature(logName, formName, kind);
    });
    return isSelfSatisfied();
}

bool ZarnData::recordLogFileNomenclature(char* logName, const char* formName, Zarn_LOG kind)
{
    setSelfDX_Code(dx::Satisfied);
    runGuarded(*this, dx::RecordNomenclatureUnexpected, [&] {
        int dxCode = dx::Satisfied;
        if (!isValidLogFileNomenclature(logName, formName, kind, m_charSetExternal, dxCode))
            throw dxCode;
        UTL_String log(logName);
        UTL_String form(formName);
        storeNomenclature(log.wideText(), formName ? form.wideText() : nullptr, kind);
    });
    return isSelfSatisfied();
}

void ZarnData::storeNomenclature(const wchar_t* logName, const wchar_t* formName, Zarn_LOG kind)
{
    require(duplicate_String(&m_fileLog.m_logName, logName, true), dx::LogNameNotStored);
    require(duplicate_String(&m_fileLog.m_formName, formName, true), dx::FormNameNotStored);
    require(kind == Zarn_LOG_HTML, dx::LogKindRefused);
    m_fileLog.m_logKind = kind;
}

bool ZarnData::getFileLogName(wchar_t* buffer, std::size_t size)
{
    SectionGuard section(*this);
    runGuarded(*this, dx::GetFileLogNameUnexpected, [&] {
        requireOrRaiseHeld(isSelfApproving(), *this);
        section.requireEntered();
        require(buffer, dx::GetFileLogNameNoBuffer);
        if (size > 0)
            buffer[0] = L'\0';
        require(m_fileLog.m_logStream, dx::GetFileLogNameNotOpen);
        require(!isEmpty(m_fileLog.m_logName), dx::GetFileLogNameNone);
        const std::size_t length = std::wcslen(m_fileLog.m_logName);
        require(length < size, dx::GetFileLogNameTooSmall);
        std::wmemset(buffer, L'\0', size);
        std::wmemcpy(buffer, m_fileLog.m_logName, length);
    });
    if (!isSelfSatisfied() && buffer && size > 0)
        buffer[0] = L'\0';
    return section.leaveAnswering();
}

// ---- Opening and closing ---------------------------------------------------------------------------------

bool ZarnData::openFile(wchar_t** nameSlot, QTextStream** streamSlot, wchar_t* name, int openMode)
{
    bool madeName = false;
    bool isOpened = false; // the code is anybody's to forget
    QTextStream* stream = nullptr;
    runGuarded(*this, dx::OpenFileUnexpected, [&] {
        requireOrRaiseHeld(isSelfApproving(), *this);
        require(nameSlot && streamSlot && !*streamSlot && !isEmpty(name), dx::OpenFileArguments);
        if (*nameSlot != name) {
            require(duplicate_String(nameSlot, name, true), dx::OpenFileNoMemory);
            madeName = true;
        }

        const QIODevice::OpenMode mode(openMode);
        stream = mode & QIODevice::WriteOnly ? openLogStream(*nameSlot) : openFormStream(*nameSlot);
        stream->setGenerateByteOrderMark(true);
        stream->setAutoDetectUnicode(true);
        *streamSlot = stream;
        isOpened = true;
    });
    if (isOpened)
        return true;

    Zarn_TRACE(L"ZarnData::openFile () caught exception #%d", getSelfDX_Code());
    if (!isEmpty(name))
        Zarn_TRACE(L" when trying to open file %ls", name);
    Zarn_TRACE(L".\n");
    if ((openMode & QIODevice::WriteOnly) && getSelfDX_Code() == dx::FileNotOpened)
        traceDirectoryOf(name);
    if (stream) {
        if (!closeFile(stream, *nameSlot))
            Zarn_TRACE(L"ZarnData::openFile () failed during error recovery mode operations to "
                       L"close the file it opened.\n");
        *streamSlot = nullptr;
    }
    if (madeName)
        delete[] std::exchange(*nameSlot, nullptr);
    return false;
}

QTextStream* ZarnData::openLogStream(const wchar_t* name)
{
    if (!m_spareLogStream) {
        prepareForQt();
        m_spareLogStream = makeStream(std::make_unique<LogDevice>());
    }
    auto* const device = static_cast<LogDevice*>(m_spareLogStream->device());
    require(device->openPath(name), dx::FileNotOpened);
    m_spareLogStream->seek(0);
    m_spareLogStream->resetStatus();
    m_spareLogStream->setEncoding(QStringConverter::Utf8);
    return std::exchange(m_spareLogStream, nullptr);
}

bool ZarnData::openLogFile(wchar_t* name)
{
    if (!isInstantiatorRunningNatively())
        return false;
    resetLogCounters();
    m_logDevice = nullptr;
    if (!escapeLogName(name)) {
        setSelfDX_Code(dx::OpenFileNoMemory);
        return false;
    }
    if (!openFile(&m_fileLog.m_logName, &m_fileLog.m_logStream, name, QIODevice::ReadWrite))
        return false;
    if (m_fileLog.m_logStream)
        m_logDevice = dynamic_cast<LogDevice*>(m_fileLog.m_logStream->device());
    if (!m_entryPieces)
        m_entryPieces = new (std::nothrow) EntryPieces; // without them the formatter does it all
    return true;
}

void ZarnData::resetLogCounters()
{
    m_situationsCount = 0;
    m_situationsQty = 0;
    m_fileLog.m_logByteCount = 0;
    m_fileLog.m_tailPosition = 0;
    m_fileLog.m_tailCountsBytes = true;
}

LogDevice* ZarnData::getLogDevice() const
{
    // The stream is anybody's to replace.
    const QTextStream* stream = m_fileLog.m_logStream;
    return stream && stream->device() == m_logDevice ? m_logDevice : nullptr;
}

bool ZarnData::closeFile(QTextStream*& stream, const wchar_t* /*name*/)
{
    try {
        if (!stream)
            return true;
        auto* const log = dynamic_cast<LogDevice*>(stream->device());
        if (log && !m_spareLogStream) {
            log->closePath();
            m_spareLogStream = std::exchange(stream, nullptr);
        } else {
            freeStream(stream);
        }
        return true;
    } catch (...) {
        return false;
    }
}

SectionPieces* ZarnData::obtainPieces(const wchar_t* format, int varCount) const
{
    SectionPieces* pieces = nullptr;
    if (m_entryPieces && format == m_fileLog.m_bodyFormat)
        pieces = &m_entryPieces->body;
    else if (m_entryPieces && format == m_fileLog.m_tailFormat)
        pieces = &m_entryPieces->tail;
    return pieces && format && pieces->areOf(format, varCount) ? pieces : nullptr;
}

void ZarnData::freeLogSpares()
{
    delete std::exchange(m_entryPieces, nullptr);
    if (m_spareLogStream)
        freeStream(m_spareLogStream);
}

bool ZarnData::closeLogFile()
{
    return isInstantiatorRunningNatively() && closeFile(m_fileLog.m_logStream, m_fileLog.m_logName);
}

// ---- Establishing ----------------------------------------------------------------------------------------

bool ZarnData::establishLogFile(bool learnForm)
{
    SectionGuard section(*this);
    const bool isNative = isInstantiatorRunningNatively();
    runGuarded(*this, dx::EstablishUnexpected, [&] {
        if (!m_initialized)
            requireOrRaiseHeld(initialize(), *this);
        requireOrRaiseHeld(isSelfApproving(), *this);
        section.requireEntered();
        if (learnForm)
            requireOrRaiseHeld(obtainLogFileFormData(isNative ? SECTIONS_ALL : SECTION_BODY),
                               *this);
        if (!isNative) {
            m_safeToAllocateMemory = false;
            return;
        }
        requireOrRaiseHeld(openLogFile(m_fileLog.m_logName), *this);
        watchNewLog();
        if (!m_fileLog.m_headFormat)
            return; // the file stays empty until its first entry
        ZarnDataForThread* engine = obtainDataForCurrentThread(true);
        require(engine, dx::EstablishNoEngine);
        learnFormExtras();
        requireOrRaiseHeld(writeBeginning(*engine), *this);
        watchNewLog();
    });
    if (!isSelfSatisfied()) {
        if (isNative && !closeLogFile())
            m_fileLog.m_logStream = nullptr;
        Zarn_TRACE(L"ZarnData::establishLogFile (%ls) caught exception #%d.\n",
                   learnForm ? L"true" : L"false", getSelfDX_Code());
    }
    return section.leaveAnswering();
}

/// Mark, head and first tail, in one write. `headSucceeded`: what failed, if anything, is the tail.
bool ZarnData::tryBeginning(ZarnDataForThread& engine, bool& headSucceeded)
{
    resetLogCounters();
    LogDevice* const device = getLogDevice();
    const bool wasEmpty = device && device->size() == 0;
    if (device)
        device->hold();
    m_safeToAllocateMemory = true;
    headSucceeded = engine.logFormSectionHead();
    m_safeToAllocateMemory = false;
    bool succeeded = headSucceeded && engine.logFormSectionTail();
    if (!device)
        return succeeded;
    if (!succeeded) {
        device->drop();
    } else if (!device->release()) {
        headSucceeded = succeeded = false;
        engine.setSelfDX_Code(dx::LogSectionUnexpected);
    }
    if (!succeeded && wasEmpty)
        device->resize(0); // part of a head is nothing to read
    return succeeded;
}

bool ZarnData::writeBeginning(ZarnDataForThread& engine)
{
    bool headSucceeded = false;
    if (tryBeginning(engine, headSucceeded) || headSucceeded)
        return isSelfSatisfied();
    freeLogFileFormSectionHeadData();
    if (m_fileLog.m_formIsBuiltIn)
        return isSelfSatisfied();
    m_formMistake = {}; // it was learned without one
    traceFormDismissed();
    forgetSelfDX_Code();
    if (!supplantLogFileFormFromResDLL(SECTIONS_ALL) ||
        (!tryBeginning(engine, headSucceeded) && !headSucceeded))
        freeLogFileFormSectionHeadData();
    return isSelfSatisfied();
}

// ---- Replacing -------------------------------------------------------------------------------------------

bool ZarnData::reestablishLogFile(const bool& force)
{
    SectionGuard section(*this);
    int namingCode = 0;
    runGuarded(*this, dx::ReestablishUnexpected, [&] {
        requireOrRaiseHeld(isSelfApproving(), *this);
        require(isInstantiatorRunningNatively(), dx::ReestablishNotNative);
        section.requireEntered();
        if (force && m_fileLog.m_logStream && m_fileLog.m_logByteCount >= m_logFileByteCountLimit)
            return;
        SuccessorName successor;
        nameSuccessor(successor, m_logWatch.isOn ? successor.capacity : successorQty,
                      m_selfResourceModule, m_resModuleBootstrap, m_fileLog.m_logKind, namingCode);
        require(!successor.isEmpty(), dx::SuccessorNameMissing);
        reestablishLogFile(successor.inPlace(), m_fileLog.m_formName, m_fileLog.m_logKind);
        const bool isInUse =
            m_fileLog.m_logStream && std::wcscmp(m_fileLog.m_logName, successor.c_str()) == 0;
        if (!isSelfSatisfied() && !isInUse)
            removeIfEmpty(successor.c_str()); // the name was taken by making the file
    });
    if (!isSelfSatisfied()) {
        m_logWatch.failTime = steadyMilliseconds();
        Zarn_TRACE(L"ZarnData::reestablishLogFile () [2] caught exception #%d/%d.\n",
                   getSelfDX_Code(), namingCode);
    }
    return section.leaveAnswering();
}

bool ZarnData::reestablishLogFile(wchar_t* logName, wchar_t* formName, Zarn_LOG kind)
{
    SectionGuard section(*this);
    runGuarded(*this, dx::ReestablishUnexpected, [&] {
        requireOrRaiseHeld(isSelfApproving(), *this);
        require(isInstantiatorRunningNatively(), dx::ReestablishNotNative);
        section.requireEntered();
        beginSeries(m_fileLog.m_logName);
        require(logName, dx::LogNameMissing);
        require(!isBlank(logName), dx::LogNameBlank);
        const wchar_t* effectiveForm = formName ? formName : m_fileLog.m_formName;
        require(!effectiveForm || !isSameFile(effectiveForm, logName), dx::LogNameIsFormName);
        leaveLogOfParent();
        linkSuccessor(logName);
        require(closeLogFile(), dx::OldLogNotClosed);

        if (!m_fileLog.m_logName || _wcsicmp(m_fileLog.m_logName, logName) != 0)
            require(duplicate_String(&m_fileLog.m_logName, logName, true), dx::LogNameNotStored);
        const bool formChanged = swapFormName(formName);
        if (kind != Zarn_LOG_UNSET)
            m_fileLog.m_logKind = kind;

        // A head that could not be written is gone, and comes back from the form.
        const bool isHeadGone = m_logWatch.isOn && !m_fileLog.m_headFormat;
        if (isHeadGone && m_fileLog.m_formStream)
            closeFile(m_fileLog.m_formStream, m_fileLog.m_formName);
        requireOrRaiseHeld(establishLogFile(formChanged || isHeadGone), *this);
        noteSeries(continueSeries());
    });
    if (!isSelfSatisfied())
        Zarn_TRACE(L"ZarnData::reestablishLogFile () [1] caught exception #%d.\n",
                   getSelfDX_Code());
    const bool succeeded = isSelfSatisfied();
    if (section.leave())
        return succeeded;
    Zarn_TRACE(L"ZarnData::reestablishLogFile () [1] failed to leave critical section.\n");
    return false;
}

bool ZarnData::swapFormName(const wchar_t* formName)
{
    wchar_t*& stored = m_fileLog.m_formName;
    const bool isGiven = !isEmpty(formName);
    const bool hasChanged =
        isGiven != (stored != nullptr) || (isGiven && _wcsicmp(stored, formName) != 0);
    if (hasChanged) {
        wchar_t* copy = nullptr;
        if (isGiven)
            duplicate_String(&copy, formName, false); // failing that, the built-in form stands in
        delete[] std::exchange(stored, copy);
    }
    return hasChanged;
}

void ZarnData::noteSeries(unsigned int number)
{
    if (!m_owner || !m_selfResourceModule)
        return;
    // The situation in hand keeps its engine; the note has one of its own.
    ZarnDataForThread* kept = obtainDataForCurrentThread(false);
    const std::unique_ptr<ZarnDataForThread> noting(kept ? m_engineFactory() : nullptr);
    if (kept) {
        require(noting && noting->initialize(this), dx::NoEngine);
        m_mapOfDataForThreads->add(GetCurrentThreadId(), noting.get());
    }

    m_isNotingSeries = true;
    void* previous = setResourceModule(m_selfResourceModule);
    const ulong32 lost = m_logWatch.lost;
    const bool wasAsked =
        lost > 0 ? m_owner->respondToSituation(lossNote, nullptr, number, s_logSeriesOrigin, lost)
                 : m_owner->respondToSituation(seriesNote, nullptr, number, s_logSeriesOrigin);
    if (!wasAsked)
        m_owner->forgetSituation();
    else if (isSelfSatisfied())
        m_logWatch.lost -= lost;
    setResourceModule(previous);
    m_isNotingSeries = false;

    if (kept) {
        m_mapOfDataForThreads->add(GetCurrentThreadId(), kept);
        if (kept->isSelfSatisfied())
            kept->setSelfDX_Code(noting->getSelfDX_Code());
    }
}

// ---- The limit -------------------------------------------------------------------------------------------

bool ZarnData::setLogFileByteCountLimit(u64 limit, u64& previous)
{
    SectionGuard section(*this);
    runGuarded(*this, dx::SetLimitUnexpected, [&] {
        requireOrRaiseHeld(isSelfApproving(), *this);
        section.requireEntered();
        require(isInstantiatorRunningNatively(), dx::SetLimitNotNative);
        require(limit <= limitMax, dx::LimitTooHigh);
        require(limit >= limitMin, dx::LimitTooLow);
        previous = std::exchange(m_logFileByteCountLimit, limit);
        if (m_fileLog.m_logStream && m_fileLog.m_logByteCount >= limit &&
            !reestablishLogFile(false)) {
            m_logFileByteCountLimit = previous;
            forgetSelfDX_Code();
            throw int{dx::SetLimitReplacementFailed};
        }
    });
    if (!isSelfSatisfied()) {
        Zarn_TRACE(L"ZarnData::setLogFileByteCountLimit () caught exception #%d.\n",
                   getSelfDX_Code());
        previous = 0;
    }
    return section.leaveAnswering();
}
