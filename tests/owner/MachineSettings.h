// The machine's settings, made up for a test.
#pragma once

#include "Support.h"

#include <zmu/platform/Win32.h>

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>

#include <cstring>
#include <string>

#if !defined(_WIN32)
#include <sys/stat.h>
#endif

namespace zmu_test {

/// Stands in for the settings of the machine while it lives. A value is a number if it is one of 32
/// bits, else a text.
class MachineSettings {
  public:
#if defined(_WIN32)
    MachineSettings()
    {
        RegDeleteTreeW(HKEY_CURRENT_USER, m_standIn.c_str());
        EXPECT_EQ(RegCreateKeyW(HKEY_CURRENT_USER, m_standIn.c_str(), &m_machine), ERROR_SUCCESS);
        EXPECT_EQ(RegOverridePredefKey(HKEY_LOCAL_MACHINE, m_machine), ERROR_SUCCESS);
    }
    ~MachineSettings()
    {
        RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
        RegCloseKey(m_machine);
        RegDeleteTreeW(HKEY_CURRENT_USER, m_standIn.c_str());
    }

    void remove()
    {
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, key);
    }

    /// Null for no value.
    void store(const char* value)
    {
        bool isNumber = false;
        const DWORD number = QByteArray(value).toUInt(&isNumber);
        const std::wstring text = QString(value).toStdWString();
        if (isNumber)
            store(REG_DWORD, &number, sizeof number);
        else
            store(REG_SZ, text.c_str(), static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
        if (!value)
            RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key, name);
    }
    void store(DWORD type, const void* bytes, DWORD size)
    {
        EXPECT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, name, type, bytes, size), ERROR_SUCCESS);
    }

    QByteArray stored() const
    {
        wchar_t text[64] = {};
        DWORD size = sizeof text;
        DWORD type = REG_NONE;
        if (RegGetValueW(HKEY_LOCAL_MACHINE, key, name, RRF_RT_ANY, &type, text, &size) !=
            ERROR_SUCCESS)
            return "(none)";
        DWORD number = 0;
        std::memcpy(&number, text, sizeof number);
        return type == REG_DWORD ? QByteArray::number(number)
                                 : QString::fromWCharArray(text).toUtf8();
    }

  private:
    static constexpr wchar_t key[] = L"SOFTWARE\\Quorvane\\Farrowlink\\AppServer";
    static constexpr wchar_t name[] = L"ZM_Assertiveness";

    const std::wstring m_standIn = L"Software\\zmu_test_" + std::to_wstring(GetCurrentProcessId());
    HKEY m_machine = nullptr;
#else
    MachineSettings()
    {
        qputenv("XDG_CONFIG_DIRS", root());
        EXPECT_EQ(chmod(root(), 0755), 0); // anybody may search it
        EXPECT_TRUE(QDir().mkpath(QString(root()) + "/Quorvane"));
    }

    QByteArray file() const
    {
        return root() + "/Quorvane/Farrowlink.ini";
    }
    void remove()
    {
        QFile::remove(file());
    }
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
#endif
};

} // namespace zmu_test
