// An entry and its tail, or neither.
#include <zmu/monitor/ZarnDataForThread.h>

#include <zmu/log/internal/LogDevice.h>
#include <zmu/log/internal/LogText.h>
#include <zmu/monitor/ZarnData.h>
#include <zmu/monitor/internal/Guards.h>

#include <QTextStream>

using namespace zmu;

ZarnDataForThread::LogMark ZarnDataForThread::beginEntry()
{
    m_dataSet->attendToLog();
    const ZarnDataFile* file = m_dataSet->getFileLog();
    if (file && !isOpen(file->m_logStream)) { // sections that are gone would pass in silence
        m_dataSet->countLostSituation();
        throw int{dx::LogNotOpen};
    }
    if (LogDevice* device = m_dataSet->getLogDevice())
        device->hold();
    return {file ? file->m_logByteCount : 0, file ? file->m_tailPosition : 0,
            file && file->m_tailCountsBytes, m_dataSet->getSituationsCount()};
}

bool ZarnDataForThread::finishEntry()
{
    LogDevice* device = m_dataSet->getLogDevice();
    if (device && !device->release())
        setSelfDX_Code(dx::LogSectionUnexpected); // which is where the write was to be made
    return isSelfSatisfied();
}

void ZarnDataForThread::takeEntryBack(const LogMark& mark)
{
    ZarnDataFile* file = m_dataSet->getFileLog();
    if (!file || !file->m_logStream)
        return;
    LogDevice* held = m_dataSet->getLogDevice();
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

bool ZarnDataForThread::refreshTail()
{
    const ZarnDataFile& file = *m_dataSet->getFileLog();
    if (!isSelfSatisfied())
        return true; // what it holds tells more
    rewriteTail(file);
    const bool succeeded = isSelfSatisfied();
    forgetSelfDX_Code();
    return succeeded;
}

void ZarnDataForThread::rewriteTail(const ZarnDataFile& file)
{
    // What stands behind the failed write, if anything, is older than this log and stays.
    LogDevice* const device = m_dataSet->getLogDevice();
    const bool isLastInFile = device && device->size() <= device->pos();

    // The old tail stood here, so there is room for it. Without it the entries are still whole.
    if (file.m_logStream->seek(file.m_tailPosition)) {
        logFormSectionTail();
        if (isLastInFile)
            device->resize(device->pos());
    }
}
