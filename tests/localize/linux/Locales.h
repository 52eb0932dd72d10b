// Locales that a test compiles, so that a machine need not have any.
#pragma once

#include <Processes.h>

#include <QFile>
#include <QString>
#include <QTemporaryDir>

#include <string>

namespace zmu_test {

/// The user's locale for the rest of the test. The C library knows those that were entered and "C",
/// no others.
class Locales {
  public:
    /// Enters "fr_FR.UTF-8". Empty, or why that cannot be.
    std::string enter(const std::string& name)
    {
        const QString locale = QString::fromStdString(name);
        const QString path = m_folder.filePath(locale);
        if (!QFile::exists("/usr/share/i18n/locales/de_DE"))
            return "the sources of locales are not installed";
        if (name != "C" && !QFile::exists(path)) {
            const ProcessEnd end =
                runProgram("localedef", {"--no-archive", "-c", "-i", locale.section('.', 0, 0),
                                         "-f", locale.section('.', 1), path});
            EXPECT_TRUE(QFile::exists(path + "/LC_NUMERIC"))
                << name << ": " << end.errors.toStdString();
        }
        qputenv("LOCPATH", m_folder.path().toUtf8());
        qputenv("LC_ALL", name.c_str());
        return "";
    }

  private:
    QTemporaryDir m_folder;
};

} // namespace zmu_test
