// The contracts in the headers name codes: every name is one of the tables.
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QSet>

#include <gtest/gtest.h>

namespace {

const QSet<QString> codes = {
    "dx::Satisfied",
    "zgw::Success",
#define ZMU_DX(number, name, operations, meaning, ...) ("dx::" #name),
#include <zmu/monitor/DxCodes.def>
#undef ZMU_DX
#define ZMU_ZGW(number, name, operations, meaning, ...) ("zgw::" #name),
#include <zmu/owner/ZgwCodes.def>
#undef ZMU_ZGW
};

} // namespace

TEST(Headers, NameCodesThatExist)
{
    static const QRegularExpression name(QStringLiteral("\\b(?:dx|zgw)::[A-Z]\\w+"));
    int namesCount = 0;
    QDirIterator headers(ZMU_TEST_HEADERS, {"*.h"}, QDir::Files, QDirIterator::Subdirectories);
    while (headers.hasNext()) {
        QFile file(headers.next());
        ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << file.fileName().toStdString();
        const QString text = QString::fromUtf8(file.readAll());
        for (auto it = name.globalMatch(text); it.hasNext(); ++namesCount) {
            const QString code = it.next().captured();
            EXPECT_TRUE(codes.contains(code))
                << code.toStdString() << " in " << file.fileName().toStdString();
        }
    }
    EXPECT_GT(namesCount, 200); // the headers were found
}
