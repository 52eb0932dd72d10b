// What is read in the registry: a key of the user's stands in for the local machine.
#include <zmu/sysinfo/ZarnSysInfoEnvOp.h>

#include <gtest/gtest.h>

#include <string>

namespace {

class LocalMachine : public testing::Test {
  protected:
    void SetUp() override
    {
        TearDown();
        ASSERT_EQ(RegCreateKeyW(HKEY_CURRENT_USER, name, &m_key), ERROR_SUCCESS);
        ASSERT_EQ(RegOverridePredefKey(HKEY_LOCAL_MACHINE, m_key), ERROR_SUCCESS);
    }
    void TearDown() override
    {
        RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
        RegCloseKey(m_key);
        RegDeleteTreeW(HKEY_CURRENT_USER, name);
    }

    static void set(const std::wstring& key, const wchar_t* value, const std::wstring& text)
    {
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), value, REG_SZ, text.c_str(),
                        static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    }
    static void set(const std::wstring& key, const wchar_t* value, DWORD number)
    {
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), value, REG_DWORD, &number, sizeof number);
    }
    static std::wstring datum(int position)
    {
        wchar_t datum[256];
        ZarnSysInfoEnvOp source;
        return source.getDataPair(position, nullptr, datum, 0, 256) ? datum : L"none";
    }

  private:
    static constexpr wchar_t name[] = L"Software\\zmu_test_registry";
    HKEY m_key = nullptr;
};

TEST_F(LocalMachine, IsReadAsItIs)
{
    EXPECT_EQ(datum(4), L"Unavailable");
    EXPECT_EQ(datum(17), L"Unknown");
    EXPECT_EQ(datum(22), L"none");

    const std::wstring hotfixes = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\HotFix";
    set(hotfixes + L"\\KB1", L"Installed", 1);
    set(hotfixes + L"\\KB2", L"Installed", L"12"); // no number, though of a number's size
    set(hotfixes + L"\\KB3", L"Installed", 0xFFFFFFFF);
    EXPECT_EQ(datum(4), L"KB1(1), KB2, KB3(-1)");

    const wchar_t processor[] = L"HARDWARE\\DESCRIPTION\\SYSTEM\\CentralProcessor\\0";
    set(processor, L"Identifier", L"Model 7");
    EXPECT_EQ(datum(17), L"Unknown");
    set(processor, L"VendorIdentifier", L"Vendor");
    set(processor, L"~MHz", 2400);
    EXPECT_EQ(datum(17), L"Vendor Model 7 ~2400 MHz");

    const wchar_t subsystems[] = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\SubSystems";
    const std::wstring sizes = L" SharedSection=1024,20480,768";
    set(subsystems, L"Windows", std::wstring(1023 - sizes.size(), L'x') + sizes);
    EXPECT_EQ(datum(22), L"1024 KB");
    EXPECT_EQ(datum(24), L"768 KB");
    set(subsystems, L"Windows", std::wstring(1024 - sizes.size(), L'x') + sizes);
    EXPECT_EQ(datum(22), L"none");
}

} // namespace
