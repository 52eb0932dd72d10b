// Folders that go away, and logs to read.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <iosfwd>
#include <string>

/// How a failed test shows a QString.
void PrintTo(const QString& text, std::ostream* out);

namespace zmu_test {

/// A folder for the files of one test.
class Folder {
  public:
    Folder();
    std::wstring path(const char* name) const;
    /// Writes a file and returns its path.
    std::wstring write(const char* name, const QByteArray& bytes) const;
    /// Makes a folder, with those above it, and returns its path.
    std::wstring makeFolder(const char* name) const;
    QByteArray read(const char* name) const;
    QStringList files() const;

  private:
    QTemporaryDir m_folder;
};

QByteArray readFile(const std::wstring& path);
/// Text of a log without its byte-order mark, its line breaks as plain line feeds where the
/// formatter completes them; fails the test if the mark is missing.
QString logText(const std::wstring& path);
/// `text` with the line breaks that logText gives.
QString asLogText(QString text);
/// `text` with each stamp of the built-in form ("2026-11-21 03:00:38.742") as "<time>".
QString withoutTimes(QString text);

} // namespace zmu_test
