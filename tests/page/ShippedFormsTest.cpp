// The forms in templates/: the library takes them, and what their policy allows is what they bring.
#include "Support.h"

#include <gtest/gtest.h>

#include <QCryptographicHash>
#include <QRegularExpression>

using namespace zmu_test;

namespace {

class ShippedForms : public testing::TestWithParam<const char*> {
  protected:
    QString logOf(const std::wstring& entry)
    {
        const std::wstring form = QString(ZMU_TEMPLATES "/").append(GetParam()).toStdWString();
        Monitor monitor(m_folder.path("page.html"), form.c_str());
        EXPECT_EQ(monitor.createCode(), 0);
        EXPECT_EQ(reportText(monitor.get(), entry.c_str()), 0);
        return logText(m_folder.path("page.html"));
    }

  private:
    Folder m_folder;
};

/// The sources that the policy of a page names for `element`.
QStringList allowed(const QString& page, const QString& element)
{
    const QRegularExpression directive(element + "-src ([^;\"]*)");
    return directive.match(page).captured(1).split(' ', Qt::SkipEmptyParts);
}

QStringList hashesOf(const QString& page, const QString& element)
{
    QStringList hashes;
    const QRegularExpression elements(QString("<%1\\b[^>]*>(.*?)</%1>").arg(element),
                                      QRegularExpression::DotMatchesEverythingOption);
    for (const QRegularExpressionMatch& match : elements.globalMatch(page)) {
        const QByteArray digest =
            QCryptographicHash::hash(match.captured(1).toUtf8(), QCryptographicHash::Sha256);
        hashes << "'sha256-" + digest.toBase64() + "'";
    }
    return hashes;
}

} // namespace

TEST_P(ShippedForms, GiveAWholePageWhosePolicyFitsIt)
{
    const QString page = logOf(L"<script>alert(1)</script><style>* { color: red; }</style>");
    const auto entries = page.indexOf("<tr id=\"e1\"");
    ASSERT_GT(entries, 0);
    EXPECT_TRUE(page.startsWith("<!DOCTYPE html>\n"));
    EXPECT_TRUE(page.endsWith("</body>\n</html>\n"));

    const QString head = page.left(entries);
    EXPECT_EQ(allowed(head, "style"), hashesOf(head, "style")) << "see docs/forms.md";
    EXPECT_EQ(allowed(head, "script"), hashesOf(head, "script")) << "see docs/forms.md";
    EXPECT_TRUE(
        head.contains("content=\"default-src 'none'; base-uri 'none'; form-action 'none';"));
    // Only elements are covered by a hash: an attribute would not work.
    EXPECT_FALSE(head.contains(QRegularExpression("<\\w[^>]* (style|on\\w+)=")));
}

TEST_P(ShippedForms, LeaveTheDescriptionMostOfAnEntry)
{
    EXPECT_TRUE(logOf(std::wstring(850, L'x')).contains(QString(850, 'x')));
}

INSTANTIATE_TEST_SUITE_P(Templates, ShippedForms,
                         testing::Values("bpw_template.html", "aps_template.html"),
                         [](const auto& info) { return std::string(info.param, 3); });
