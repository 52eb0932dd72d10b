// What is read in the registry: a key of the user's stands in for the local machine.
#include <zmu/platform/Win32.h>
#include <zmu/sysinfo/ZarnSysInfoEnvOp.h>

#include <gtest/gtest.h>

#include <string>

namespace {

void set(const std::wstring& key, const wchar_t* value, DWORD number)
{
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), value, REG_DWORD, &number, sizeof number);
}

void set(const std::wstring& key, const wchar_t* value, const std::wstring& text)
{
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), value, REG_SZ, text.c_str(),
                    static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

std::wstring datum(int position)
{
    wchar_t datum[256];
    ZarnSysInfoEnvOp source;
    return source.getDataPair(position, nullptr, datum, 0, 256) ? datum : L"none";
}

TEST(LocalMachine, IsReadAsItIs)
{
    const wchar_t name[] = L"Software\\zmu_test_registry";
    RegDeleteTreeW(HKEY_CURRENT_USER, name);
    HKEY machine = nullptr;
    ASSERT_EQ(RegCreateKeyW(HKEY_CURRENT_USER, name, &machine), ERROR_SUCCESS);
    ASSERT_EQ(RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine), ERROR_SUCCESS);
    EXPECT_EQ(datum(4) + L'|' + datum(17) + L'|' + datum(22), L"Unavailable|Unknown|none");

    const std::wstring hotfixes = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\HotFix";
    set(hotfixes + L"\\KB1", L"Installed", 1);
    set(hotfixes + L"\\KB2", L"Installed", L"2"); // of a number's size, but none
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
    EXPECT_EQ(datum(22) + L'|' + datum(24), L"1024 KB|768 KB");
    set(subsystems, L"Windows", std::wstring(1024 - sizes.size(), L'x') + sizes);
    EXPECT_EQ(datum(22), L"none");

    RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    RegCloseKey(machine);
    RegDeleteTreeW(HKEY_CURRENT_USER, name);
}

} // namespace
