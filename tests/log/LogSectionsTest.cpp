// Head, entries and tail: what they count, what they refuse, what a failed one leaves.
#include "LogParts.h"

#include <QDate>
#include <QFile>
#include <QTextStream>

#include <array>
#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

using namespace zmu;
using namespace zmu_test;

namespace {

constexpr u64 byteCountMax = std::numeric_limits<u64>::max();

/// An established log of a form.
class LogSections : public testing::Test {
  protected:
    void start(const QByteArray& form)
    {
        data.emplace(log, folder.write("form.html", form));
        ASSERT_TRUE(data->establishLogFile(true)) << data->getSelfDX_Code();
        ASSERT_FALSE(data->getFileLog()->m_formIsBuiltIn);
    }
    QString text() const { return logText(log); }

    const Folder folder;
    const std::wstring log = folder.path("log.html");
    std::optional<Stages> data;
};

/// Calls the protected stages of an engine.
struct EngineOf : ZarnDataForThread {
    static void writeBody(ZarnDataForThread& engine) { (engine.*&EngineOf::logFormSectionBody)(); }
    static void writeSection(ZarnDataForThread& engine, wchar_t* format, int varCount,
                             Zarn_FORM_VAR* vars, u64* values)
    {
        u64 bytesWritten = 77;
        (engine.*&EngineOf::logFormSection)(format, varCount, vars, values, bytesWritten, true);
        EXPECT_EQ(bytesWritten, 0);
    }
};

/// An engine that looks back at the entry before its tail, and puts a mark between them.
struct Interposing : ZarnDataForThread {
    static inline QByteArray seen;

  protected:
    bool logFormSection(wchar_t* format, int varCount, Zarn_FORM_VAR* vars, u64* values,
                        u64& bytesWritten, bool countBytes) override
    {
        const ZarnDataFile& file = *m_dataSet->getFileLog();
        if (format == file.m_tailFormat && isInOperation()) {
            QTextStream& stream = *file.m_logStream;
            const qint64 position = stream.pos();
            stream.seek(position - 4);
            seen = stream.device()->read(4);
            stream << '|';
            stream.flush();
        }
        return ZarnDataForThread::logFormSection(format, varCount, vars, values, bytesWritten,
                                                 countBytes);
    }
};

/// An engine that changes nothing: all its stages are passed, since they could be others.
struct Unchanged : ZarnDataForThread {};

/// A data set whose reports are given texts; a null text is a report that failed.
class Injecting : public Stages {
  public:
    using Stages::Stages;
    std::array<QString, 3> reports;

  protected:
    bool learnLogFileFormInjectors(long) override
    {
        auto** streams = new QTextStream*[3]();
        for (std::size_t i = 0; i < 3; ++i) {
            if (!reports[i].isNull())
                streams[i] = new QTextStream(&reports[i], QIODevice::ReadOnly);
        }
        getFileLog()->m_injectorStreams = streams;
        return isSelfSatisfied();
    }
};

} // namespace

TEST_F(LogSections, EntriesSayWhatTheFormatterSays)
{
    QByteArray many;
    for (int i = 0; i < 70; ++i)
        many += "[ENTRY_ID],";
    const QByteArray bodies[] = {
        ("<[ENTRY_ID] [ENTRY_COLOR]> [YEAR]-[MONTH]-[DAY] [HOURS]:[MINUTES]:[SECONDS]"
         ".[MILLISECONDS] [PROCESS_ID] [NAME_OF_USER]|[SITUATION_ID]"),
        "100%% %. %nno variable",
        "%1!05d! and %2!u! of [ENTRY_ID] [ENTRY_COLOR]", // as no variable has it
        "[ENTRY_ID]%0 the rest is not shown",
        many, // more than there is room for
        QByteArray(1014, 'x') + "[ENTRY_ID]",
    };
    for (const QByteArray& body : bodies) {
        SCOPED_TRACE(body.constData());
        data.reset();
        QFile::remove(QString::fromStdWString(log)); // a longer one would keep its end
        start(formOf("<log>\n", body + " [SITUATION_DSCRP]\n", "</log>\n"));
        data->recordTag(const_cast<wchar_t*>(L"J\u00f6rg \U0001F600"), Zarn_FORM_TAG_NAME_OF_USER);
        ZarnDataFile& file = *data->getFileLog();
        QString expected;
        for (int i = 0; i < 3; ++i) {
            if (i == 2)
                file.m_bodyFormat[0] = L'#'; // the text counts, not its place
            ASSERT_EQ(data->report(L"text"), 0);
            for (int var = 0; var < file.m_bodyVarCount; ++var) {
                if (file.m_bodyVars[var] == Zarn_FORM_VAR_SITUATION_DSCRP)
                    file.m_bodyValues[var] = toArgumentSlot(L"text");
            }
            wchar_t entry[1024] = {};
            EXPECT_GT(
                Zarn::formatMessage(0x2400, file.m_bodyFormat, entry, 1024, file.m_bodyValues), 0U);
            expected += QString::fromWCharArray(entry);
        }
        EXPECT_EQ(text(), "<log>\n" + asLogText(expected) + "</log>\n");
    }
}

TEST_F(LogSections, EntriesAreNumberedAndColoured)
{
    const struct {
        QByteArray head, tail;
        QString log;
    } cases[] = {
        {"h\n", "t\n", "h\n1 F0F0FF a\n2 F7F7FF b\n3 F0F0FF c\nt\n"},
        // A head that asks for a number takes it; a tail does not.
        {"h [ENTRY_ID]\n", "t\n", "h 1\n2 F7F7FF a\n3 F0F0FF b\n4 F7F7FF c\nt\n"},
        {"h\n", "t [ENTRY_ID] [ENTRY_COLOR]\n",
         "h\n1 F0F0FF a\n2 F7F7FF b\n3 F0F0FF c\nt 4 F7F7FF\n"},
    };
    for (const auto& test : cases) {
        QFile::remove(QString::fromStdWString(log));
        start(formOf(test.head, "[ENTRY_ID] [ENTRY_COLOR] [SITUATION_DSCRP]\n", test.tail));
        for (const wchar_t* entry : {L"a", L"b", L"c"})
            EXPECT_EQ(data->report(entry), dx::Satisfied);
        EXPECT_EQ(text(), test.log);
    }
}

TEST_F(LogSections, EntriesMadeAtOnceAreThoseOfTheStages)
{
    struct Outcome {
        QByteArray bytes;
        std::vector<int> codes;
        u64 byteCount;
        int tailPosition;
        ulong32 situationsCount;
        bool operator==(const Outcome&) const = default;
    };
    const QByteArray all = "[ENTRY_ID] [ENTRY_COLOR] [NAME_OF_USER] [NAME_OF_HOST][PROCESS_ID] "
                           "[SITUATION_ID] [LOGFILE_NAME] [SITUATION_DSCRP]";
    const QByteArray forms[] = {
        formOf("<log>\n", all + "\n", "</log>\n"),
        formOf("[ENTRY_ID]\n", "[SITUATION_DSCRP]\n", "[ENTRY_ID] of [PROCESS_ID]\n"),
        formOf("<log>\n", "[SITUATION_DSCRP]\n", "[ENTRY_ID] %1!05d!\n"), // a tail of no pieces,
        formOf("<log>\n", "%1!05d! of [ENTRY_ID] [SITUATION_DSCRP]\n", "</log>\n"), // and a body
        formOf("<log>\n", QByteArray(40, '-') + all + QByteArray(33, '=') + "\n", "\n"),
    };
    std::wstring faces;
    for (int i = 0; i < 300; ++i)
        faces += L"\U0001F600";
    for (const QByteArray& form : forms) {
        SCOPED_TRACE(form.constData());
        const std::wstring formName = folder.write("form.html", form);
        std::vector<Outcome> outcomes;
        for (const bool passesStages : {false, true}) {
            QFile::remove(QString::fromStdWString(log));
            Stages settings;
            makeReady(settings, log, formName.c_str());
            settings.setSelfDX_FaultTolerance(Zarn_TOLERANCE_FORGIVING);
            settings.recordTag(L"J\u00f6rg \U0001F600", Zarn_FORM_TAG_NAME_OF_USER);
            if (passesStages)
                settings.setEngineFactory([]() -> ZarnDataForThread* { return new Unchanged; });
            Zarn* monitor = Zarn::create(&settings);
            ASSERT_TRUE(monitor);
            const ZarnData& data = *DataSetOf::of(monitor);
            Outcome& outcome = outcomes.emplace_back();
            for (const std::size_t length :
                 {1, 62, 900, 1007, 1008, 1009, 1015, 1016, 1022, 1023, 3})
                outcome.codes.push_back(reportText(monitor, std::wstring(length, L'e').c_str()));
            outcome.codes.push_back(reportText(monitor, faces.c_str()));
            ZarnDataFile& file = *data.getFileLog();
            for (Zarn_FORM_VAR* vars : {file.m_bodyVars, file.m_tailVars}) {
                if (!vars)
                    continue;
                const Zarn_FORM_VAR known = std::exchange(*vars, Zarn_FORM_VAR_UNKNOWN);
                outcome.codes.push_back(reportText(monitor, L"with a variable that is none"));
                *vars = known;
                outcome.codes.push_back(reportText(monitor, L"and without"));
            }
            outcome.byteCount = file.m_logByteCount;
            outcome.tailPosition = file.m_tailPosition;
            outcome.situationsCount = data.getSituationsCount();
            Zarn::destroy(&monitor, 0, false);
            outcome.bytes = readFile(log);
        }
        EXPECT_EQ(outcomes[0], outcomes[1]);
        EXPECT_GT(outcomes[0].byteCount, 2000U);
    }
}

TEST_F(LogSections, EntryMayFillItsBufferAndNoMore)
{
    start(formOf("<log>\n", "x[SITUATION_DSCRP]%0\n", "</log>\n"));
    const std::wstring longest(1022, L'e');
    EXPECT_EQ(data->report(longest.c_str()), dx::Satisfied);
    const QByteArray whole = logBytes(plainLog('x' + QString(1022, 'e')));
    EXPECT_EQ(readFile(log), whole);

    const u64 count = data->getFileLog()->m_logByteCount;
    EXPECT_EQ(data->report((longest + L"e").c_str()), dx::SectionNotFormatted);
    EXPECT_EQ(readFile(log), whole);
    EXPECT_EQ(data->getFileLog()->m_logByteCount, count);
    EXPECT_EQ(data->report(L"next"), dx::Satisfied);
    EXPECT_EQ(text(), plainLog('x' + QString(1022, 'e') + "xnext"));
}

TEST_F(LogSections, BytesAreCountedOnceAndSaturate)
{
    start(plainForm);
    const auto count = [&]() -> u64& { return data->getFileLog()->m_logByteCount; };
    const auto size = [&] { return static_cast<u64>(readFile(log).size()); };
    EXPECT_EQ(count(), size());
    for (const wchar_t* entry : {L"one", L"zwei \u00fc", L"\U0001F600 three"}) {
        EXPECT_EQ(data->report(entry), dx::Satisfied);
        EXPECT_EQ(count(), size());
    }
    data->setLimit(0); // none
    count() = byteCountMax - 3;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(data->report(L"more"), dx::Satisfied);
        EXPECT_EQ(count(), byteCountMax);
    }
    EXPECT_EQ(text(),
              plainLog(zmu_test::text(u"one\nzwei \u00fc\n\U0001F600 three\nmore\nmore\n")));
}

TEST_F(LogSections, ShorterTailLeavesTheEndOfTheLongerOne)
{
    start(formOf("h\n", "[SITUATION_DSCRP]|%0\n", "tail [SITUATION_ID]%0\n"));
    data->recordSituationID_Remote(123456789);
    data->report(L"a");
    data->report(L"b");
    EXPECT_EQ(text(), "h\na|b|tail 1006789");
}

TEST_F(LogSections, EntryIsInTheFileForWhoeverLooksBeforeItsTail)
{
    data.emplace();
    data->setEngineFactory([]() -> ZarnDataForThread* { return new Interposing; });
    makeReady(*data, log, folder.write("form.html", plainForm).c_str());
    ASSERT_TRUE(data->establishLogFile(true)) << data->getSelfDX_Code();
    for (const wchar_t* entry : {L"one", L"two"}) {
        EXPECT_EQ(data->report(entry), dx::Satisfied);
        EXPECT_EQ(Interposing::seen, logBytes(QString::fromWCharArray(entry) + '\n').right(4));
    }
    EXPECT_EQ(text(), "<log>\none\ntwo\n|</log>\n");
}

TEST_F(LogSections, TailThatFailsTakesItsEntryAlong)
{
    start(plainForm);
    ASSERT_EQ(data->report(L"first"), dx::Satisfied);
    ZarnDataFile& file = *data->getFileLog();
    const ZarnDataFile intact = file;
    Zarn_FORM_VAR noSuch = Zarn_FORM_VAR_UNKNOWN;
    u64 value = 0;
    file.m_tailVarCount = 1;
    file.m_tailVars = &noSuch;
    file.m_tailValues = &value;
    EXPECT_EQ(data->report(L"an entry that is longer than the tail"), dx::SectionVarUnknown);
    EXPECT_EQ(readFile(log), logBytes(plainLog("first\n")));
    EXPECT_EQ(file.m_logByteCount, intact.m_logByteCount);
    EXPECT_EQ(file.m_tailPosition, intact.m_tailPosition);
    file = intact;
    EXPECT_EQ(data->report(L"next"), dx::Satisfied);
    EXPECT_EQ(readFile(log), logBytes(plainLog("first\nnext\n")));
}

TEST_F(LogSections, BrokenRecordEndsInItsCodeAndLeavesTheFile)
{
    start(formOf("h [YEAR]\n", "[SITUATION_DSCRP]\n", "t [SITUATION_ID]\n"));
    data->report(L"entry");
    ZarnDataForThread& engine = *data->obtainDataForCurrentThread(true);
    ZarnDataFile& file = *data->getFileLog();
    const ZarnDataFile intact = file;
    const QByteArray bytes = readFile(log);
    wchar_t format[] = L"text";
    Zarn_FORM_VAR noSuch[] = {static_cast<Zarn_FORM_VAR>(31), Zarn_FORM_VAR_UNKNOWN};
    u64 value = 0;

    const auto head = [&] { engine.logFormSectionHead(); };
    const auto body = [&] { EngineOf::writeBody(engine); };
    const auto tail = [&] { engine.logFormSectionTail(); };
    const auto section = [&](wchar_t* text, int varCount, u64* values) {
        return [&engine, text, varCount, values] {
            EngineOf::writeSection(engine, text, varCount, nullptr, values);
        };
    };
    const auto nothing = [] {};
    const auto closeLog = [&] { file.m_logStream = nullptr; };
    const auto leaveProcess = [&] { data->setNonnativeInstantiatorID(5); };
    const struct {
        std::function<void()> breakRecord;
        std::function<void()> write;
        int code;
    } cases[] = {
        {nothing, head, dx::HeadNotAtStart},
        {[&] { file.m_headFormat = nullptr; }, head, dx::HeadFormatMissing},
        {[&] { file.m_bodyFormat = nullptr; }, body, dx::BodyFormatMissing},
        {[&] { file.m_tailFormat = nullptr; }, tail, dx::TailFormatMissing},
        {[&] { file.m_tailPosition = -1; }, body, dx::BodyPositionNegative},
        {closeLog, head, dx::LogNotOpen},
        {closeLog, body, dx::LogNotOpen},
        {closeLog, tail, dx::LogNotOpen},
        {closeLog, section(format, 0, nullptr), dx::LogNotOpen},
        {[&] { file.m_bodyVars = noSuch; }, body, dx::SectionVarUnknown},
        {[&] { file.m_tailVars = noSuch + 1; }, tail, dx::SectionVarUnknown},
        {nothing, section(nullptr, 1, nullptr), dx::SectionFormatMissing},
        {nothing, section(nullptr, 0, &value), dx::SectionFormatMissing},
        {nothing, section(nullptr, 0, nullptr), dx::Satisfied}, // nothing to write
        {leaveProcess, head, dx::HeadNotNative},
        {leaveProcess, body, dx::BodyNotNative},
        {leaveProcess, tail, dx::TailNotNative},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(&test - cases);
        test.breakRecord();
        test.write();
        file = intact;
        data->setNonnativeInstantiatorID(0);
        EXPECT_EQ(data->takeCode(), test.code);
        EXPECT_EQ(readFile(log), bytes);
    }
    EXPECT_EQ(data->report(L"next"), dx::Satisfied);
    EXPECT_TRUE(text().endsWith("\nentry\nnext\nt 100\n")) << qPrintable(text());
}

TEST_F(LogSections, ReportsOfAHeadGiveWayOneByOne)
{
    const QString row = "<tr><td><font size=\"-1\">We're sorry, but this information was discarded "
                        "to overcome a memory limitation.</font></td></tr>";
    const auto text = [](int length, char letter) { return QString(length, letter); };
    const QByteArray all = "[SYS_INFO_ENV_APP]|[SYS_INFO_ENV_OP]|[SYS_INFO_VARS_ENV]";
    const struct {
        const char* what;
        QByteArray head;
        int length;
        QString expected; ///< Empty: the built-in form takes over.
    } cases[] = {
        {"all fit", all, 1000, text(1000, 'a') + '|' + text(1000, 'b') + '|' + text(1000, 'c')},
        {"the third goes first", all, 200000,
         text(200000, 'a') + '|' + text(200000, 'b') + '|' + row},
        {"in whatever order", "[SYS_INFO_VARS_ENV]|[SYS_INFO_ENV_OP]|[SYS_INFO_ENV_APP]", 200000,
         row + '|' + text(200000, 'b') + '|' + text(200000, 'a')},
        {"then the second", all, 300000, text(300000, 'a') + '|' + row + '|' + row},
        {"at last the first", all, 600000, row + '|' + row + '|' + row},
        {"two, of which the third is none", "[SYS_INFO_ENV_APP]|[SYS_INFO_ENV_OP]", 300000,
         row + '|' + text(300000, 'b')},
        {"a first one that fits", "[SYS_INFO_ENV_APP]", 500000, text(500000, 'a')},
        {"only a huge first", "[YEAR][SYS_INFO_ENV_APP]", 600000, {}},
        {"only a huge second", "[YEAR][SYS_INFO_ENV_OP]", 600000, {}},
        {"a huge first in the place that gives way", "[SYS_INFO_ENV_APP]", 600000, row},
        {"a huge third and nothing else", "[SYS_INFO_VARS_ENV]", 600000, row},
        {"a third in two places", "[SYS_INFO_VARS_ENV]|[YEAR]|[SYS_INFO_VARS_ENV]", 300000,
         row + '|' + QString::number(QDate::currentDate().year()) + '|' + row},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.what);
        QFile::remove(QString::fromStdWString(log));
        Injecting injecting(
            log, folder.write("form.html",
                              "^INJECT_SYS_INFO\n0\n" +
                                  formOf("<" + test.head + ">\n",
                                         "[SITUATION_DSCRP]<[SYS_INFO_ENV_APP]>\n", "t\n")));
        injecting.reports = {text(test.length, 'a'), text(test.length, 'b'),
                             text(test.length, 'c')};
        ASSERT_TRUE(injecting.establishLogFile(true)) << injecting.getSelfDX_Code();
        EXPECT_EQ(injecting.report(L"entry"), dx::Satisfied);
        const QString written = logText(log);
        EXPECT_EQ(injecting.getFileLog()->m_formIsBuiltIn, test.expected.isEmpty());
        // An entry never shows a report.
        EXPECT_TRUE(test.expected.isEmpty() ? written.startsWith("<html><body>\n")
                                            : written == '<' + test.expected + ">\nentry<>\nt\n")
            << written.size() << qPrintable(written.left(100) + " ... " + written.right(300));
    }
}
