// Writes that fail: which of a log's, and after how many bytes.
#include "LogParts.h"

#include <zmu/log/internal/LogDevice.h>

#include <thread>

using namespace zmu;
using namespace zmu_test;

namespace {

/// The write that fails: -1 for none, 0 for the next one.
struct Fault {
    int write = -1;
    i64 bytes = 0;      ///< That it takes nevertheless.
    bool lasts = false; ///< So does each one after it.
};
Fault fault;

i64 write(int file, i64 position, const char* data, i64 size)
{
    const bool fails = fault.write == 0;
    if (fault.write > 0 || (fails && !fault.lasts))
        --fault.write;
    QFile target;
    if (!target.open(file, QIODevice::ReadWrite | QIODevice::Unbuffered) || !target.seek(position))
        return 0;
    return target.write(data, fails ? std::min(fault.bytes, size) : size);
}

/// A data set whose logs write by way of that.
class Faulty : public Stages {
  public:
    using Stages::Stages;

  protected:
    bool openFile(wchar_t** nameSlot, QTextStream** streamSlot, wchar_t* name,
                  int openMode) override
    {
        const bool isOpen = Stages::openFile(nameSlot, streamSlot, name, openMode);
        if (isOpen && (openMode & QIODevice::WriteOnly))
            static_cast<LogDevice*>((*streamSlot)->device())->setWriter(write);
        return isOpen;
    }
};

constexpr i64 cuts[] = {0, 1, 2, 3, 17, 40};

} // namespace

TEST(WriteFaults, EntryThatIsNotWrittenLeavesTheDocument)
{
    const Folder folder;
    const std::wstring form =
        folder.write("form.html", formOf("<log>\n", "[ENTRY_ID] [SITUATION_DSCRP]\n", "</log>\n"));
    for (int failing = 0; failing < 4; ++failing) {
        for (const i64 bytes : cuts) {
            SCOPED_TRACE(testing::Message() << failing << ' ' << bytes);
            const std::wstring log = folder.path("log.html");
            QFile::remove(QString::fromStdWString(log));
            fault = {};
            Faulty data(log, form);
            ASSERT_TRUE(data.establishLogFile(true)) << data.getSelfDX_Code();
            fault = {failing, bytes};
            QString entries;
            for (int i = 0; i < 4; ++i) {
                const QString text = QStringLiteral("entry of round %1").arg(i);
                const int code = data.report(text.toStdWString().c_str());
                EXPECT_EQ(code, i == failing ? dx::LogSectionUnexpected : dx::Satisfied);
                if (i != failing)
                    entries += QStringLiteral("%1 %2\n").arg(entries.count('\n') + 1).arg(text);
                const QByteArray bytesNow = readFile(log);
                EXPECT_EQ(bytesNow, logBytes(plainLog(entries)));
                EXPECT_EQ(data.getFileLog()->m_logByteCount, static_cast<u64>(bytesNow.size()));
            }
        }
    }
}

TEST(WriteFaults, LogEndsWhereItsPositionsDo)
{
    const Folder folder;
    Faulty data(folder.path("log.html"), folder.write("form.html", plainForm));
    ASSERT_TRUE(data.establishLogFile(true)) << data.getSelfDX_Code();
    fault = {0, 0, true}; // nothing is to be written there
    int& position = data.getFileLog()->m_tailPosition;
    const int beginning = position;
    const std::wstring text(100, L'x');
    for (const int room : {0, 1, 150, 201, 202, 215}) {
        position = std::numeric_limits<int>::max() - room;
        EXPECT_EQ(data.report(text.c_str()), dx::LogSectionUnexpected);
        EXPECT_EQ(position, std::numeric_limits<int>::max() - room);
        EXPECT_EQ(fault.write, 0) << "a write was tried, room " << room;
    }
    position = beginning;
    fault = {};
    EXPECT_EQ(data.report(L"entry"), dx::Satisfied);
    EXPECT_EQ(readFile(folder.path("log.html")), logBytes(plainLog("entry\n")));
}

TEST(WriteFaults, LogWhoseSeriesNoteFailsIsKept)
{
    const Folder folder;
    setLogDirectory(folder.path("."));
    Stages settings(folder.path("log.html"), folder.write("form.html", plainForm));
    Zarn* monitor = Zarn::create(&settings);
    ASSERT_TRUE(monitor);
    auto* const device = DataSetOf::of(monitor)->getFileLog()->m_logStream->device();
    static_cast<LogDevice*>(device)->setWriter(write);
    for (int i = 0; i < 2; ++i) { // the first one costs the head
        fault = {0, 0, true};
        EXPECT_FALSE(monitor->reestablishLogFile(false));
        EXPECT_EQ(monitor->getSelfDX_Code(), dx::LogSectionUnexpected);
        monitor->forgetSelfDX_Code();
    }
    fault = {};
    EXPECT_EQ(reportText(monitor, L"entry"), dx::Satisfied);
    wchar_t name[1024] = {};
    EXPECT_TRUE(monitor->getFileLogName(name, std::size(name)));
    EXPECT_TRUE(readFile(name).contains("entry")) << name;
    Zarn::destroy(&monitor, 0, false);
}

TEST(WriteFaults, BeginningIsWrittenWholeOrNotAtAll)
{
    const Folder folder;
    setLogDirectory(folder.path("."));
    const QByteArray longHead(20000, 'h');
    const std::wstring form =
        folder.write("form.html", formOf(longHead + "\n", "[SITUATION_DSCRP]\n", "</log>\n"));
    for (const i64 bytes : {0, 1, 2, 3, 17, 400}) {
        SCOPED_TRACE(bytes);
        fault = {};
        Faulty data(folder.path("log.html"), form);
        ASSERT_TRUE(data.establishLogFile(true)) << data.getSelfDX_Code();

        // Once: the built-in form takes over.
        fault = {0, bytes};
        ASSERT_TRUE(data.reestablishLogFile(false)) << data.getSelfDX_Code();
        EXPECT_EQ(fault.write, -1);
        EXPECT_TRUE(data.getFileLog()->m_formIsBuiltIn);
        EXPECT_EQ(data.report(L"entry"), dx::Satisfied);
        const QString text = logText(data.getFileLogName());
        EXPECT_TRUE(text.startsWith("<html><body>\n") && text.endsWith("</body><html>\n"))
            << qPrintable(text.left(100));

        // Twice: there is no log, nor a part of one.
        const qsizetype filesQty = folder.files().size();
        fault = {0, bytes, true};
        EXPECT_FALSE(data.reestablishLogFile(false));
        EXPECT_EQ(data.takeCode(), dx::LogSectionUnexpected);
        EXPECT_EQ(folder.files().size(), filesQty);
        fault = {};
        EXPECT_EQ(data.report(L"lost"), dx::LogNotOpen);
    }

    // Where a log comes back it does so with the head of its form.
    Faulty data(folder.path("log.html"), form);
    ASSERT_TRUE(data.establishLogFile(true)) << data.getSelfDX_Code();
    data.setLogRecovery(true);
    fault = {0, 0, true};
    EXPECT_FALSE(data.reestablishLogFile(false));
    data.takeCode();
    EXPECT_EQ(data.report(L"lost"), dx::LogNotOpen);
    fault = {};
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    EXPECT_EQ(data.report(L"found"), dx::Satisfied);
    EXPECT_EQ(readFile(data.getFileLogName()), logBytes(longHead + "\nfound\n</log>\n"));
}
