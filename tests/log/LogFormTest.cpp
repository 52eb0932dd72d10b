// Form files good and bad: which form the log gets, and why.
#include "LogParts.h"

using namespace zmu;
using namespace zmu_test;

namespace {

const QByteArray body = "[SITUATION_DSCRP]\n";

FormTrial logWith(const Folder& folder, const QByteArray& form,
                  const std::function<void(Stages&)>& change = {})
{
    return tryForm(folder, folder.write("form.html", form), change);
}

} // namespace

TEST(LogForm, FileGivesTheLogItsSections)
{
    const Folder folder;
    const QByteArray longLine(3000, 'a');
    const QByteArray piece(1024, 'a');
    const struct {
        const char* what;
        QByteArray form;
        QString log;
    } cases[] = {
        {"plain", formOf("h\n", body, "t\n"), "h\nentry\nt\n"},
        {"text before the first marker", "text\n[\n" + formOf("h\n", body, "t\n"), "h\nentry\nt\n"},
        {"unused injector block", "^INJECT_SYS_INFO\n1\n[X\n" + formOf("h\n", body, "t\n"),
         "h\nentry\nt\n"},
        {"marker character alone", formOf("^\nh\n", body, "^\nt\n^\n"), "^\nh\nentry\n^\nt\n^\n"},
        {"marker behind a blank", formOf(" ^BODY\n", body, "t\n"), " ^BODY\nentry\nt\n"},
        {"CR LF", "^HEAD\r\nh\r\n\r\n^BODY\r\n[SITUATION_DSCRP]\r\n^TAIL\r\nt\r\n",
         "h\r\n\r\nentry\r\nt\r\n"},
        {"no line end at the end", formOf("h\n", body, "t"), "h\nentry\nt"},
        {"blank lines", formOf("\n\n", "\n" + body, "\n"), "\n\n\nentry\n\n"},
        {"a long line", formOf(longLine + "\nh\n", body, longLine.left(900) + "\n"),
         longLine + "\nh\nentry\n" + longLine.left(900) + "\n"},
        {"a line of exactly one piece", formOf(piece + "\n^\nh\n", body, "t\n"),
         piece + "\n^\nh\nentry\nt\n"},
        {"a piece that begins with a marker", "^HEAD\n" + piece + "^BODY\n" + body + "^TAIL\nt\n",
         piece + "entry\nt\n"},
        {"bytes above ASCII", formOf("\x80\xC3\xA9\xFF\n", body, "t\n"),
         text(u"\uFF80\uFFC3\uFFA9\uFFFF\nentry\nt\n")},
        {"UTF-8 with a mark", "\xEF\xBB\xBF" + formOf("h\n", body, "t\n"), "h\nentry\nt\n"},
        {"NUL ends a section", formOf(QByteArray("h\0x[\n", 5), body, "t\n"), "hentry\nt\n"},
        {"percent signs", formOf("1%% 2%. 3%!\n", "%%[SITUATION_DSCRP]%% \n", "t%0t\n"),
         "1% 2. 3!\n%entry% \nt"},
        {"line breaks of the formatter", formOf("a%nb%tc%rd\n", body, "t%0"),
         "a\r\nb\tc\rd\nentry\nt"},
        {"variables without brackets' end", formOf("[YEAR\n", body, "t[\n"), "[YEAR\nentry\nt[\n"},
        {"injector without its block", formOf("<[SYS_INFO_ENV_OP]>\n", body, "t\n"),
         "<>\nentry\nt\n"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.what);
        const FormTrial logged = logWith(folder, test.form);
        EXPECT_EQ(logged.text, asLogText(test.log));
        EXPECT_EQ(logged.code, dx::Satisfied);
        EXPECT_TRUE(logged.dismissed.isEmpty());
    }
}

TEST(LogForm, BadFileCostsNothingButTheLayout)
{
    const Folder folder;
    folder.makeFolder("directory");
    const QByteArray good = formOf("h\n", body, "t\n");
    const struct {
        const char* what;
        QByteArray form;
        int code;
    } cases[] = {
        {"empty file", "", dx::SectionsAllEmpty},
        {"no marker", "text\n", dx::SectionsAllEmpty},
        {"only NUL", QByteArray(5000, '\0'), dx::SectionsAllEmpty},
        {"UTF-16", logBytes(QString::fromLatin1(good)), dx::SectionsAllEmpty},
        {"only a head", "^HEAD\nh\n", dx::BodyWithoutText},
        {"no head", "^BODY\n" + body + "^TAIL\nt\n", dx::BodyOutOfOrder},
        {"tail first", "^TAIL\nt\n^HEAD\nh\n^BODY\n" + body, dx::TailOutOfOrder},
        {"tail before body", "^HEAD\nh\n^TAIL\nt\n^BODY\n" + body, dx::TailOutOfOrder},
        {"head twice", "^HEAD\nh\n" + good, dx::MarkerUnknown},
        {"injectors twice", "^INJECT_SYS_INFO\n^INJECT_SYS_INFO\n" + good, dx::MarkerUnknown},
        {"injectors behind the head", "^HEAD\nh\n^INJECT_SYS_INFO\n^BODY\n" + body + "^TAIL\nt\n",
         dx::InjectorOutOfOrder},
        {"unknown marker", "^FOOT\n" + good, dx::MarkerUnknown},
        {"lower case", "^head\nh\n^BODY\n" + body + "^TAIL\nt\n", dx::MarkerUnknown},
        {"blank behind a marker", "^HEAD \nh\n^BODY\n" + body + "^TAIL\nt\n", dx::MarkerUnknown},
        {"marker inside of a long line", formOf(QByteArray(1024, 'a') + "^b\n", body, "t\n"),
         dx::MarkerUnknown},
        {"no tail", "^HEAD\nh\n^BODY\n" + body, dx::TailUnusable},
        {"marker of the tail without line end", "^HEAD\nh\n^BODY\n" + body + "^TAIL",
         dx::TailUnusable},
        {"empty head", formOf("", body, "t\n"), dx::HeadUnusable},
        {"empty body", formOf("h\n", "", "t\n"), dx::BodyWithoutText},
        {"body without description", formOf("h\n", "[SITUATION_ID]\n", "t\n"),
         dx::BodyWithoutDescription},
        {"body without variables", formOf("h\n", "text\n", "t\n"), dx::BodyWithoutDescription},
        {"NUL before the description", formOf("h\n", QByteArray("a\0", 2) + body, "t\n"),
         dx::BodyWithoutDescription},
        {"NUL begins the body", formOf("h\n", QByteArray("\0", 1) + body, "t\n"), dx::BodyUnusable},
    };
    const auto expectBuiltIn = [&](const FormTrial& logged, int code) {
        EXPECT_EQ(logged.createCode, dx::Satisfied);
        EXPECT_EQ(logged.code, dx::Satisfied);
        EXPECT_TRUE(logged.isBuiltIn) << qPrintable(logged.text);
        EXPECT_TRUE(withoutTimes(logged.text)
                        .endsWith("<!-- SituationID=100 --><time> entry<br>\n</body><html>\n"))
            << qPrintable(logged.text);
        EXPECT_EQ(logged.dismissed, QList<int>{code});
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.what);
        expectBuiltIn(logWith(folder, test.form), test.code);
    }
    expectBuiltIn(tryForm(folder, folder.path("missing.html")), dx::FileNotOpened);
    expectBuiltIn(tryForm(folder, folder.path("directory")), dx::FileNotOpened);
    expectBuiltIn(tryForm(folder, L""), dx::FormNameEmpty);
}

TEST(LogForm, SectionThatCannotBeFormattedGivesWayToTheBuiltInForm)
{
    const Folder folder;
    // No such insert, a width from behind the last value, an unfinished format, nothing, numbers
    // as texts. What is no format at all the systems judge in their own ways.
    const QByteArray heads[] = {"h %50\n", "h %1\n",    "[YEAR]%1!*d!\n", "[YEAR]%1!d\n",
                                "%0\n",    "[DAY]%1\n", "[DAY]%1!s!\n",   "[YEAR][MONTH]%2!S!\n"};
    const QByteArray bodies[] = {body + "%2\n", body + "%1!s\n", body + "%1!S!\n", "%0" + body};
    const QByteArray tails[] = {"100%", "%1\n", "%1!d!"};
    QList<QByteArray> forms;
    for (const QByteArray& head : heads)
        forms += formOf(head, body, "t\n");
    for (const QByteArray& bad : bodies)
        forms += formOf("h\n", bad, "t\n");
    for (const QByteArray& tail : tails)
        forms += formOf("h\n", body, tail);
    for (const QByteArray& form : forms) {
        SCOPED_TRACE(form.constData());
        const FormTrial logged = logWith(folder, form);
        EXPECT_TRUE(logged.isBuiltIn);
        EXPECT_EQ(logged.code, dx::Satisfied);
        EXPECT_EQ(logged.dismissed, QList<int>{dx::SectionNotFormatted});
    }
    EXPECT_FALSE(logWith(folder, formOf("100%0%\n", body, "t\n")).isBuiltIn);

    // Too long is another matter: such a body loses its entries, and such a tail refuses the log.
    const FormTrial logged = logWith(folder, formOf("h\n", QByteArray(1024, 'b') + body, "t\n"));
    EXPECT_EQ(logged.code, dx::SectionNotFormatted);
    EXPECT_EQ(logged.text, "h\nt\n");
    EXPECT_EQ(logWith(folder, formOf("h\n", body, QByteArray(1024, 't'))).createCode,
              dx::SectionNotFormatted);
}

TEST(LogForm, TraceNamesTheFormThePlaceAndTheReason)
{
    const Folder folder;
    const QString formName = QString::fromStdWString(folder.path("form.html"));
    const struct {
        QByteArray form;
        int line; ///< 0: none is named.
        QString reason;
        bool isBuiltIn;
    } cases[] = {
        {formOf("h\n", body, "t\n") + "^TAIL\n", 7, "", true},
        {formOf("h\n", "a\n[NO_SUCH]\n" + body, "t\n"), 5, "", true},
        {formOf("h\nh [DAY] [[\n", body, "t\n"), 3, "", true},
        {formOf("h\n", "text\n", "t\n"), 4, "", true},
        {formOf("h\n", body, "t\n\nb %7\n"), 8, "an insert that has no variable", true},
        {formOf("h\n", body, "100%"), 6, "a percent sign at the very end", true},
        {"^INJECT_SYS_INFO\n1\nSYS_INFO_ENV_OP 0 x 0\n" +
             formOf("[SYS_INFO_ENV_OP]\n", body, "t\n"),
         3, "the number of datum affixes has no digit", true},
        {formOf("h\n\n100 % or\n100 %d\n", body, "t\n"), 5, "a lone percent sign", false},
        {formOf("h\n", body + "a\n\n[DAY\n", "t\n"), 7, "a bracket is not closed", false},
        {formOf("h\n", body, "[t\n"), 6, "a bracket is not closed", false},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.form.constData());
        const FormTrial logged = logWith(folder, test.form);
        EXPECT_EQ(logged.isBuiltIn, test.isBuiltIn);
        EXPECT_TRUE(logged.traces.contains(QStringLiteral("the form %1, line %2: %3")
                                               .arg(formName)
                                               .arg(test.line)
                                               .arg(test.reason)))
            << qPrintable(logged.traces);
        EXPECT_EQ(logged.traces.count("the built-in form is used instead"), test.isBuiltIn);
    }
    const std::wstring missing = folder.path("missing.html");
    const QString traces = tryForm(folder, missing).traces;
    EXPECT_TRUE(traces.contains("the form " + QString::fromStdWString(missing) + ": "));
    EXPECT_TRUE(traces.contains(" (45/FileNotOpened).")) << qPrintable(traces);
}

TEST(LogForm, HeadMayFillTheLargestBufferAndNoMore)
{
    const Folder folder;
    const QByteArray largest(524287, 'h');
    EXPECT_EQ(logWith(folder, formOf(largest + "%0\n", body, "t\n")).text, largest + "entry\nt\n");
    const FormTrial beyond = logWith(folder, formOf(largest + "h%0\n", body, "t\n"));
    EXPECT_TRUE(beyond.isBuiltIn);
    EXPECT_EQ(beyond.code, dx::Satisfied);
}

TEST(LogForm, SecondLearningFailsAndThirdReadsTheFileAgain)
{
    const Folder folder;
    Stages data(folder.path("log.html"), folder.write("form.html", plainForm));
    EXPECT_FALSE(data.obtainLogFileFormData(SECTIONS_ALL));
    EXPECT_EQ(data.takeCode(), dx::FormNotInitialized);
    ASSERT_TRUE(data.establishLogFile(true));
    EXPECT_FALSE(data.establishLogFile(true));
    EXPECT_EQ(data.takeCode(), dx::FormAlreadyOpen);

    folder.write("form.html", formOf("a new head\n", "[SITUATION_DSCRP]\n", "t\n"));
    ASSERT_TRUE(data.establishLogFile(true)) << data.getSelfDX_Code();
    EXPECT_EQ(data.report(L"entry"), dx::Satisfied);
    EXPECT_EQ(folder.read("log.html"), logBytes("a new head\nentry\nt\n"));
}

TEST(LogForm, ProcessWithoutALogNeedsTheBodyOnly)
{
    const Folder folder;
    const struct {
        const char* what;
        QByteArray form;
        bool isBuiltIn;
    } cases[] = {
        {"no tail, empty head", "^HEAD\n^BODY\nx [SITUATION_DSCRP]\n", false},
        {"unusable head", formOf("[\n]]\n", "x [SITUATION_DSCRP]\n", "[NO_SUCH]"), false},
        {"no description", formOf("h\n", "x\n", "t\n"), true},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.what);
        Stages data(i64{5});
        makeReady(data, folder.path("log.html"), folder.write("form.html", test.form).c_str());
        ASSERT_TRUE(data.establishLogFile(true)) << data.getSelfDX_Code();
        const ZarnDataFile& file = *data.getFileLog();
        EXPECT_EQ(file.m_formIsBuiltIn, test.isBuiltIn);
        EXPECT_EQ(std::wstring(file.m_bodyFormat) == L"x %1!s!\n", !test.isBuiltIn);
        EXPECT_FALSE(file.m_headFormat || file.m_tailFormat || file.m_logStream);
    }
    EXPECT_EQ(folder.files(), QStringList{"form.html"});
}

TEST(LogForm, ModuleMayHaveKeywordsAndNamesOfItsOwn)
{
    const Folder folder;
    const auto useProgram = [](Stages& settings) {
        settings.setSelfResourceModule(GetModuleHandleW(nullptr));
    };
    serveOwnStrings();
    const auto table = strings();
    const struct {
        const char* what;
        unsigned int id;
        const wchar_t* text; ///< Null: no such string.
        int code;            ///< Dismissed.
        int createCode;
    } cases[] = {
        {"a keyword changed", 11004, L"EPILOGUE", dx::MarkerUnknown, 0},
        {"keywords alike", 11004, L"body", dx::KeywordsAlike, 0},
        {"no body keyword", 11001, nullptr, dx::KeywordBodyMissing, 0},
        {"no head keyword", 11002, nullptr, dx::KeywordHeadMissing, 0},
        {"an empty head keyword", 11002, L"", dx::KeywordHeadMissing, 0},
        {"no injector keyword", 11003, nullptr, dx::KeywordInjectorMissing, 0},
        {"no tail keyword", 11004, nullptr, dx::KeywordTailMissing, 0},
        {"a name changed", 12025, L"SITUATION_TEXT", dx::VarNameUnknown, dx::VarNameUnknown},
        {"first name missing", 12001, nullptr, 0, dx::VarNameNotLoaded},
        {"last name missing", 12031, nullptr, 0, dx::VarNameNotLoaded},
        {"an empty name", 12010, L"", 0, dx::VarNameNotLoaded},
        {"no built-in head", 10022, nullptr, dx::MarkerUnknown, dx::SectionNotLoaded},
        {"an empty built-in tail", 10023, L"", dx::MarkerUnknown, dx::TailUnusable},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.what);
        strings() = table;
        if (test.text)
            strings()[test.id] = test.text;
        else
            strings().erase(test.id);
        const QByteArray form = test.code == dx::MarkerUnknown ? plainForm + "^TAIL\n" : plainForm;
        const FormTrial logged = logWith(folder, form, useProgram);
        EXPECT_EQ(logged.createCode, test.createCode);
        EXPECT_EQ(logged.text.isEmpty(), test.createCode != 0);
        EXPECT_EQ(logged.dismissed, test.code ? QList<int>{test.code} : QList<int>{});
    }

    strings() = table;
    strings()[11004] = L"EPILOGUE";
    strings()[11001] = L"PART";
    strings()[12025] = L"SITUATION_DSC";
    strings()[10021] = L"[SITUATION_DSC]\n";
    const QByteArray form = "^HEAD\nh\n^PART\n<[SITUATION_DSC]>\n^EPILOGUE\nt\n";
    const FormTrial logged = logWith(folder, form, useProgram);
    EXPECT_EQ(logged.text, "h\n<entry>\nt\n");
}
