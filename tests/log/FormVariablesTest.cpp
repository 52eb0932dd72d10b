// Compiling the variables of a section, and what they are filled with.
#include "LogParts.h"

#include <QCoreApplication>
#include <QDateTime>

using namespace zmu;
using namespace zmu_test;

namespace {

struct Compiled {
    int code = 0;
    std::wstring format;
    std::vector<int> vars;
    bool operator==(const Compiled&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Compiled& compiled)
{
    out << compiled.code << " \""
        << QString::fromStdWString(compiled.format).left(200).toStdString() << '"';
    for (const int var : compiled.vars)
        out << ' ' << var;
    return out;
}

class FormVariables : public testing::Test {
  protected:
    FormVariables()
    {
        data.initialize();
        data.freeLogFileFormData();
        data.learnLogFileFormVarNames();
    }

    Compiled compile(const std::wstring& text)
    {
        wchar_t* format = copyOf(text);
        int count = -1;
        Zarn_FORM_VAR* vars = nullptr;
        u64* values = nullptr;
        const bool succeeded = data.composeLogFileFormSectionFormat(&format, count, &vars, &values);
        Compiled result{data.takeCode(), {}, {}};
        EXPECT_EQ(succeeded, result.code == dx::Satisfied);
        if (succeeded) {
            result.format = format;
            result.vars.assign(vars, vars + count);
            EXPECT_EQ(vars != nullptr, count > 0);
            EXPECT_EQ(values != nullptr, count > 0);
        }
        delete[] format;
        delete[] vars;
        delete[] values;
        return result;
    }
    static wchar_t* copyOf(const std::wstring& text)
    {
        auto* copy = new wchar_t[text.size() + 1];
        std::wmemcpy(copy, text.c_str(), text.size() + 1);
        return copy;
    }

    Stages data;
};

std::wstring times(int count, const char* text)
{
    return QString(text).repeated(count).toStdWString();
}

/// "%1!02d!%2!02d!..."
std::wstring dayInserts(int count)
{
    std::wstring result;
    for (int i = 1; i <= count; ++i)
        result += L"%" + std::to_wstring(i) + L"!02d!";
    return result;
}

} // namespace

TEST_F(FormVariables, BecomeNumberedInserts)
{
    const struct {
        std::wstring text;
        Compiled compiled;
    } cases[] = {
        {L"", {}},
        {L"no variable, 100%", {0, L"no variable, 100%", {}}},
        {L"[DAY]-[SITUATION_DSCRP]", {0, L"%1!02d!-%2!s!", {4, 24}}},
        {L"[DAY][DAY]", {0, L"%1!02d!%2!02d!", {4, 4}}},
        {L"[COMPANY_KNOW_BASE][YEAR]", {0, L"%1!s!%2!d!", {0, 30}}},
        {L"abc[DAY", {0, L"abc[DAY", {}}},
        {L"[YEAR]abc[DAY", {0, L"%1!d!abc", {30}}},
        {L"%1!s![PROCESS_ID]", {0, L"%1!s!%1!lu!", {20}}},
        {L"[]", {dx::VarNameEmpty, {}, {}}},
        {L"[[X]", {dx::BracketNested, {}, {}}},
        {L"X]", {dx::BracketClosed, {}, {}}},
        {L"[DAY]]", {dx::BracketClosed, {}, {}}},
        {L"[day]", {dx::VarNameUnknown, {}, {}}},
        {L"[DAY ]", {dx::VarNameUnknown, {}, {}}},
        {L"[A]", {dx::VarNameUnknown, {}, {}}},
        {L"[Z]", {dx::VarNameUnknown, {}, {}}},
        {L"[" + std::wstring(1022, L'A') + L"]", {dx::VarNameUnknown, {}, {}}},
        {L"[" + std::wstring(1023, L'A') + L"]", {dx::VarNameTooLong, {}, {}}},
        {L"[YEAR][" + std::wstring(1023, L'A'), {dx::VarNameTooLong, {}, {}}},
    };
    for (const auto& test : cases)
        EXPECT_EQ(compile(test.text), test.compiled)
            << QString::fromStdWString(test.text).left(80).toStdString();
}

TEST_F(FormVariables, MayOutgrowTheirSectionButPlainTextMayNot)
{
    const auto plain = [](int count) {
        return std::wstring(static_cast<std::size_t>(count), L'p');
    };
    const std::vector<int> days(2000, Zarn_FORM_VAR_DAY);
    const auto daysAnd = [&](int count, const std::wstring& rest) {
        return Compiled{0, dayInserts(count) + rest, {days.begin(), days.begin() + count}};
    };
    const Compiled tooLong{dx::ReformatTooLong, {}, {}};

    // 99 inserts take 783 characters. A short section has room for 1023 with its plain text.
    EXPECT_EQ(compile(times(99, "[DAY]") + plain(240)), daysAnd(99, plain(240)));
    EXPECT_EQ(compile(times(99, "[DAY]") + plain(241)), tooLong);
    EXPECT_EQ(compile(times(190, "[DAY]")), daysAnd(190, L""));
    EXPECT_EQ(compile(times(190, "[DAY]") + L"p"), tooLong);
    // From 975 characters on it has room for its own length.
    EXPECT_EQ(compile(L"[DAY]" + plain(969)), (Compiled{0, L"%1!02d!" + plain(969), {4}}));
    EXPECT_EQ(compile(L"[DAY]" + plain(970)), tooLong);
    EXPECT_EQ(compile(plain(970) + L"[DAY]"), (Compiled{0, plain(970) + L"%1!02d!", {4}}));
    EXPECT_EQ(compile(L"[YEAR]" + plain(3000)), (Compiled{0, L"%1!d!" + plain(3000), {30}}));
    EXPECT_EQ(compile(plain(3000) + times(2000, "[DAY]")).format, plain(3000) + dayInserts(2000));
}

TEST(FormVariablesOfALog, AllHaveTheirValues)
{
    const Folder folder;
    const QByteArray body =
        "[COMPANY_KNOW_BASE]|[COMPANY_NAME_LONG]|[COMPANY_NAME_SHORT]|[COMPANY_WEBSITE]|[DAY]|"
        "[ENTRY_COLOR]|[ENTRY_ID]|[FILE_VERSION]|[HOME_DIRECTORY]|[HOURS]|[LOGFILE_NAME]|"
        "[MILLISECONDS]|[MINUTES]|[MODULE_FILE_NAME]|[MODULE_NAME]|[MONTH]|[NAME_OF_DOMAIN]|"
        "[NAME_OF_HOST]|[NAME_OF_SESSION]|[NAME_OF_USER]|[PROCESS_ID]|[PRODUCT_NAME]|"
        "[PRODUCT_VERSION]|[SECONDS]|[SITUATION_DSCRP]|[SITUATION_ID]|[SUITE_NAME]|"
        "[SYS_INFO_ENV_APP]|[SYS_INFO_ENV_OP]|[SYS_INFO_VARS_ENV]|[YEAR]|\n";
    const std::wstring log = folder.path("log.html");
    for (const bool isEscaped : {false, true}) {
        QFile::remove(QString::fromStdWString(log));
        Stages data(log, folder.write("form.html", formOf("h\n", body, "t")));
        EXPECT_FALSE(data.setSystemTextsEscaped(isEscaped));
        for (int tag = 0; tag < Zarn_FORM_TAGS_QTY; ++tag) {
            const std::wstring value = L"<" + std::to_wstring(tag) + L">";
            EXPECT_TRUE(data.recordTag(value.c_str(), static_cast<Zarn_FORM_TAG>(tag)));
        }
        data.recordTag(static_cast<wchar_t*>(nullptr), Zarn_FORM_TAG_COMPANY_WEBSITE);
        data.recordTag(toNarrow(L"Gr\u00fc\u00dfe [DAY] %1!s!").c_str(),
                       Zarn_FORM_TAG_PRODUCT_NAME);
        ASSERT_TRUE(data.establishLogFile(true));
        const auto now = [] { return QDateTime::currentDateTime(); };
        const QDateTime before = now();
        EXPECT_EQ(data.report(L"described"), dx::Satisfied);
        const QDateTime after = now();

        QString text = logText(log).mid(2);
        QStringList values = text.split('|');
        ASSERT_EQ(values.size(), 32);
        const QString time = values[30] + '-' + values[15] + '-' + values[4] + ' ' + values[9] +
                             ':' + values[12] + ':' + values[23] + '.' + values[11];
        const QDateTime written = QDateTime::fromString(time, "yyyy-MM-dd HH:mm:ss.zzz");
        EXPECT_TRUE(before <= written && written <= after) << qPrintable(time);
        EXPECT_EQ(written.toString("yyyy-MM-dd HH:mm:ss.zzz"), time); // padded
        for (const int index : {30, 15, 4, 9, 12, 23, 11})
            values[index] = "time";
        QString expected =
            zmu_test::text(u"<0>|<1>|<2>||time|F0F0FF|1|{4}|{5}|time|%1|time|time|{6}|<7>|"
                           u"time|{8}|{9}|{10}|{11}|%2|Gr\u00fc\u00dfe [DAY] %3|{13}|time|"
                           u"described|100|<14>||||time|\nt");
        // Those in braces are the system's.
        expected.replace('{', isEscaped ? "&lt;" : "<").replace('}', isEscaped ? "&gt;" : ">");
        const auto processID = QString::number(QCoreApplication::applicationPid());
        EXPECT_EQ(values.join('|'), expected.arg(QString::fromStdWString(log), processID, "%1!s!"));
    }
}
