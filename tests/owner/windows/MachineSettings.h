// The machine's settings, in a part of the registry that is made up for a test.
#pragma once

#include <zmu/platform/Win32.h>

#include <QByteArray>
#include <QMap>
#include <QString>

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace zmu_test {

/// Stands in for the settings of the machine while it lives. A value is a number if it is one of 32
/// bits, else a text.
class MachineSettings {
  public:
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

    void remove() { RegDeleteTreeW(HKEY_LOCAL_MACHINE, key); }

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
    /// Makes texts all that there is in a key beside that of the level.
    void storeSection(const char* section, const QMap<QString, QString>& values)
    {
        const std::wstring place =
            L"SOFTWARE\\Quorvane\\Farrowlink\\" + QString(section).toStdWString();
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, place.c_str());
        for (auto value = values.begin(); value != values.end(); ++value) {
            const std::wstring text = value.value().toStdWString();
            EXPECT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, place.c_str(),
                                      value.key().toStdWString().c_str(), REG_SZ, text.c_str(),
                                      static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))),
                      ERROR_SUCCESS);
        }
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
};

} // namespace zmu_test
