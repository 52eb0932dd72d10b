// A monitor to report to, with what became of its situations.
#pragma once

#include "Support.h"

#include <zmu/monitor/DxCodes.h>
#include <zmu/monitor/ZarnDataForThread.h>

#include <QRegularExpression>
#include <QStringList>

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace zmu_test {

namespace dx = zmu::dx;

/// A data set whose settings a test can make what no setter accepts, and whose lock can fail.
struct OpenData : ZarnData {
    using ZarnData::m_descriptionFillersQty;
    using ZarnData::m_plugInsQty;
    using ZarnData::m_selfResourceModule;
    using ZarnData::m_sizeMapOfDataForThreads;
    using ZarnData::obtainDataForCurrentThread;
    using ZarnData::ZarnData;

    bool enterCriticalSection() const override
    {
        return !refusesToEnter && ZarnData::enterCriticalSection();
    }
    bool leaveCriticalSection() const override
    {
        return ZarnData::leaveCriticalSection() && !refusesToLeave;
    }

    bool refusesToEnter = false;
    bool refusesToLeave = false;
};

/// Plenty of settings for any spec: 10 fillers, 3 plug-ins, affixes 0 to 4.
inline void settle(OpenData& data)
{
    data.createPlugIns(3);
    data.setDescriptionAffixID_Min(9000);
    data.setDescriptionAffixIDsQty(5);
    strings()[9000] = L"Pre ";
    strings()[9001] = L" suf %1!d!";
    strings()[9003] = L""; // 9002 is missing
    strings()[9004] = std::wstring(505, L'p');
}

/// Texts of the entries of a log in the built-in form; fails the test if anything else stands
/// between its head and its one tail.
inline QStringList entriesOf(const std::wstring& path)
{
    QString text = withoutTimes(logText(path));
    const QString tail = QStringLiteral("</body><html>\n");
    EXPECT_TRUE(text.endsWith(tail));
    text.chop(tail.size());
    text.remove(0, text.indexOf(QStringLiteral("layout instead.<br>\n")) + 20);
    static const QRegularExpression entry(
        QStringLiteral("\\G<!-- SituationID=-?\\d+ --><time> (.*?)<br>\n"),
        QRegularExpression::DotMatchesEverythingOption);
    QStringList entries;
    qsizetype end = 0;
    for (auto it = entry.globalMatch(text); it.hasNext();) {
        const QRegularExpressionMatch match = it.next();
        entries += match.captured(1);
        end = match.capturedEnd();
    }
    EXPECT_EQ(text.mid(end), QString()) << "no entry";
    return entries;
}

struct InFolder {
    Folder folder;
};

/// A data set with the settings of makeReady and an open log.
struct Established : InFolder, OpenData {
    explicit Established(i64 nonnativeID = 0) : OpenData(nonnativeID)
    {
        makeReady(*this, folder.path("log.html"));
        EXPECT_TRUE(establishLogFile(true)) << getSelfDX_Code();
    }
    QStringList entries() const { return entriesOf(folder.path("log.html")); }
};

/// A monitor with the settings of makeReady, as `change` left them.
class Reporter {
  public:
    using Change = std::function<void(OpenData&)>;

    explicit Reporter(const Change& change = {}, i64 nonnativeID = 0)
    {
        OpenData settings(nonnativeID);
        makeReady(settings, logName());
        if (change)
            change(settings);
        m_monitor = Zarn::create(&settings);
        m_createCode = settings.getSelfDX_Code();
    }
    ~Reporter() { Zarn::destroy(&m_monitor, 0, false); }
    Reporter(const Reporter&) = delete;
    Reporter& operator=(const Reporter&) = delete;

    Zarn* operator->() const { return m_monitor; }
    Zarn* get() const { return m_monitor; }
    int createCode() const { return m_createCode; }
    std::wstring logName() const { return m_folder.path("log.html"); }
    QStringList entries() const { return entriesOf(logName()); }
    const Folder& folder() const { return m_folder; }

    /// Reports a situation without arguments.
    void report(int situationID) const
    {
        m_monitor->respondToSituation(situationID, static_cast<void*>(nullptr));
    }
    /// Ends a situation that has failed.
    void recover() const
    {
        m_monitor->forgetSelfDX_Code();
        m_monitor->forgetSituation();
    }

  private:
    Folder m_folder;
    Zarn* m_monitor = nullptr;
    int m_createCode = 0;
};

} // namespace zmu_test
