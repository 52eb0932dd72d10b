// What the tests of the log share: forms, a data set with open stages, reports.
#pragma once

#include "Support.h"

#include <zmu/foundation/UTL_String.h>
#include <zmu/monitor/DxCodes.h>
#include <zmu/monitor/ZarnArguments.h>
#include <zmu/monitor/ZarnDataForThread.h>

#include <QDir>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <functional>

namespace zmu_test {

/// Literals with more than ASCII.
inline QString text(const char16_t* literal)
{
    return QString::fromUtf16(literal);
}

inline QByteArray formOf(const QByteArray& head, const QByteArray& body, const QByteArray& tail)
{
    return "^HEAD\n" + head + "^BODY\n" + body + "^TAIL\n" + tail;
}

/// A form without times: its log is known to the byte.
inline const QByteArray plainForm = formOf("<log>\n", "[SITUATION_DSCRP]\n", "</log>\n");

inline QString plainLog(const QString& entries)
{
    return "<log>\n" + entries + "</log>\n";
}

/// `text` as it stands in a log file.
inline QByteArray logBytes(QString text)
{
    if (formatterCompletesLineFeeds())
        text.replace('\n', "\r\n");
    return "\xFF\xFE" + QByteArray(reinterpret_cast<const char*>(text.utf16()), 2 * text.size());
}

/// The series note that begins a successor, as an entry's description.
inline QString seriesNote(int number, const std::wstring& origin)
{
    return QStringLiteral("This log file is #%1 in a series that began with %2.")
        .arg(number)
        .arg(QString::fromStdWString(origin));
}

/// A data set on its own, whose stages can be called and whose limit can be any.
class Stages : public ZarnData {
  public:
    Stages() : Stages(i64{0}) {}
    explicit Stages(i64 nonnativeInstantiatorID) : ZarnData(nonnativeInstantiatorID)
    {
        setCharSetExternal(2);
        if (nonnativeInstantiatorID)
            m_proxyRespondToSituation = [](unsigned int, i64, int, const wchar_t*, const wchar_t*) {
                return 1;
            };
    }
    Stages(const std::wstring& logName, const std::wstring& formName) : Stages()
    {
        makeReady(*this, logName, formName.empty() ? nullptr : formName.c_str());
    }

    /// Reports and answers the code that the report left, which it forgets.
    int report(const wchar_t* text)
    {
        u64 arguments[zmu::ArgumentSlotsQty] = {reinterpret_cast<u64>(text)};
        char* cursor = reinterpret_cast<char*>(arguments);
        recordSituationID(textSituation);
        respondToSituation(&cursor);
        return takeCode();
    }
    int takeCode()
    {
        const int code = getSelfDX_Code();
        forgetSelfDX_Code();
        forgetSituation();
        return code;
    }
    void setLimit(u64 limit) { m_logFileByteCountLimit = limit; }
    bool allocate(bool allowed) { return m_safeToAllocateMemory = allowed; }

    using ZarnData::areLogFileFormSectionsUsable;
    using ZarnData::composeLogFileFormSectionFormat;
    using ZarnData::countLogFileFormSectionVarNames;
    using ZarnData::freeLogFileFormData;
    using ZarnData::isValidLogFileNomenclature;
    using ZarnData::learnLogFileFormVarNames;
    using ZarnData::obtainDataForCurrentThread;
    using ZarnData::obtainLogFileFormData;
    using ZarnData::openLogFile;
    using ZarnData::reformatLogFileFormSection;
};

/// What a form makes of a log with one entry, "entry".
struct FormTrial {
    QString text;
    QString traces;
    QList<int> dismissed; ///< Codes for which a form was given up.
    bool isBuiltIn = false;
    int createCode = 0;
    int code = 0; ///< That the entry ended with.
};

/// Tries `form` in a log in `folder`, with settings that `change` has changed.
inline FormTrial tryForm(const Folder& folder, const std::wstring& form,
                         const std::function<void(Stages&)>& change = {})
{
    static const QRegularExpression dismissal("ZarnData::processFileLogForm \\(\\d+\\) is "
                                              "dismissing exception #(\\d+)\\.\n");
    FormTrial trial;
    const std::wstring log = folder.path("log.html");
    QFile::remove(QString::fromStdWString(log));
    Traces traces;
    Stages settings;
    makeReady(settings, log, form.c_str());
    if (change)
        change(settings);
    Zarn* monitor = Zarn::create(&settings);
    trial.createCode = settings.getSelfDX_Code();
    if (monitor) {
        trial.isBuiltIn = DataSetOf::of(monitor)->getFileLog()->m_formIsBuiltIn;
        trial.code = reportText(monitor, L"entry");
        Zarn::destroy(&monitor, 0, false);
        trial.text = logText(log);
        const QString builtIn = "<html><body>\n<!-- ProductVersion= FileVersion= -->";
        EXPECT_EQ(trial.isBuiltIn, trial.text.startsWith(builtIn)) << qPrintable(trial.text);
    }
    trial.traces = traces.take();
    for (auto found = dismissal.globalMatch(trial.traces); found.hasNext();)
        trial.dismissed += found.next().captured(1).toInt();
    return trial;
}

/// A monitor with a log whose successors go to the folder "logs".
class LogSeries : public testing::Test {
  protected:
    LogSeries()
    {
        folder.makeFolder("logs");
        setLogDirectory(folder.path("logs"));
    }
    ~LogSeries() override { Zarn::destroy(&monitor, 0, false); }

    /// Makes the monitor with settings that `change` has changed. `form` empty: the built-in one.
    void start(const QByteArray& form, const std::function<void(Stages&)>& change)
    {
        Stages settings(log, form.isEmpty() ? L"" : folder.write("form.html", form));
        change(settings);
        monitor = Zarn::create(&settings);
        ASSERT_TRUE(monitor) << settings.getSelfDX_Code();
    }
    /// The names in the folder "logs".
    QStringList files() const
    {
        return QDir(QString::fromStdWString(folder.path("logs"))).entryList(QDir::Files);
    }
    std::wstring present() const { return DataSetOf::of(monitor)->getFileLogName(); }
    /// The entries of a log of the plain form, which is a whole document.
    static QStringList entriesOf(const std::wstring& path)
    {
        const QString text = logText(path);
        EXPECT_TRUE(text.startsWith("<log>\n") && text.endsWith("</log>\n")) << qPrintable(text);
        return text.mid(6).chopped(7).split('\n', Qt::SkipEmptyParts);
    }

    const Folder folder;
    std::wstring log = folder.path("logs/log.html");
    Zarn* monitor = nullptr;
};

/// Copies the library's own strings to those that the test program serves, so that it can be the
/// library's own module with a string changed.
inline void serveOwnStrings()
{
    ZarnData settings;
    ASSERT_TRUE(settings.learnSelfResourceModule());
    for (unsigned int id = 10001; id <= 12031; ++id) {
        UTL_String text;
        if (text.loadFromModule(settings.getSelfResourceModule(), id, 1024) > 0)
            strings()[id] = text.wideText();
    }
}

} // namespace zmu_test
