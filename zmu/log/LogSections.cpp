// The engine writes head, entries and tail into the log file.
//
// An entry goes over the present tail and is followed by a fresh one, so that the file is a whole
// document between any two situations. Entries are written without buffers of the engine's own
// making; only a head allocates.
#include <zmu/monitor/ZarnDataForThread.h>

#include <zmu/foundation/internal/Texts.h>
#include <zmu/foundation/internal/Utf16.h>
#include <zmu/log/internal/FormVariable.h>
#include <zmu/log/internal/LogDevice.h>
#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/ZarnData.h>
#include <zmu/monitor/internal/Guards.h>
#include <zmu/platform/Files.h>
#include <zmu/platform/Win32.h>

#include <QFile>
#include <QTextStream>

#include <algorithm>
#include <climits>
#include <cwchar>
#include <limits>
#include <memory>

using namespace zmu;

namespace {

constexpr u64 byteCountMax = std::numeric_limits<u64>::max();

/// A write that did not reach the file: an unexpected failure of the operation that made it.
struct WriteFailed {};

/// The texts that injectors give to one section, and the arguments they went to.
class InjectedTexts {
  public:
    /// Reads what the streams hold; a stream that cannot be read gives no text.
    void read(QTextStream** streams)
    {
        for (int i = 0; i < injectorsQty; ++i) {
            if (!streams[i])
                continue;
            try {
                streams[i]->seek(0);
                const std::wstring text = streams[i]->readAll().toStdWString();
                auto copy = std::make_unique<wchar_t[]>(text.size() + 1);
                text.copy(copy.get(), text.size());
                m_texts[i] = std::move(copy);
            } catch (...) {
                m_texts[i].reset();
            }
        }
    }

    /// The text of injector `i` for argument `argument`; empty if it has none.
    const wchar_t* assign(int i, int argument)
    {
        m_arguments[i] = argument;
        if (!m_texts[i])
            return L"";
        ++m_outstanding;
        return m_texts[i].get();
    }

    bool isAnyOutstanding() const { return m_outstanding >= 1; }

    /// Gives up the last text that is left; the argument it was assigned to, -1 for none. Injectors
    /// 1 and 2 count as assigned to argument 0 until they are.
    int giveUpOne()
    {
        for (int i = injectorsQty - 1; i >= 0; --i) {
            if (m_arguments[i] == -1)
                continue;
            m_texts[i].reset();
            --m_outstanding;
            return std::exchange(m_arguments[i], -1);
        }
        return -1;
    }

  private:
    std::unique_ptr<wchar_t[]> m_texts[injectorsQty];
    int m_arguments[injectorsQty] = {-1, 0, 0};
    int m_outstanding = 0;
};

/// The formatted text of a section: in a fixed buffer, or in one that the formatter allocated.
class SectionText {
  public:
    SectionText() = default;
    ~SectionText() { LocalFree(m_allocated); }
    SectionText(const SectionText&) = delete;
    SectionText& operator=(const SectionText&) = delete;

    bool formatInto(ZarnScratchpad::Buffer& buffer, const wchar_t* format, u64* values)
    {
        buffer.clear();
        wchar_t* const output = buffer.writable();
        m_text = output;
        m_length =
            Zarn::formatMessage(flags, format, output, static_cast<int>(buffer.capacity), values);
        if (m_length > 0)
            buffer.setUsed(m_length);
        return m_length > 0;
    }

    bool formatAllocated(const wchar_t* format, u64* values, int size)
    {
        LocalFree(m_allocated);
        m_allocated = nullptr;
        m_length = Zarn::formatMessage(flags | FORMAT_MESSAGE_ALLOCATE_BUFFER, format,
                                       reinterpret_cast<wchar_t*>(&m_allocated), size, values);
        // A system may allocate more than it was asked for: the limit is kept here.
        if (m_length >= static_cast<ulong32>(size)) {
            SetLastError(ERROR_INSUFFICIENT_BUFFER);
            m_length = 0;
        }
        m_text = m_allocated;
        return m_length > 0;
    }

    const wchar_t* text() const { return m_text; }
    ulong32 length() const { return m_length; }

  private:
    static constexpr ulong32 flags = FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY;

    const wchar_t* m_text = nullptr;
    ulong32 m_length = 0;
    wchar_t* m_allocated = nullptr;
};

/// The local time of a section, taken when its first variable asks, so that all of them agree.
class SectionTime {
  public:
    u64 part(Zarn_FORM_VAR var)
    {
        if (m_now.wYear == 0)
            GetLocalTime(&m_now);
        switch (var) {
        case Zarn_FORM_VAR_YEAR:
            return m_now.wYear;
        case Zarn_FORM_VAR_MONTH:
            return m_now.wMonth;
        case Zarn_FORM_VAR_DAY:
            return m_now.wDay;
        case Zarn_FORM_VAR_HOURS:
            return m_now.wHour;
        case Zarn_FORM_VAR_MINUTES:
            return m_now.wMinute;
        case Zarn_FORM_VAR_SECONDS:
            return m_now.wSecond;
        default:
            return m_now.wMilliseconds;
        }
    }

  private:
    SYSTEMTIME m_now = {};
};

u64 textSlot(const wchar_t* text)
{
    return reinterpret_cast<std::uintptr_t>(text ? text : L"");
}

void advance(int& position, u64 bytes)
{
    const u64 room = static_cast<u64>(INT_MAX - position);
    position += static_cast<int>(std::min(bytes, room));
}

void addSaturating(u64& count, u64 bytes)
{
    count += std::min(bytes, byteCountMax - count);
}

/// The log's file, null if it is none that the library opened.
LogDevice* deviceOf(const ZarnDataFile* file)
{
    return file && file->m_logStream ? dynamic_cast<LogDevice*>(file->m_logStream->device())
                                     : nullptr;
}

/// A stream on a text has no device, and is no log.
bool isOpen(const QTextStream* stream)
{
    return stream && stream->device();
}

bool isTimeVariable(Zarn_FORM_VAR var)
{
    switch (var) {
    case Zarn_FORM_VAR_YEAR:
    case Zarn_FORM_VAR_MONTH:
    case Zarn_FORM_VAR_DAY:
    case Zarn_FORM_VAR_HOURS:
    case Zarn_FORM_VAR_MINUTES:
    case Zarn_FORM_VAR_SECONDS:
    case Zarn_FORM_VAR_MILLISECONDS:
        return true;
    default:
        return false;
    }
}

/// The row that stands in for an injected text that was given up; empty if it cannot be loaded.
const wchar_t* loadDiscardedRow(HMODULE module, ZarnScratchpad::Buffer& row)
{
    constexpr unsigned int discardedRow = 10034;
    try {
        row.assign(UTL_String(module, discardedRow, row.capacity).wideText());
    } catch (...) {
        row.clear();
    }
    return row.c_str();
}

/// Formats with a growing buffer. A text that does not even fit the largest gives up its injected
/// texts, one at a time.
void formatGrowing(SectionText& text, const wchar_t* format, u64* values, InjectedTexts& injected,
                   HMODULE module, ZarnScratchpad::Buffer& row)
{
    constexpr int sizeMin = 65536;
    constexpr int sizeMax = 524288;

    int size = sizeMin;
    while (!text.formatAllocated(format, values, size)) {
        if (size < sizeMax) {
            size *= 2;
        } else {
            require(injected.isAnyOutstanding(), dx::SectionNotFormatted);
            const int argument = injected.giveUpOne();
            require(argument >= 0, dx::SectionNotFormatted);
            values[argument] =
                textSlot(row.isEmpty() ? loadDiscardedRow(module, row) : row.c_str());
            size = sizeMin;
        }
        SetLastError(ERROR_SUCCESS);
    }
    require(text.text(), dx::SectionNoBuffer);
}

/// Writes to the log's stream, all of the text or a failure, in a file of at most `limit` bytes.
/// Returns the bytes written.
u64 writeText(QTextStream& stream, const wchar_t* text, std::size_t length, u64 limit)
{
    constexpr std::size_t unitsQty = ZarnScratchpad::Buffer::capacity * utf16UnitsMax;
    char16_t entryUnits[unitsQty];
    std::unique_ptr<char16_t[]> headUnits;
    char16_t* units = entryUnits;
    if (length * utf16UnitsMax > unitsQty) {
        headUnits = std::make_unique<char16_t[]>(length * utf16UnitsMax);
        units = headUnits.get();
    }

    const std::size_t unitsCount = toUtf16(text, length, units);
    QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char*>(units),
                                               static_cast<qsizetype>(unitsCount * sizeof *units));
    // A log without a head has not been given its encoding.
    if (stream.encoding() != QStringConverter::Utf16)
        bytes = QString(reinterpret_cast<const QChar*>(units), static_cast<qsizetype>(unitsCount))
                    .toUtf8();

    // The device and not the stream, which would copy and encode the text once more.
    QIODevice& device = *stream.device();
    if (static_cast<u64>(device.pos() + bytes.size()) > limit)
        throw WriteFailed{};
    auto* file = qobject_cast<QFileDevice*>(&device);
    const bool isBuffered = file && !(file->openMode() & QIODevice::Unbuffered);
    if (device.write(bytes.constData(), bytes.size()) != bytes.size() ||
        (isBuffered && !file->flush())) {
        if (file)
            file->unsetError(); // or the next write would not even be tried
        throw WriteFailed{};
    }
    return static_cast<u64>(bytes.size());
}

} // namespace

// ---- One section -----------------------------------------------------------------------------------------

ZarnDataFile& ZarnDataForThread::requireLog(bool sectionEntered, int notNative)
{
    requireApproval();
    require(m_dataSet->isInstantiatorRunningNatively(), notNative);
    require(sectionEntered, dx::LockRefused);
    ZarnDataFile* file = m_dataSet->getFileLog();
    require(file, dx::NoFileLog);
    return *file;
}

bool ZarnDataForThread::logFormSection(wchar_t* format, int varCount, Zarn_FORM_VAR* vars,
                                       u64* values, u64& bytesWritten, bool countBytes)
{
    SectionGuard section(*this);
    bytesWritten = 0;
    SetLastError(ERROR_SUCCESS);
    runGuarded(*this, dx::LogSectionUnexpected, [&] {
        ZarnDataFile& file = requireLog(section.wasEntered(), dx::SectionNotNative);
        if (isEmpty(format)) {
            require(!varCount && !vars && !values, dx::SectionFormatMissing);
            return;
        }
        require(isOpen(file.m_logStream), dx::LogNotOpen);

        const bool mayAllocate = m_dataSet->isSafeToAllocateMemory();
        InjectedTexts injected;
        if (file.m_injectorStreams && mayAllocate)
            injected.read(file.m_injectorStreams);

        SectionTime time;
        bool isEntry = false;
        for (int i = 0; i < varCount; ++i) {
            const Zarn_FORM_VAR var = vars[i];
            if (var >= Zarn_FORM_VAR_SYS_INFO_ENV_APP && var <= Zarn_FORM_VAR_SYS_INFO_VARS_ENV)
                values[i] = textSlot(injected.assign(var - Zarn_FORM_VAR_SYS_INFO_ENV_APP, i));
            else if (isTimeVariable(var))
                values[i] = time.part(var);
            else
                values[i] = sectionValue(file, var);
            isEntry = isEntry || var == Zarn_FORM_VAR_ENTRY_ID;
        }

        SectionText text;
        if (!mayAllocate)
            require(text.formatInto(m_scratchpad.m_a, format, values), dx::SectionNotFormatted);
        else
            formatGrowing(text, format, values, injected, m_dataSet->getSelfResourceModule(),
                          m_scratchpad.m_b);

        if (wcsnlen(text.text(), text.length()) != text.length())
            setSelfDX_Code(dx::SectionLengthDisagrees);
        else
            bytesWritten = writeText(*file.m_logStream, text.text(), text.length(),
                                     m_fileSizeLimit ? m_fileSizeLimit : fileSizeLimit());
        if (countBytes)
            addSaturating(file.m_logByteCount, bytesWritten);
        if (isEntry)
            m_dataSet->incrementSituationsCount(1);
    });
    m_scratchpad.clear();
    if (!isSelfSatisfied())
        bytesWritten = 0;
    section.leave();
    return isSelfSatisfied();
}

u64 ZarnDataForThread::sectionValue(const ZarnDataFile& file, Zarn_FORM_VAR var) const
{
    require(var >= 0 && var < formVariablesQty, dx::SectionVarUnknown);
    const int tag = formVariables[var].tag;
    if (tag >= 0)
        return textSlot(m_dataSet->getTag(static_cast<Zarn_FORM_TAG>(tag)));

    const ulong32 count = m_dataSet->getSituationsCount();
    switch (var) {
    case Zarn_FORM_VAR_ENTRY_COLOR:
        return count % 2 ? file.m_entryColorOdd : file.m_entryColorEven;
    case Zarn_FORM_VAR_ENTRY_ID:
        return u64{count} + 1;
    case Zarn_FORM_VAR_LOGFILE_NAME:
        return textSlot(file.m_logName);
    case Zarn_FORM_VAR_PROCESS_ID:
        return GetCurrentProcessId();
    case Zarn_FORM_VAR_SITUATION_DSCRP:
        return textSlot(m_descriptionForLogFile.c_str());
    case Zarn_FORM_VAR_SITUATION_ID:
        return toArgumentSlot(m_situationID_Remote ? m_situationID_Remote : m_situationID);
    default:
        throw int{dx::SectionVarUnknown};
    }
}

// ---- Head, entry, tail -----------------------------------------------------------------------------------

bool ZarnDataForThread::logFormSectionHead()
{
    SectionGuard section(*this);
    runGuarded(*this, dx::LogHeadUnexpected, [&] {
        ZarnDataFile& file = requireLog(section.wasEntered(), dx::HeadNotNative);
        if (isEmpty(file.m_headFormat)) {
            require(!file.m_headVarCount && !file.m_headVars && !file.m_headValues,
                    dx::HeadFormatMissing);
            return;
        }
        require(isOpen(file.m_logStream), dx::LogNotOpen);
        require(file.m_tailPosition <= 0, dx::HeadNotAtStart);
        QTextStream& stream = *file.m_logStream;
        require(stream.seek(file.m_tailPosition), dx::HeadSeekFailed);

        // The mark is written by hand, whatever the stream would add.
        stream.setAutoDetectUnicode(false);
        stream.setEncoding(QStringConverter::Utf16);
        m_fileSizeLimit = fileSizeLimit();
        const u64 markBytes = writeText(stream, L"\xFEFF", 1, m_fileSizeLimit);
        file.m_logByteCount += markBytes;

        u64 bytesWritten = 0;
        requireOrRaiseHeld(logFormSection(file.m_headFormat, file.m_headVarCount, file.m_headVars,
                                          file.m_headValues, bytesWritten, true),
                           *this);
        advance(file.m_tailPosition, markBytes + bytesWritten);
    });
    section.leave();
    return isSelfSatisfied();
}

bool ZarnDataForThread::logFormSectionBody()
{
    SectionGuard section(*this);
    runGuarded(*this, dx::LogBodyUnexpected, [&] {
        ZarnDataFile& file = requireLog(section.wasEntered(), dx::BodyNotNative);
        if (isEmpty(file.m_bodyFormat)) {
            require(!file.m_bodyVarCount && !file.m_bodyVars && !file.m_bodyValues,
                    dx::BodyFormatMissing);
            return;
        }
        require(isOpen(file.m_logStream), dx::LogNotOpen);
        require(file.m_tailPosition >= 0, dx::BodyPositionNegative);
        require(file.m_logStream->seek(file.m_tailPosition), dx::BodySeekFailed);
        m_fileSizeLimit = fileSizeLimit(); // for the tail as well

        u64 bytesWritten = 0;
        requireOrRaiseHeld(logFormSection(file.m_bodyFormat, file.m_bodyVarCount, file.m_bodyVars,
                                          file.m_bodyValues, bytesWritten, true),
                           *this);
        advance(file.m_tailPosition, bytesWritten);
    });
    section.leave();
    return isSelfSatisfied();
}

bool ZarnDataForThread::logFormSectionTail()
{
    SectionGuard section(*this);
    runGuarded(*this, dx::LogTailUnexpected, [&] {
        ZarnDataFile& file = requireLog(section.wasEntered(), dx::TailNotNative);
        if (isEmpty(file.m_tailFormat)) {
            require(!file.m_tailVarCount && !file.m_tailVars && !file.m_tailValues,
                    dx::TailFormatMissing);
            return;
        }
        require(isOpen(file.m_logStream), dx::LogNotOpen);

        u64 bytesWritten = 0;
        requireOrRaiseHeld(logFormSection(file.m_tailFormat, file.m_tailVarCount, file.m_tailVars,
                                          file.m_tailValues, bytesWritten, file.m_tailCountsBytes),
                           *this);
        file.m_tailCountsBytes = false;
        if (file.m_tailHasEntryId)
            m_dataSet->decrementSituationsCount(1); // a tail is no entry
    });
    m_fileSizeLimit = 0; // the next entry asks anew
    section.leave();
    return isSelfSatisfied();
}

// ---- An entry and its tail, or neither -------------------------------------------------------------------

ZarnDataForThread::LogMark ZarnDataForThread::beginEntry()
{
    const ZarnDataFile* file = m_dataSet->getFileLog();
    if (LogDevice* device = deviceOf(file))
        device->hold();
    return {file ? file->m_logByteCount : 0, file ? file->m_tailPosition : 0,
            file && file->m_tailCountsBytes, m_dataSet->getSituationsCount()};
}

bool ZarnDataForThread::finishEntry()
{
    LogDevice* device = deviceOf(m_dataSet->getFileLog());
    if (device && !device->release())
        setSelfDX_Code(dx::LogSectionUnexpected); // which is where the write was to be made
    return isSelfSatisfied();
}

void ZarnDataForThread::takeEntryBack(const LogMark& mark)
{
    ZarnDataFile* file = m_dataSet->getFileLog();
    if (!file || !file->m_logStream)
        return;
    LogDevice* held = deviceOf(file);
    const bool isIntact = held && held->drop();
    const int code = getSelfDX_Code();
    if (!isIntact && code != dx::LogSectionUnexpected && file->m_tailPosition == mark.tailPosition)
        return; // nothing was written
    forgetSelfDX_Code();

    const ulong32 counted = m_dataSet->getSituationsCount();
    if (counted > mark.situationsCount)
        m_dataSet->decrementSituationsCount(counted - mark.situationsCount);
    file->m_tailPosition = mark.tailPosition;
    if (!isIntact)
        rewriteTail(*file);
    file->m_tailCountsBytes = mark.tailCountsBytes;
    file->m_logByteCount = mark.byteCount;
    m_fileSizeLimit = 0;
    forgetSelfDX_Code();
    setSelfDX_Code(code);
}

void ZarnDataForThread::rewriteTail(const ZarnDataFile& file)
{
    // What stands behind the failed write, if anything, is older than this log and stays.
    auto* device = qobject_cast<QFile*>(file.m_logStream->device());
    const bool isLastInFile = device && device->size() <= device->pos();

    // The old tail stood here, so there is room for it. Without it the entries are still whole.
    if (file.m_logStream->seek(file.m_tailPosition)) {
        logFormSectionTail();
        if (isLastInFile)
            device->resize(device->pos());
    }
}
