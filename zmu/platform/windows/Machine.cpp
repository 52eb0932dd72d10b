// The machine, by what Windows says of itself.
#include <zmu/platform/Machine.h>

#include <algorithm>
#include <bit>
#include <cwchar>
#include <iterator>
#include <memory>

namespace zmu::machine {

namespace {

constexpr DWORD textCapacity = 1024;

/// A key of the local machine, open for reading.
class RegistryKey {
  public:
    explicit RegistryKey(const wchar_t* path, HKEY root = HKEY_LOCAL_MACHINE)
    {
        if (RegOpenKeyExW(root, path, 0, KEY_READ, &m_key) != ERROR_SUCCESS)
            m_key = nullptr;
    }
    ~RegistryKey()
    {
        if (m_key)
            RegCloseKey(m_key);
    }
    RegistryKey(const RegistryKey&) = delete;
    RegistryKey& operator=(const RegistryKey&) = delete;

    explicit operator bool() const { return m_key; }
    HKEY get() const { return m_key; }

    std::optional<DWORD> number(const wchar_t* name) const
    {
        DWORD value = 0;
        DWORD type = REG_NONE;
        DWORD size = sizeof value;
        if (!m_key || RegQueryValueExW(m_key, name, nullptr, &type, reinterpret_cast<BYTE*>(&value),
                                       &size) != ERROR_SUCCESS)
            return std::nullopt;
        return type == REG_DWORD ? std::optional(value) : std::nullopt;
    }

    /// A text of at most 2048 bytes, which need not be terminated.
    std::optional<std::wstring> text(const wchar_t* name) const
    {
        wchar_t value[textCapacity];
        DWORD type = REG_NONE;
        DWORD size = sizeof value;
        if (!m_key || RegQueryValueExW(m_key, name, nullptr, &type, reinterpret_cast<BYTE*>(value),
                                       &size) != ERROR_SUCCESS)
            return std::nullopt;
        if (type != REG_SZ && type != REG_EXPAND_SZ)
            return std::nullopt;
        return std::wstring(value, wcsnlen(value, size / sizeof(wchar_t)));
    }

  private:
    HKEY m_key = nullptr;
};

/// The answer of a call that gives the elements written, or those that it needs.
template <class Call>
std::wstring readDirectory(Call call)
{
    wchar_t text[textCapacity];
    const UINT length = call(text, textCapacity);
    return length < textCapacity ? std::wstring(text, length) : std::wstring();
}

SYSTEM_INFO systemInfo()
{
    SYSTEM_INFO info = {};
    GetSystemInfo(&info);
    return info;
}

std::wstring rootOf(const std::wstring& drive)
{
    return drive + L'\\';
}

/// Keeps the system from asking the user for a disk.
class CriticalErrorHold {
  public:
    CriticalErrorHold() { SetThreadErrorMode(SEM_FAILCRITICALERRORS, &m_before); }
    ~CriticalErrorHold() { SetThreadErrorMode(m_before, nullptr); }
    CriticalErrorHold(const CriticalErrorHold&) = delete;
    CriticalErrorHold& operator=(const CriticalErrorHold&) = delete;

  private:
    DWORD m_before = 0;
};

/// Domain of the user that a token is for.
std::wstring domainOf(HANDLE token)
{
    alignas(TOKEN_USER) BYTE user[1024];
    DWORD size = sizeof user;
    if (!GetTokenInformation(token, TokenUser, user, size, &size))
        return {};
    wchar_t name[textCapacity];
    wchar_t domain[textCapacity];
    DWORD nameSize = textCapacity;
    DWORD domainSize = textCapacity;
    SID_NAME_USE use = SidTypeUnknown;
    if (!LookupAccountSidW(nullptr, reinterpret_cast<TOKEN_USER*>(user)->User.Sid, name, &nameSize,
                           domain, &domainSize, &use))
        return {};
    return domain;
}

} // namespace

bool readMemoryStatus(MEMORYSTATUSEX& status) noexcept
{
    status.dwLength = sizeof status;
    return GlobalMemoryStatusEx(&status);
}

bool readVersion(OSVERSIONINFOEXW& version) noexcept
{
    version.dwOSVersionInfoSize = sizeof version;
    return GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version));
}

Edition edition()
{
    return {systemInfo().wProcessorArchitecture == PROCESSOR_ARCHITECTURE_AMD64,
            GetSystemMetrics(SM_SERVERR2) != 0};
}

bool readHotfixes(std::vector<Hotfix>& hotfixes)
{
    const RegistryKey key(L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\HotFix");
    DWORD count = 0;
    if (!key || RegQueryInfoKeyW(key.get(), nullptr, nullptr, nullptr, &count, nullptr, nullptr,
                                 nullptr, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
        return false;
    for (DWORD i = 0; i < count; ++i) {
        wchar_t name[256]; // longer than any key's
        DWORD length = static_cast<DWORD>(std::size(name));
        if (RegEnumKeyExW(key.get(), i, name, &length, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS)
            return false;
        const RegistryKey hotfix(name, key.get());
        if (!hotfix)
            return false;
        hotfixes.push_back({name, hotfix.number(L"Installed")});
    }
    return true;
}

std::wstring computerName()
{
    wchar_t name[textCapacity];
    DWORD size = textCapacity;
    return GetComputerNameW(name, &size) ? name : L"";
}

std::wstring accountDomain()
{
    HANDLE token = nullptr;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_READ, &token)) {
        const std::wstring domain = domainOf(token);
        CloseHandle(token);
        return domain;
    }
    if (GetLastError() != ERROR_CALL_NOT_IMPLEMENTED)
        return {};
    const RegistryKey key(L"SYSTEM\\CurrentControlSet\\Services\\MSNP32\\NetworkProvider");
    return key.text(L"AuthenticatingAgent").value_or(L"");
}

unsigned languageID()
{
    return GetSystemDefaultLangID();
}

std::wstring windowsDirectory()
{
    return readDirectory(GetWindowsDirectoryW);
}

std::wstring systemDirectory()
{
    return readDirectory(GetSystemDirectoryW);
}

bool listFixedDrives(std::vector<std::wstring>& drives, std::wstring& present)
{
    const CriticalErrorHold hold;
    present = L"A:";
    const DWORD mask = GetLogicalDrives();
    // A letter below the last one may be a drive, too, whose bit is not set.
    const auto letters = static_cast<int>(std::bit_width(mask));
    for (int i = 0; i < letters; ++i) {
        present[0] = static_cast<wchar_t>(L'A' + i);
        if (GetDriveTypeW(rootOf(present).c_str()) == DRIVE_FIXED)
            drives.push_back(present);
    }
    return mask != 0;
}

std::optional<u64> freeBytes(const std::wstring& drive)
{
    const CriticalErrorHold hold;
    ULARGE_INTEGER bytes = {};
    if (!GetDiskFreeSpaceExW(rootOf(drive).c_str(), nullptr, nullptr, &bytes))
        return std::nullopt;
    return bytes.QuadPart;
}

std::wstring fileSystem(const std::wstring& drive)
{
    const CriticalErrorHold hold;
    wchar_t name[textCapacity];
    return GetVolumeInformationW(rootOf(drive).c_str(), nullptr, 0, nullptr, nullptr, nullptr, name,
                                 textCapacity)
               ? name
               : L"";
}

Processor processor()
{
    const RegistryKey key(L"HARDWARE\\DESCRIPTION\\SYSTEM\\CentralProcessor\\0");
    return {key.text(L"VendorIdentifier"), key.text(L"Identifier"),
            key.number(L"~MHz").value_or(0)};
}

unsigned processorCount()
{
    return systemInfo().dwNumberOfProcessors;
}

std::vector<std::wstring> environment()
{
    const std::unique_ptr<wchar_t, decltype(&FreeEnvironmentStringsW)> block(
        GetEnvironmentStringsW(), FreeEnvironmentStringsW);
    std::vector<std::wstring> all;
    for (const wchar_t* next = block.get(); next && *next; next += std::wcslen(next) + 1) {
        if (*next != L'=') // the current directory of a drive
            all.emplace_back(next);
    }
    std::sort(all.begin(), all.end());
    return all;
}

std::wstring subsystemCommandLine()
{
    const RegistryKey key(L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\SubSystems");
    return key.text(L"Windows").value_or(L"");
}

} // namespace zmu::machine
