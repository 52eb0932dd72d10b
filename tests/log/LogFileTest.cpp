// The log file's life: names, opening, what stands in it.
#include "LogParts.h"

#include <QDir>

using namespace zmu;
using namespace zmu_test;

namespace {

constexpr wchar_t builtInHead[] =
    L"<html><body>\n<!-- ProductVersion= FileVersion= --><time> The log template file is "
    L"inaccessible, corrupt, or perhaps too large to format; will use default layout "
    L"instead.<br>\n";

} // namespace

TEST(Log, HoldsHeadEntriesAndOneTail)
{
    const Folder folder;
    strings()[100] = L"2~536870912~2~u`s~||``Session %1!u! of %2!s! started.`";
    Monitor monitor(folder.path("log.html"));
    ASSERT_TRUE(monitor.get()) << monitor.createCode();

    monitor->respondToSituation(100, nullptr, 42U, L"Gr\u00fc\u00dfe \U0001F600");
    monitor->respondToSituation(100, nullptr, 43U, L"%1!s! [DAY] <b>");

    EXPECT_EQ(monitor->getSelfDX_Code(), 0);
    EXPECT_EQ(
        withoutTimes(logText(folder.path("log.html"))),
        QString::fromWCharArray(builtInHead) +
            text(u"<!-- SituationID=100 --><time> Session 42 of Gr\u00fc\u00dfe \U0001F600 "
                 u"started.<br>\n<!-- SituationID=100 --><time> Session 43 of %1!s! [DAY] <b> "
                 u"started.<br>\n</body><html>\n"));
}

TEST(Log, LeavesWhatStandsBehindTheTail)
{
    const Folder folder;
    const std::wstring form = folder.write("form.html", plainForm);
    for (const QByteArray& old : {QByteArray(4000, 'x'), logBytes(plainLog("a longer entry\n"))}) {
        Monitor monitor(folder.write("log.html", old), form.c_str());
        ASSERT_TRUE(monitor.get());
        QString entries;
        for (int i = 0; i < 3; ++i) {
            const QByteArray document = logBytes(plainLog(entries));
            ASSERT_EQ(folder.read("log.html"), document + old.mid(document.size()));
            EXPECT_EQ(reportText(monitor.get(), L"entry"), dx::Satisfied);
            entries += "entry\n";
        }
    }
}

TEST(Log, TakesAnyNameOfAFile)
{
    const Folder folder;
    const std::wstring form = folder.write("form.html", plainForm);
    const QString before = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(QString::fromStdWString(folder.path("."))));
    const struct {
        const char* file;
        bool isRelative;
    } cases[] = {
        {"two words.html", false},
        {"Protokoll \u00dcbergr\u00f6\u00dfe \u65e5\u672c.html", false},
        {"\U0001F600 \U00020000.html", false},
        {"relative.html", true},
        {"./relative too", true},
        {"100%1!s![DAY].html", false},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.file);
        const std::wstring name =
            test.isRelative ? QString::fromUtf8(test.file).toStdWString() : folder.path(test.file);
        Monitor monitor(name, form.c_str());
        ASSERT_TRUE(monitor.get()) << monitor.createCode();
        EXPECT_EQ(reportText(monitor.get(), name.c_str()), dx::Satisfied);
        EXPECT_EQ(folder.read(test.file), logBytes(plainLog(QString::fromStdWString(name) + '\n')));
    }
    QDir::setCurrent(before);
}

TEST(Log, IsRefusedWhereNoFileCanBe)
{
    const Folder folder;
    folder.makeFolder("directory");
    const struct {
        const char* what;
        std::wstring name;
        int code;
    } cases[] = {
        {"a missing directory", folder.path("missing/log.html"), dx::FileNotOpened},
        {"a directory", folder.path("directory"), dx::FileNotOpened},
        {"a file as directory", folder.write("file", "") + L"/log.html", dx::FileNotOpened},
        {"too long a name", folder.path("") + std::wstring(5000, L'n'), dx::FileNotOpened},
        {"no name", L"", dx::CreateRefused},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.what);
        Traces traces;
        const Monitor monitor(test.name);
        const QString traced = traces.take();
        EXPECT_FALSE(monitor.get());
        EXPECT_EQ(monitor.createCode(), test.code);
        if (test.code == dx::FileNotOpened) {
            EXPECT_TRUE(traced.contains("ZarnData::openFile () caught exception #45 when trying to "
                                        "open file " +
                                        QString::fromStdWString(test.name).left(900)))
                << qPrintable(traced);
        }
    }

    // The name stays recorded, and the file is opened once there is a place for it.
    Stages settings(folder.path("later/log.html"), folder.write("form.html", plainForm));
    EXPECT_FALSE(settings.establishLogFile(true));
    EXPECT_EQ(settings.takeCode(), dx::FileNotOpened);
    EXPECT_EQ(settings.report(L"lost"), dx::LogNotOpen);
    folder.makeFolder("later");
    EXPECT_TRUE(settings.establishLogFile(false));
    EXPECT_EQ(settings.report(L"kept"), dx::Satisfied);
    EXPECT_EQ(folder.read("later/log.html"), logBytes(plainLog("kept\n")));
}

TEST(Log, NameThatCannotBeCopiedIsTold)
{
    const Folder folder;
    Stages data(folder.path("log.html"), {});
    wchar_t buffer[8] = L"before";
    EXPECT_FALSE(data.getFileLogName(buffer, 8));
    EXPECT_EQ(data.takeCode(), dx::GetFileLogNameNotOpen);
    EXPECT_EQ(buffer[0], L'\0');

    ASSERT_TRUE(data.establishLogFile(true));
    EXPECT_FALSE(data.getFileLogName(nullptr, 8));
    EXPECT_EQ(data.takeCode(), dx::GetFileLogNameNoBuffer);
    buffer[0] = L'b';
    EXPECT_FALSE(data.getFileLogName(buffer, 0));
    EXPECT_EQ(data.takeCode(), dx::GetFileLogNameTooSmall);
    EXPECT_EQ(buffer[0], L'b'); // not one element of it is ours
    std::wstring copy(folder.path("log.html").size() + 1, L'?');
    EXPECT_FALSE(data.getFileLogName(copy.data(), copy.size() - 1));
    EXPECT_EQ(data.takeCode(), dx::GetFileLogNameTooSmall);
    EXPECT_TRUE(data.getFileLogName(copy.data(), copy.size()));
    EXPECT_EQ(copy.c_str(), folder.path("log.html"));
}

TEST(Log, NomenclatureIsJudgedInOrder)
{
    const struct {
        const char* log;
        const char* form;
        int kind;
        int native;    ///< Code where the process runs natively.
        int nonnative; ///< Code where it does not.
    } cases[] = {
        {"log", "form", 0, 0, 0},
        {"log", nullptr, 0, 0, 0},
        {"log", "", 0, 0, 0},
        {nullptr, "", -1, dx::LogKindRefused, dx::LogKindRefused},
        {nullptr, "form", 0, dx::LogNameMissing, dx::LogNameMissing},
        {"", "form", 0, dx::LogNameBlank, 0},
        {"", "", 0, dx::LogNameBlank, 0},
        {"Gr\u00fc\u00dfe.html", "gR\u00fc\u00dfE.HTML", 0, dx::LogNameIsFormName,
         dx::LogNameIsFormName},
        {"Gr\u00fc\u00dfe.html", "Gr\u00fc\u00dfe", 0, 0, 0},
        {"log", "form", 1, dx::LogKindRefused, dx::LogKindRefused},
        {"log", "LOG", 1, dx::LogNameIsFormName, dx::LogNameIsFormName},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.log ? test.log : "(null)");
        const auto wide = [](const char* text) {
            return QString::fromUtf8(text ? text : "").toStdWString();
        };
        const auto kind = static_cast<Zarn_LOG>(test.kind);
        for (const i64 instantiator : {0, 5}) {
            const int expected = instantiator ? test.nonnative : test.native;
            for (const bool isWide : {true, false}) {
                Stages data(instantiator);
                data.setSelfDX_Code(dx::FileNotOpened); // an old code is forgotten first
                const std::wstring wideForm = wide(test.form);
                const std::wstring wideLog = wide(test.log);
                const auto record = [&](auto log, const auto& form) {
                    data.recordLogFileNomenclature(test.log ? log.data() : nullptr,
                                                   test.form ? form.c_str() : nullptr, kind);
                };
                isWide ? record(wideLog, wideForm) : record(toNarrow(wideLog), toNarrow(wideForm));
                ASSERT_EQ(data.getSelfDX_Code(), expected) << instantiator << isWide;
                if (expected == dx::Satisfied) {
                    EXPECT_EQ(data.getFileLogName(), wideLog);
                    EXPECT_EQ(data.getFileLog()->m_formName != nullptr, test.form != nullptr);
                }
                // Only recording refuses a text log.
                int code = -1;
                if (test.kind == 1 && expected == dx::LogKindRefused) {
                    EXPECT_TRUE(data.isValidLogFileNomenclature(wideLog.c_str(), wideForm.c_str(),
                                                                kind, 2, code));
                }
            }
        }
    }
}
