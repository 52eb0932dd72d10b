// What a report looks like, made of pairs that are made up here.
#include <zmu/sysinfo/ZarnSysInfo.h>
#include <zmu/sysinfo/ZarnSysInfoFormatter.h>

#include <gtest/gtest.h>

#include <QDir>
#include <QTemporaryDir>
#include <QTextStream>

#include <utility>
#include <vector>

namespace {

using Pairs = std::vector<std::pair<QString, QString>>;

class MadeUp : public ZarnSysInfo {
  public:
    explicit MadeUp(Pairs pairs) : m_pairs(std::move(pairs)) {}

    bool getDataPair(int position, wchar_t* caption, wchar_t* datum, int captionSize,
                     int datumSize) override
    {
        ++asked;
        if (position >= static_cast<int>(m_pairs.size()))
            return false;
        m_position = position;
        const auto& [captionText, datumText] = m_pairs[static_cast<std::size_t>(position)];
        return formatDataPair(caption, datum, captionSize, datumSize,
                              captionText.toStdWString().c_str(), datumText.toStdWString().c_str());
    }
    int asked = 0;

  protected:
    bool learnNextPosition() override { return ++m_position; }

  private:
    Pairs m_pairs;
};

/// A report of `pairs`, with the data in brackets.
QString report(const Pairs& pairs, bool isShort = false, bool isEscaped = false)
{
    MadeUp source(pairs);
    QString text;
    QTextStream stream(&text);
    ZarnSysInfoFormatterHTML formatter(nullptr);
    formatter.useShortForm(isShort);
    formatter.escapeMarkup(isEscaped);
    formatter.addDatumPrefix(L"[");
    formatter.addDatumSuffix(L"]");
    formatter.setSysInfo(&source);
    EXPECT_TRUE(formatter.reportSystemInformation(stream));
    return text;
}

QString link(const QString& path)
{
    return QStringLiteral("<a href=\"file://%1\">%1</a>").arg(path);
}

TEST(Formatter, AffixesGoRoundEachForItself)
{
    MadeUp source({{"a", "1"}, {"b", "2"}, {"c", "3"}, {"d", "4"}});
    QString text;
    QTextStream stream(&text);
    ZarnSysInfoFormatterHTML formatter(&stream);
    formatter.setSysInfo(&source);
    EXPECT_TRUE(formatter.reportSystemInformation());
    EXPECT_EQ(text, "a1b2c3d4"); // with nothing around them

    text.clear();
    EXPECT_EQ(formatter.addCaptionPrefix(L"<x>"), 1);
    EXPECT_EQ(formatter.addCaptionPrefix(L"<y>"), 2);
    EXPECT_EQ(formatter.addCaptionPrefix(L"<z>"), 3);
    EXPECT_EQ(formatter.addCaptionPrefix(nullptr), -1);
    EXPECT_EQ(formatter.addCaptionSuffix(L"="), 1);
    EXPECT_EQ(formatter.addDatumPrefix(L"("), 1);
    EXPECT_EQ(formatter.addDatumSuffix(L");"), 1);
    EXPECT_EQ(formatter.addDatumSuffix(L")."), 2);
    for (int i = 0; i < 2; ++i) { // and from the first one again
        text.clear();
        EXPECT_TRUE(formatter.reportSystemInformation());
        EXPECT_EQ(text, "<x>a=(1);<y>b=(2).<z>c=(3);<x>d=(4).");
    }

    // One that has no room ends the walk, and that is no failure.
    formatter.addCaptionSuffix(std::wstring(4095, L's').c_str());
    formatter.addCaptionSuffix(std::wstring(4096, L's').c_str());
    text.clear();
    EXPECT_TRUE(formatter.reportSystemInformation());
    EXPECT_EQ(text, "<x>a=(1);<y>b" + QString(4095, 's') + "(2).");
}

TEST(Formatter, AffixesMayBeMany)
{
    Pairs pairs;
    QString expected;
    ZarnSysInfoFormatterHTML formatter(nullptr);
    for (int i = 0; i < 200'000; ++i)
        ASSERT_EQ(formatter.addDatumSuffix(std::to_wstring(i).c_str()), i + 1);
    for (int i = 0; i < 70; ++i) {
        pairs.emplace_back("", "x");
        expected += 'x' + QString::number(i);
    }
    MadeUp source(pairs);
    QString text;
    QTextStream stream(&text);
    formatter.setSysInfo(&source);
    EXPECT_TRUE(formatter.reportSystemInformation(stream));
    EXPECT_EQ(text, expected);
}

TEST(Formatter, NeedsAStreamAndASource)
{
    MadeUp source(Pairs{{"a", "1"}});
    ZarnSysInfoFormatterHTML formatter(nullptr);
    formatter.setSysInfo(&source);
    EXPECT_FALSE(formatter.reportSystemInformation());
    EXPECT_EQ(source.asked, 0);
    QString text;
    QTextStream stream(&text);
    EXPECT_EQ(formatter.setSysInfo(nullptr), &source);
    EXPECT_FALSE(formatter.reportSystemInformation(stream));
    EXPECT_EQ(report({}), "");
}

TEST(Formatter, ShortFormSaysAWordOnce)
{
    const Pairs pairs = {{"ad.dll File Version", "1"},
                         {"ad.dll Size", "2"},
                         {"aps Size", "3"},
                         {"ap Size", "4"}, // begins as the one before
                         {"PATHEXT", "5"},
                         {"PATH", "6"},
                         {"PATH", "7"}};
    EXPECT_EQ(report(pairs, true), "ad.dll[1][2]aps[3][4]PATHEXT[5]PATH[6][7]");
    EXPECT_EQ(report({{"a b", "1"}, {"a c", "2"}}), "a b[1]a c[2]");
}

TEST(Formatter, PathsBecomeLinksAndListsLines)
{
    const QTemporaryDir folder;
    const QString here = QDir::toNativeSeparators(folder.path());
    const QString missing = here + "-not";
    const QChar listed = QDir::listSeparator();
    const std::pair<QString, QString> cases[] = {
        {here, link(here)},
        {missing, missing},
        {"tests", "tests"},
        {QString("%1;%1;%1").arg(here), QString("%1;<br>%1;<br>%1").arg(link(here))},
        {missing + ';' + here, missing + ";<br>" + link(here)},
        {"a;b=<i>;", "a;<br>b=<i>;<br>"},
        {here + listed + missing + listed,
         link(here) + listed + "<br>" + missing + listed + "<br>"},
        {QString(".") + listed + here + listed + missing,
         QString(".") + listed + "<br>" + link(here) + listed + "<br>" + missing},
        {here + listed + "x;", link(here) + listed + "<br>x;" + (listed == ';' ? "<br>" : "")},
        {"host:8080", "host:8080"},
        {"http://host:8080", "http://host:8080"},
        {"\\\\?\\" + here, "\\\\?\\" + here},
        {"unix:path=/run/bus", "unix:path=/run/bus"},
        {":", ":"},
        {here + QString(300, '/'), here + QString(300, '/')}};
    for (const auto& [datum, shown] : cases)
        EXPECT_EQ(report({{"", datum}}), '[' + shown + ']');
}

TEST(Formatter, WhatHasNoRoomStaysPlain)
{
    const QTemporaryDir folder;
    const QString here = QDir::toNativeSeparators(folder.path());
    const int linkSize = static_cast<int>(link(here).size());
    for (int size = 4095 - linkSize - 8; size <= 4095; ++size) {
        const QString tail = here.left(size);
        const QString datum = QString(size - tail.size() - 1, 'x') + ';' + tail;
        const QString broken = QString(datum).replace(";", ";<br>");
        const QString linked = broken.left(broken.size() - tail.size()) + link(here);
        const QString shown = report({{"", datum}});
        EXPECT_EQ(shown, '[' +
                             (linked.size() < 4095   ? linked
                              : broken.size() < 4096 ? broken
                                                     : datum) +
                             ']')
            << size;
    }
    // As many elements as there can be, each with more behind it than before.
    const QString separators = QString("/;").repeated(2047);
    const QString whole = report({{"", separators}});
    EXPECT_EQ(whole, '[' + separators + ']');
}

TEST(Formatter, EscapedTextsShowAsTheyAre)
{
    const QTemporaryDir folder;
    const QString here = QDir::toNativeSeparators(folder.path()) + QDir::separator();
    QString hostile = here + "a;b 100% #'&";
    if (QDir::separator() == '/')
        hostile += "<script>\"[x]";
    ASSERT_TRUE(QDir().mkdir(hostile));
    QString address = hostile;
    address.replace("%", "%25").replace(" ", "%20").replace("#", "%23").replace("<", "%3C");
    address.replace(">", "%3E").replace("\"", "%22");
    address.replace("&", "&amp;").replace("'", "&#39;");
    QString shown = hostile.toHtmlEscaped();
    shown.replace("'", "&#39;");
    const QString hostileLink = "<a href=\"file://" + address + "\">" + shown + "</a>";

    EXPECT_EQ(report({{"<b>", "</table><script>alert('%1')</script>[DAY]"}}, false, true),
              "&lt;b&gt;[&lt;/table&gt;&lt;script&gt;alert(&#39;%1&#39;)&lt;/script&gt;[DAY]]");
    EXPECT_EQ(report({{"", hostile}}, false, true), '[' + hostileLink + ']');
    EXPECT_EQ(report({{"", "&lt;;\"" + QString(4000, '<')}}, false, true),
              "[&amp;lt;<br>;<br>&quot;" + QString("&lt;").repeated(4000) + ']');
}

} // namespace
