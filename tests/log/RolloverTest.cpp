// The byte limit and the replacement of a full log by its successor.
#include "LogParts.h"

#include <limits>
#include <stdexcept>

using namespace zmu;
using namespace zmu_test;

namespace {

constexpr u64 limitMin = 1048576;
constexpr u64 limitMax = 78643200;

class Rollover : public LogSeries {
  protected:
    /// A limit of 0 means the least that a caller can set.
    void start(u64 limit = 0, const QByteArray& form = plainForm)
    {
        LogSeries::start(form, [=](Stages& settings) {
            settings.createPlugIns(1);
            settings.setLimit(limit ? limit : limitMin);
        });
    }
    u64& count() { return DataSetOf::of(monitor)->getFileLog()->m_logByteCount; }
    /// Leaves no successor a place, and gives it one again.
    void refuse() const { setLogDirectory(L""); }
    void allow() const { setLogDirectory(folder.path("logs")); }
};

/// Bytes that an entry of `text` adds in the plain form.
u64 entryBytes(const wchar_t* text)
{
    const QString line = QString::fromWCharArray(text) + '\n';
    return static_cast<u64>(logBytes(line).size() - logBytes({}).size());
}

} // namespace

TEST_F(Rollover, LimitHasBounds)
{
    start();
    u64 held = limitMin;
    for (const auto& [limit, code] : {std::pair{limitMin - 1, dx::LimitTooLow},
                                      {limitMin, dx::Satisfied},
                                      {u64{0}, dx::LimitTooLow},
                                      {limitMax, dx::Satisfied},
                                      {limitMax + 1, dx::LimitTooHigh},
                                      {std::numeric_limits<u64>::max(), dx::LimitTooHigh}}) {
        SCOPED_TRACE(limit);
        u64 previous = 77;
        EXPECT_EQ(monitor->setLogFileByteCountLimit(limit, previous), code == dx::Satisfied);
        EXPECT_EQ(monitor->getSelfDX_Code(), code);
        EXPECT_EQ(previous, code == dx::Satisfied ? held : 0);
        if (code == dx::Satisfied)
            held = limit;
        EXPECT_EQ(DataSetOf::of(monitor)->getLogFileByteCountLimit(), held);
        monitor->forgetSelfDX_Code();
    }
}

TEST_F(Rollover, EntryThatReachesTheLimitEndsItsFile)
{
    start();
    const wchar_t* const last = L"the last one, whole";
    count() = limitMin - entryBytes(last) - 1;
    EXPECT_EQ(reportText(monitor, last), dx::Satisfied);
    EXPECT_EQ(files().size(), 1); // one byte below
    count() = limitMin - entryBytes(last);
    EXPECT_EQ(reportText(monitor, last), dx::Satisfied);
    ASSERT_EQ(files().size(), 2);

    const QString line = QString::fromWCharArray(last) + '\n';
    EXPECT_EQ(readFile(log), logBytes(plainLog(line + line)));
    const std::wstring second = present();
    EXPECT_NE(second, log);
    EXPECT_EQ(readFile(second), logBytes(plainLog(seriesNote(2, log) + '\n')));
    EXPECT_EQ(count(), static_cast<u64>(readFile(second).size()));

    EXPECT_EQ(reportText(monitor, L"goes to the second"), dx::Satisfied);
    count() = limitMin;
    EXPECT_EQ(reportText(monitor, L"so does this"), dx::Satisfied);
    ASSERT_EQ(files().size(), 3); // within one second, and yet with a name of its own
    const std::wstring third = present();
    EXPECT_NE(third, second);
    EXPECT_EQ(readFile(second),
              logBytes(plainLog(seriesNote(2, log) + "\ngoes to the second\nso does this\n")));
    EXPECT_EQ(readFile(third), logBytes(plainLog(seriesNote(3, log) + '\n')));
    EXPECT_EQ(readFile(log), logBytes(plainLog(line + line)));
}

TEST_F(Rollover, LimitBelowTheCountReplacesAtOnce)
{
    start(limitMax);
    u64 previous = 0;
    count() = 2 * limitMin - 1;
    EXPECT_TRUE(monitor->setLogFileByteCountLimit(2 * limitMin, previous));
    EXPECT_EQ(files().size(), 1);
    count() = 2 * limitMin;
    EXPECT_TRUE(monitor->setLogFileByteCountLimit(2 * limitMin, previous));
    EXPECT_EQ(previous, 2 * limitMin);
    EXPECT_EQ(files().size(), 2);
    EXPECT_EQ(readFile(present()), logBytes(plainLog(seriesNote(2, log) + '\n')));

    // What fails leaves the old limit.
    count() = 2 * limitMin;
    refuse();
    Traces traces;
    EXPECT_FALSE(monitor->setLogFileByteCountLimit(limitMin, previous));
    EXPECT_TRUE(
        traces.take().contains("ZarnData::reestablishLogFile () [2] caught exception #142/43.\n"));
    EXPECT_EQ(monitor->getSelfDX_Code(), dx::SetLimitReplacementFailed);
    EXPECT_EQ(previous, 0);
    EXPECT_EQ(DataSetOf::of(monitor)->getLogFileByteCountLimit(), 2 * limitMin);
}

TEST_F(Rollover, FailureKeepsTheOldFile)
{
    start();
    count() = limitMin;
    strings()[101] = L"2~0~2~s~|~``%1!s! shown`|``%1`";
    refuse();
    // The display is told nonetheless, and its own failure comes behind that of the log.
    monitor->setDisplayDlgBoxFunction(
        [](HWND parent, const wchar_t* text, const wchar_t* caption, unsigned int type) -> int {
            show(parent, text, caption, type);
            throw std::runtime_error("no window");
        });
    for (const wchar_t* text : {L"first", L"second"}) {
        monitor->respondToSituation(101, nullptr, text);
        EXPECT_EQ(monitor->getSelfDX_Code(), dx::RolloverFailed);
        EXPECT_EQ(monitor->getSituationID(), 101);
        EXPECT_EQ(shown().text, text + std::wstring(L" shown"));
        monitor->forgetSelfDX_Code();
        monitor->forgetSituation();
    }
    EXPECT_EQ(readFile(log), logBytes(plainLog("first\nsecond\n")));
    EXPECT_EQ(files().size(), 1);

    allow();
    EXPECT_EQ(reportText(monitor, L"third"), dx::Satisfied);
    EXPECT_EQ(files().size(), 2);
    EXPECT_EQ(readFile(log), logBytes(plainLog("first\nsecond\nthird\n")));
    EXPECT_EQ(readFile(present()), logBytes(plainLog(seriesNote(2, log) + '\n')));
}

TEST_F(Rollover, ByHandLeavesAFullFileAloneOnlyIfAsked)
{
    start();
    count() = limitMin;
    EXPECT_TRUE(monitor->reestablishLogFile(true));
    EXPECT_EQ(files().size(), 1);
    EXPECT_EQ(reportText(monitor, L"entry"), dx::Satisfied); // which replaces it
    EXPECT_EQ(files().size(), 2);
    EXPECT_TRUE(monitor->reestablishLogFile(true));
    EXPECT_EQ(files().size(), 3);
    EXPECT_TRUE(monitor->reestablishLogFile(false));
    EXPECT_EQ(files().size(), 4);
    EXPECT_EQ(readFile(log), logBytes(plainLog("entry\n")));
    EXPECT_EQ(readFile(present()), logBytes(plainLog(seriesNote(4, log) + '\n')));
}

TEST_F(Rollover, HeadBeyondTheLimitReplacesOncePerSituation)
{
    start(100, {}); // the built-in head alone is longer
    for (int i = 1; i <= 3; ++i) {
        EXPECT_EQ(reportText(monitor, L"entry"), dx::Satisfied);
        ASSERT_EQ(files().size(), i + 1);
        const QString text = logText(present());
        EXPECT_EQ(text.count("--><"), 0);
        EXPECT_EQ(text.count(seriesNote(i + 1, log)), 1);
    }
}

TEST_F(Rollover, SituationInHandSurvives)
{
    static struct {
        int runs, situation, answer;
        u64 filler;
        std::wstring text;
    } seen;
    start();
    strings()[101] = L"2~0~2~s`u~0|~``%1!s! shown`|``%1`";
    DataSetOf::of(monitor)->getPlugIns()[0] = [](const Zarn* monitor) {
        wchar_t text[64] = {};
        ++seen.runs;
        seen.situation = monitor->getSituationID();
        seen.answer = monitor->getDisplayDlgBoxResult();
        seen.filler = monitor->getDescriptionFillers()[1];
        monitor->getDescriptionForLogFile(text, 64);
        seen.text = text;
        return true;
    };
    shown().answer = 6;
    count() = limitMin;
    monitor->respondToSituation(101, nullptr, L"in hand", 42U);

    EXPECT_EQ(monitor->getSelfDX_Code(), dx::Satisfied);
    EXPECT_EQ(files().size(), 2);
    EXPECT_EQ(shown().count, 1);
    EXPECT_EQ(seen.runs, 1);
    EXPECT_EQ(seen.situation, 101);
    EXPECT_EQ(seen.answer, 6);
    EXPECT_EQ(seen.filler, 42U);
    EXPECT_EQ(monitor->getDisplayDlgBoxResult(), 6);
    EXPECT_EQ(seen.text, L"in hand");
    EXPECT_TRUE(monitor->isSituationNormal());
    EXPECT_EQ(monitor->getSituationsCount(), 0U); // no entry number in this form
}

TEST_F(Rollover, NotesOfASituationWithAModuleOfItsOwnComeFromTheLibrary)
{
    start();
    strings()[10006] = L"2~0||``not this one`";
    count() = limitMin;
    monitor->respondToSituation(textSituation, GetModuleHandleW(nullptr), L"entry");
    EXPECT_EQ(monitor->getSelfDX_Code(), dx::Satisfied);
    EXPECT_EQ(readFile(present()), logBytes(plainLog(seriesNote(2, log) + '\n')));
    EXPECT_EQ(reportText(monitor, L"entry"), dx::Satisfied);
}

namespace {

/// An engine whose heads can fail.
struct Headless : ZarnDataForThread {
    static inline bool isFailing = false;

  protected:
    bool logFormSection(wchar_t* format, int varCount, Zarn_FORM_VAR* vars, u64* values,
                        u64& bytesWritten, bool countBytes) override
    {
        if (isFailing && format == m_dataSet->getFileLog()->m_headFormat) {
            setSelfDX_Code(dx::SectionNotFormatted);
            return false;
        }
        return ZarnDataForThread::logFormSection(format, varCount, vars, values, bytesWritten,
                                                 countBytes);
    }
};

} // namespace

TEST(RolloverByHand, LogWithoutAHeadIsNeverSilent)
{
    const Folder folder;
    setLogDirectory(folder.path("."));
    Stages data(folder.path("log.html"), folder.write("form.html", plainForm));
    data.setEngineFactory([]() -> ZarnDataForThread* { return new Headless; });
    ASSERT_TRUE(data.establishLogFile(true));
    ASSERT_EQ(data.report(L"entry"), dx::Satisfied);

    Headless::isFailing = true;
    EXPECT_FALSE(data.reestablishLogFile(false));
    EXPECT_EQ(data.takeCode(), dx::SectionNotFormatted);
    EXPECT_EQ(folder.files(), (QStringList{"form.html", "log.html"}));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(data.report(L"lost"), dx::LogNotOpen);
    EXPECT_EQ(folder.read("log.html"), logBytes(plainLog("entry\n")));
}

TEST(RolloverByHand, HeadOfTheFormThatFailsAtARolloverGivesWayToTheBuiltInOne)
{
    const Folder folder;
    setLogDirectory(folder.path("."));
    Stages data(folder.path("log.html"), folder.write("form.html", plainForm));
    data.setEngineFactory([]() -> ZarnDataForThread* {
        struct Once : Headless {
            Once() { isFailing = false; }
            bool logFormSection(wchar_t* format, int varCount, Zarn_FORM_VAR* vars, u64* values,
                                u64& bytesWritten, bool countBytes) override
            {
                const bool succeeded = Headless::logFormSection(format, varCount, vars, values,
                                                                bytesWritten, countBytes);
                isFailing = false;
                return succeeded;
            }
        };
        return new Once;
    });
    ASSERT_TRUE(data.establishLogFile(true));
    Headless::isFailing = true;
    Traces traces;
    EXPECT_TRUE(data.reestablishLogFile(false)) << data.getSelfDX_Code();
    EXPECT_TRUE(traces.take().contains("the built-in form is used instead"));
    EXPECT_EQ(data.report(L"entry"), dx::Satisfied);
    const QByteArray bytes = readFile(data.getFileLogName());
    EXPECT_EQ(data.getFileLog()->m_logByteCount, static_cast<u64>(bytes.size()));
    EXPECT_TRUE(logText(data.getFileLogName()).startsWith("<html><body>\n"));
}
