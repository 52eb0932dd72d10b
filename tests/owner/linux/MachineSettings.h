// The machine's settings, in a file that is made up for a test.
#pragma once

#include <Files.h>

#include <QDir>
#include <QFile>
#include <QMap>
#include <QString>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace zmu_test {

/// Stands in for the settings of the machine while it lives. A value is a number if it is one of 32
/// bits, else a text.
class MachineSettings {
  public:
    MachineSettings()
    {
        qputenv("XDG_CONFIG_DIRS", root());
        EXPECT_EQ(chmod(root(), 0755), 0); // anybody may search it
        EXPECT_TRUE(QDir().mkpath(QString(root()) + "/Quorvane"));
    }

    QByteArray file() const { return root() + "/Quorvane/Farrowlink.ini"; }
    void remove() { QFile::remove(file()); }
    void write(const QByteArray& content)
    {
        QFile ini(file());
        EXPECT_TRUE(ini.open(QIODevice::WriteOnly) && ini.write(content) == content.size());
    }
    QByteArray content() const
    {
        QFile ini(file());
        return ini.open(QIODevice::ReadOnly) ? ini.readAll() : QByteArray();
    }

    /// Null for no value.
    void store(const char* value)
    {
        // Of another size each time, so that nobody takes the file for what is known of it.
        write("[AppServer]\n" + (value ? entry + QByteArray(value) + '\n' : QByteArray()) +
              QByteArray(16 * ++m_stores, '\n'));
    }
    /// Makes values all that there is, in a section of their own.
    void storeSection(const char* section, const QMap<QString, QString>& values)
    {
        QByteArray content = "[" + QByteArray(section) + "]\n";
        for (auto value = values.begin(); value != values.end(); ++value)
            content += (value.key() + '=' + value.value() + '\n').toUtf8();
        write(content);
    }
    QByteArray stored() const
    {
        const QByteArray all = content();
        const qsizetype begin = all.indexOf(entry) + entry.size();
        return all.contains(entry) ? all.mid(begin, all.indexOf('\n', begin) - begin) : "(none)";
    }

  private:
    QByteArray root() const
    {
        return QFile::encodeName(QString::fromStdWString(m_folder.path(".")));
    }

    const QByteArray entry = "ZM_Assertiveness=";
    const Folder m_folder;
    int m_stores = 0;
};

} // namespace zmu_test
