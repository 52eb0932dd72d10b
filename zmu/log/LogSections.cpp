// The engine writes head, entries and tail into the log file.
//
// An entry goes over the present tail and is followed by a fresh one, so that the file is a whole
// document between any two situations. Entries are written without buffers of the engine's own
// making; only a head allocates.
#include <zmu/monitor/ZarnDataForThread.h>

#include <zmu/foundation/internal/Texts.h>
#include <zmu/log/internal/FormSection.h>
#include <zmu/log/internal/FormVariable.h>
#include <zmu/log/internal/LogDevice.h>
#include <zmu/log/internal/LogText.h>
#include <zmu/log/internal/SectionPieces.h>
#include <zmu/log/internal/SectionText.h>
#include <zmu/log/internal/SectionTime.h>
#include <zmu/monitor/ZarnData.h>
#include <zmu/monitor/internal/Guards.h>
#include <zmu/platform/Files.h>
#include <zmu/platform/Win32.h>

#include <QTextStream>

#include <algorithm>
#include <climits>
#include <cwchar>
#include <limits>

using namespace zmu;

namespace {

void advance(int& position, u64 bytes)
{
    const u64 room = static_cast<u64>(INT_MAX - position);
    position += static_cast<int>(std::min(bytes, room));
}

void addSaturating(u64& count, u64 bytes)
{
    count += std::min(bytes, std::numeric_limits<u64>::max() - count);
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
    SectionGuard section(*this, holdsLock());
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
        const bool isEntry = setValues(file, varCount, vars, values, time, &injected);
        const u64 limit = m_fileSizeLimit ? m_fileSizeLimit : logSizeLimit();
        SectionPieces* const pieces =
            mayAllocate ? nullptr : m_dataSet->obtainPieces(format, varCount);
        char16_t units[SectionPieces::unitsMax];
        if (const std::size_t count = pieces ? pieces->fill(values, units) : 0) {
            bytesWritten =
                writeUnits(*file.m_logStream, m_dataSet->getLogDevice(), units, count, limit);
        } else {
            SectionText text;
            if (!mayAllocate)
                require(text.formatInto(m_scratchpad.m_a, format, values), dx::SectionNotFormatted);
            else
                text.formatGrowing(format, varCount, vars, values, injected,
                                   m_dataSet->getSelfResourceModule(), m_scratchpad.m_b);
            if (wcsnlen(text.text(), text.length()) != text.length())
                setSelfDX_Code(dx::SectionLengthDisagrees);
            else
                bytesWritten = writeText(*file.m_logStream, m_dataSet->getLogDevice(), text.text(),
                                         text.length(), limit);
        }
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

bool ZarnDataForThread::setValues(const ZarnDataFile& file, int varCount, const Zarn_FORM_VAR* vars,
                                  u64* values, SectionTime& time, InjectedTexts* injected) const
{
    bool isEntry = false;
    for (int i = 0; i < varCount; ++i) {
        const Zarn_FORM_VAR var = vars[i];
        require(var >= 0 && var < formVariablesQty + formExtrasQty, dx::SectionVarUnknown);
        if (formVariables[var].timePart)
            values[i] = time.part(formVariables[var].timePart);
        else if (var >= Zarn_FORM_VAR_SYS_INFO_ENV_APP && var <= Zarn_FORM_VAR_SYS_INFO_VARS_ENV)
            values[i] = textSlot(
                injected ? injected->assign(var - Zarn_FORM_VAR_SYS_INFO_ENV_APP, i) : nullptr);
        else
            values[i] = sectionValue(file, var);
        isEntry = isEntry || var == Zarn_FORM_VAR_ENTRY_ID;
    }
    return isEntry;
}

u64 ZarnDataForThread::sectionValue(const ZarnDataFile& file, Zarn_FORM_VAR var) const
{
    const int tag = formVariables[var].tag;
    if (tag >= 0)
        return textSlot(m_dataSet->getTagForForm(static_cast<Zarn_FORM_TAG>(tag)));
    if (var >= formVariablesQty && m_dataSet->offersFormExtras())
        return textSlot(m_dataSet->getFormExtra(var));

    const ulong32 count = m_dataSet->getSituationsCount();
    switch (var) {
    case Zarn_FORM_VAR_ENTRY_COLOR:
        return count % 2 ? file.m_entryColorOdd : file.m_entryColorEven;
    case Zarn_FORM_VAR_ENTRY_ID:
        return u64{count} + 1;
    case Zarn_FORM_VAR_LOGFILE_NAME:
        return textSlot(m_dataSet->getLogNameForForm());
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

bool ZarnDataForThread::writeSection(const FormSection& section, bool countBytes, u64& bytesWritten)
{
    return logFormSection(section.format, section.varCount, section.vars, section.values,
                          bytesWritten, countBytes);
}

bool ZarnDataForThread::logFormSectionHead()
{
    SectionGuard section(*this, holdsLock());
    runGuarded(*this, dx::LogHeadUnexpected, [&] {
        ZarnDataFile& file = requireLog(section.wasEntered(), dx::HeadNotNative);
        const FormSection head = headOf(file);
        if (isEmpty(head.format)) {
            require(!head.hasRemains(), dx::HeadFormatMissing);
            return;
        }
        require(isOpen(file.m_logStream), dx::LogNotOpen);
        require(file.m_tailPosition <= 0, dx::HeadNotAtStart);
        QTextStream& stream = *file.m_logStream;
        require(stream.seek(file.m_tailPosition), dx::HeadSeekFailed);

        // The mark is written by hand, whatever the stream would add.
        stream.setAutoDetectUnicode(false);
        stream.setGenerateByteOrderMark(false);
        stream.setEncoding(QStringConverter::Utf16);
        m_fileSizeLimit = logSizeLimit(); // for the first tail as well
        const u64 markBytes =
            writeText(stream, m_dataSet->getLogDevice(), L"\xFEFF", 1, m_fileSizeLimit);
        addSaturating(file.m_logByteCount, markBytes);

        u64 bytesWritten = 0;
        requireOrRaiseHeld(writeSection(head, true, bytesWritten), *this);
        advance(file.m_tailPosition, markBytes + bytesWritten);
    });
    section.leave();
    return isSelfSatisfied();
}

bool ZarnDataForThread::logFormSectionBody()
{
    SectionGuard section(*this, holdsLock());
    runGuarded(*this, dx::LogBodyUnexpected, [&] {
        ZarnDataFile& file = requireLog(section.wasEntered(), dx::BodyNotNative);
        const FormSection body = bodyOf(file);
        if (isEmpty(body.format)) {
            require(!body.hasRemains(), dx::BodyFormatMissing);
            return;
        }
        require(isOpen(file.m_logStream), dx::LogNotOpen);
        require(file.m_tailPosition >= 0, dx::BodyPositionNegative);
        require(file.m_logStream->seek(file.m_tailPosition), dx::BodySeekFailed);
        m_fileSizeLimit = logSizeLimit(); // for the tail as well

        u64 bytesWritten = 0;
        requireOrRaiseHeld(writeSection(body, true, bytesWritten), *this);
        advance(file.m_tailPosition, bytesWritten);
    });
    section.leave();
    return isSelfSatisfied();
}

bool ZarnDataForThread::logFormSectionTail()
{
    SectionGuard section(*this, holdsLock());
    runGuarded(*this, dx::LogTailUnexpected, [&] {
        ZarnDataFile& file = requireLog(section.wasEntered(), dx::TailNotNative);
        const FormSection tail = tailOf(file);
        if (isEmpty(tail.format)) {
            require(!tail.hasRemains(), dx::TailFormatMissing);
            return;
        }
        require(isOpen(file.m_logStream), dx::LogNotOpen);

        u64 bytesWritten = 0;
        requireOrRaiseHeld(writeSection(tail, file.m_tailCountsBytes, bytesWritten), *this);
        endTail(file);
    });
    m_fileSizeLimit = 0; // the next entry asks anew
    section.leave();
    return isSelfSatisfied();
}

void ZarnDataForThread::endTail(ZarnDataFile& file)
{
    file.m_tailCountsBytes = false;
    if (file.m_tailHasEntryId)
        m_dataSet->decrementSituationsCount(1); // a tail is no entry
}

// ---- Entry and tail at once ------------------------------------------------------------------------------

bool ZarnDataForThread::logFormSections()
{
    const ZarnData& dataSet = *m_dataSet;
    ZarnDataFile& file = *dataSet.getFileLog();
    LogDevice* const device = dataSet.getLogDevice();
    // A log without a head has not been given the encoding of the pieces.
    const bool isPlain = holdsLock() && device && file.m_tailPosition >= 0 &&
                         file.m_logStream->encoding() == QStringConverter::Utf16;
    const SectionPieces* const body =
        isPlain ? dataSet.obtainPieces(file.m_bodyFormat, file.m_bodyVarCount) : nullptr;
    if (!body)
        return logFormSectionBody() && logFormSectionTail();

    SetLastError(ERROR_SUCCESS);
    device->seek(file.m_tailPosition);
    m_fileSizeLimit = logSizeLimit(); // for the tail as well
    SectionTime time;
    const u64 bodyBytes = appendSection(*device, *body, bodyOf(file), time);
    if (bodyBytes == 0)
        return logFormSectionBody() && logFormSectionTail();
    addSaturating(file.m_logByteCount, bodyBytes);
    advance(file.m_tailPosition, bodyBytes);

    const SectionPieces* const tail = dataSet.obtainPieces(file.m_tailFormat, file.m_tailVarCount);
    const u64 tailBytes = tail ? appendSection(*device, *tail, tailOf(file), time) : 0;
    if (tailBytes == 0)
        return logFormSectionTail();
    if (file.m_tailCountsBytes)
        addSaturating(file.m_logByteCount, tailBytes);
    endTail(file);
    m_fileSizeLimit = 0; // the next entry asks anew
    return true;
}

u64 ZarnDataForThread::appendSection(LogDevice& device, const SectionPieces& pieces,
                                     const FormSection& section, SectionTime& time)
{
    u64 size = 0;
    runGuarded(*this, dx::LogSectionUnexpected, [&] {
        const bool isEntry = setValues(*m_dataSet->getFileLog(), section.varCount, section.vars,
                                       section.values, time, nullptr);
        char16_t* const units = device.room(SectionPieces::unitsMax);
        const std::size_t count = units ? pieces.fill(section.values, units) : 0;
        const u64 end = static_cast<u64>(device.pos()) + count * sizeof *units;
        if (count == 0 || end > m_fileSizeLimit)
            return;
        device.keep(count);
        size = count * sizeof *units;
        if (isEntry)
            m_dataSet->incrementSituationsCount(1);
    });
    return size;
}
