// What a form asks for in comments: the time zone, and the links between the files of a series.
#include "LogParts.h"

#include <QFileInfo>

#include <tuple>

using namespace zmu;
using namespace zmu_test;

namespace {

const QByteArray form = formOf("<!--TIME_ZONE-->|<!--PREVIOUS_LOG-->|<!-- NEXT_LOG -->\n",
                               "[SITUATION_DSCRP]\n", "<!--NEXT_LOG--><!--NEXT_LOG\n");

class FormExtras : public LogSeries {
  protected:
    /// Writes a series of three logs, each with an entry, and gives their texts.
    QStringList writeSeries(bool offered)
    {
        log = folder.path("logs/a #1 & b.html");
        start(form, [=](Stages& settings) { settings.offerFormExtras(offered); });
        QStringList texts;
        for (int i = 0; i < 3; ++i) {
            EXPECT_TRUE(i == 0 || monitor->reestablishLogFile(false));
            EXPECT_EQ(reportText(monitor, L"entry"), 0);
            m_names << QString::fromStdWString(present());
        }
        for (const QString& name : m_names)
            texts << logText(name.toStdWString());
        return texts;
    }
    /// The link to successor `i`, whose name asks for no escapes.
    QString link(int i) const
    {
        return QString("<a href=\"./%1\">%1</a>").arg(QFileInfo(m_names[i]).fileName());
    }

  private:
    QStringList m_names;
};

} // namespace

TEST(FormExtra, IsNoVariable)
{
    const Folder folder;
    for (const QByteArray name : {"TIME_ZONE", "NEXT_LOG", "PREVIOUS_LOG", "EXPLANATIONS"}) {
        const QByteArray bad = formOf("[" + name + "]\n", "[SITUATION_DSCRP]\n", "tail\n");
        EXPECT_TRUE(tryForm(folder, folder.write("form.html", bad),
                            [](Stages& settings) { settings.offerFormExtras(true); })
                        .isBuiltIn)
            << name.constData();
    }
}

TEST_F(FormExtras, StayCommentsWhereTheyAreNotOffered)
{
    for (const QString& text : writeSeries(false)) {
        EXPECT_TRUE(text.startsWith("<!--TIME_ZONE-->|<!--PREVIOUS_LOG-->|<!-- NEXT_LOG -->\n"));
        EXPECT_TRUE(text.endsWith("\nentry\n<!--NEXT_LOG--><!--NEXT_LOG\n"));
    }
}

TEST_F(FormExtras, LinkTheFilesOfASeries)
{
    const QStringList texts = writeSeries(true);
    const QString toFirst = "<a href=\"./a%20%231%20%26%20b.html\">a #1 &amp; b.html</a>";
    const QString begins = "^UTC[+-]\\d\\d:\\d\\d\\|%1\\|<!-- NEXT_LOG -->\n";
    const QString ends = "\nentry\n%1<!--NEXT_LOG\n";
    for (const auto& [text, previous, next] : {std::tuple{texts[0], QString(), link(1)},
                                               {texts[1], toFirst, link(2)},
                                               {texts[2], link(1), QString()}}) {
        EXPECT_TRUE(
            text.contains(QRegularExpression(begins.arg(QRegularExpression::escape(previous)))))
            << text.toStdString();
        EXPECT_TRUE(text.endsWith(ends.arg(next))) << text.toStdString();
    }
}

TEST(FormExtra, LinksThePageOfExplanationsThatIsThere)
{
    const Folder folder;
    const std::wstring form = folder.write(
        "form.html", formOf("<!--EXPLANATIONS-->|\n", "[SITUATION_DSCRP]\n", "tail\n"));
    const auto head = [&] {
        Stages data(folder.path("log.html"), form);
        data.offerFormExtras(true);
        EXPECT_TRUE(data.establishLogFile(true)) << data.getSelfDX_Code();
        return logText(folder.path("log.html"));
    };
    EXPECT_TRUE(head().startsWith("|\n"));
    EXPECT_TRUE(QDir(QString::fromStdWString(folder.path("."))).mkdir("Codes"));
    folder.write("Codes/Situations.html", "x");
    EXPECT_TRUE(head().startsWith(
        "<a id=\"explanations\" href=\"Codes/Situations.html\">Explanations</a>|\n"));
}
