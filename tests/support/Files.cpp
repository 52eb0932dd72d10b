#include "Files.h"

#include "System.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <ostream>

void PrintTo(const QString& text, std::ostream* out)
{
    *out << '"' << qPrintable(text) << '"';
}

namespace zmu_test {

// Not in the class: a test can have a constant one as a member then.
Folder::Folder() = default;

std::wstring Folder::path(const char* name) const
{
    return m_folder.filePath(QString::fromUtf8(name)).toStdWString();
}

std::wstring Folder::write(const char* name, const QByteArray& bytes) const
{
    QFile file(m_folder.filePath(QString::fromUtf8(name)));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    return path(name);
}

std::wstring Folder::makeFolder(const char* name) const
{
    EXPECT_TRUE(QDir(m_folder.path()).mkpath(QString::fromUtf8(name)));
    return path(name);
}

QByteArray Folder::read(const char* name) const
{
    return readFile(path(name));
}

QStringList Folder::files() const
{
    return QDir(m_folder.path()).entryList(QDir::Files, QDir::Name);
}

QByteArray readFile(const std::wstring& path)
{
    QFile file(QString::fromStdWString(path));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << qPrintable(file.fileName());
    return file.readAll();
}

QString logText(const std::wstring& path)
{
    const QByteArray bytes = readFile(path);
    const QString text(reinterpret_cast<const QChar*>(bytes.constData()), bytes.size() / 2);
    EXPECT_TRUE(text.startsWith(QChar(0xFEFF)));
    EXPECT_EQ(bytes.size() % 2, 0);
    return asLogText(text.mid(1));
}

QString asLogText(QString text)
{
    return formatterCompletesLineFeeds() ? text.replace("\r\n", "\n") : text;
}

QString withoutTimes(QString text)
{
    static const QRegularExpression time(
        QStringLiteral("\\d+-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d\\d\\d"));
    return text.replace(time, QStringLiteral("<time>"));
}

} // namespace zmu_test
