#include "Support.h"

#include <zmu/foundation/internal/Utf8.h>
#include <zmu/monitor/DxCodes.h>
#include <zmu/platform/Host.h>

#include <sanitizer/common_interface_defs.h>

#include <cstdlib>
#include <cwchar>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <unistd.h>

namespace zmu_fuzz {

namespace {

/// A folder that goes away with the process. One that a finding ends leaves it to whoever has set
/// TMPDIR, as ./dev does.
class PrivateFolder {
  public:
    PrivateFolder()
    {
        m_path = (std::filesystem::temp_directory_path() / "zmu-fuzz-XXXXXX").string();
        FUZZ_CHECK(mkdtemp(m_path.data()));
        // The library's own temporary files, and settings that are not this machine's.
        setenv("TMPDIR", m_path.c_str(), 1);
        setenv("XDG_CONFIG_DIRS", m_path.c_str(), 1);
    }
    ~PrivateFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;

    const std::string& path() const { return m_path; }

  private:
    std::string m_path;
};

const PrivateFolder folder;

bool isInTable(int code)
{
    return std::wcscmp(zmu::describe(code).name, L"Unknown") != 0;
}

void checkFailure(int, int code, const wchar_t* name, const wchar_t* text)
{
    FUZZ_CHECK(isInTable(code));
    FUZZ_CHECK(std::wcscmp(name, zmu::describe(code).name) == 0);
    FUZZ_CHECK(std::wcslen(text) > 0);
}

int showNothing(HWND, const wchar_t* text, const wchar_t* caption, unsigned int)
{
    FUZZ_CHECK(std::wcslen(text) > 0);
    return caption ? static_cast<int>(std::wcslen(caption)) : 0;
}

std::string_view bytesOf(std::u16string_view text)
{
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof text[0]};
}

std::wstring widePathOf(const char* name)
{
    const std::string path = pathOf(name);
    return std::wstring(path.begin(), path.end()); // ASCII, unless TMPDIR is none
}

} // namespace

void reportFinding(const char* what, const char* file, int line)
{
    const std::string text =
        std::string("check failed: ") + what + ", " + file + ':' + std::to_string(line);
    __sanitizer_report_error_summary(text.c_str()); // which reaches whoever silences the library
    std::abort();
}

std::wstring Input::widen(std::string_view bytes)
{
    constexpr unsigned char noCharacter = 0xFF;
    std::wstring text;
    const char* const end = bytes.data() + bytes.size();
    for (const char* at = bytes.data(); at != end;) {
        const auto lead = static_cast<unsigned char>(*at);
        const char32_t point = zmu::takeUtf8(at, end);
        if (point != zmu::replacementCharacter)
            text += static_cast<wchar_t>(point);
        else
            text += lead == noCharacter ? wchar_t(-1) : static_cast<wchar_t>(0xD780 + 8 * lead);
    }
    return text;
}

std::string pathOf(const char* name)
{
    return folder.path() + '/' + name;
}

void writeFile(const std::string& path, std::string_view bytes)
{
    std::ofstream file(path, std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    FUZZ_CHECK(file.good());
}

std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    FUZZ_CHECK(file.good());
    return std::string(std::istreambuf_iterator<char>(file), {});
}

void Arguments::add(std::wstring text)
{
    wideTexts.push_back(std::move(text));
    values.push_back(reinterpret_cast<std::uintptr_t>(wideTexts.back().c_str()));
    kinds.push_back(zmu::SlotKind::WideText);
}

Arguments::Arguments(Input& input)
{
    constexpr std::size_t zeros = sizeof(wchar_t);
    const auto qty = input.number<std::size_t>(0, 12);
    for (std::size_t i = 0; i < qty; ++i) {
        const auto kind = input.number<u8>(0, 4);
        kinds.push_back(static_cast<zmu::SlotKind>(kind));
        switch (kinds.back()) {
        case zmu::SlotKind::Number:
            values.push_back(input.number<std::uint32_t>());
            break;
        case zmu::SlotKind::AnyText:
        case zmu::SlotKind::WideText:
            values.push_back(
                reinterpret_cast<std::uintptr_t>(wideTexts.emplace_back(input.wideText()).c_str()));
            break;
        case zmu::SlotKind::NarrowText: {
            std::string& text = narrowTexts.emplace_back(input.terminatedText());
            text.append(zeros + sizeof(wchar_t) - text.size() % sizeof(wchar_t), '\0');
            values.push_back(reinterpret_cast<std::uintptr_t>(text.c_str()));
            break;
        }
        case zmu::SlotKind::Unknown:
            values.push_back(0);
            break;
        }
    }
}

// ---- Data sets -------------------------------------------------------------------------------------

LoggingData::LoggingData(const wchar_t* formName)
{
    constexpr int argumentsQty = 5;
    constexpr int plugInsQty = 3;
    setCharSetExternal(ZARN_CHARSET_WIDE);
    setArgsIntQty(argumentsQty);
    setArgsStrQty(argumentsQty);
    setArgsUIntQty(argumentsQty);
    setDisplayDlgBoxFunction(showNothing);
    setFailureFunction(checkFailure);
    createPlugIns(plugInsQty)[1] = [](const Zarn* monitor) { return !monitor; };
    std::wstring logName = widePathOf("log.html");
    FUZZ_CHECK(recordLogFileNomenclature(logName.data(), formName, Zarn_LOG_HTML));
}

bool LoggingData::open()
{
    const std::string path = pathOf("log.html");
    std::filesystem::remove(path); // of the input before
    if (establishLogFile(true)) {
        document();
        return true;
    }
    FUZZ_CHECK(isInTable(getSelfDX_Code()));
    FUZZ_CHECK(!std::filesystem::exists(path) || std::filesystem::is_empty(path));
    return false;
}

std::string LoggingData::document()
{
    constexpr std::string_view mark = "\xFF\xFE";
    constexpr std::u16string_view builtInTail = u"</body><html>\n";
    std::string text = readFile(pathOf("log.html"));
    FUZZ_CHECK(text.starts_with(mark) && text.size() % 2 == 0);
    FUZZ_CHECK(text.starts_with(m_entries) && m_entries.size() <= tailPosition());
    FUZZ_CHECK(tailPosition() < text.size());
    FUZZ_CHECK(!getFileLog()->m_formIsBuiltIn ||
               text.substr(tailPosition()) == bytesOf(builtInTail));
    m_entries = text.substr(0, tailPosition());
    return text;
}

std::size_t LoggingData::tailPosition() const
{
    return static_cast<std::size_t>(getFileLog()->m_tailPosition);
}

Outcome LoggingData::report(int situationID, const Arguments& arguments)
{
    const std::size_t before = tailPosition();
    respondToSituation(situationID, nullptr, arguments.values.data(), arguments.kinds.data(),
                       arguments.values.size());
    const int code = getSelfDX_Code();
    FUZZ_CHECK(isInTable(code));
    Outcome outcome{code, document().substr(before, tailPosition() - before)};
    if (code != zmu::dx::Satisfied) {
        forgetSelfDX_Code();
        FUZZ_CHECK(forgetSituation());
    }
    FUZZ_CHECK(isSelfSatisfied() && isSituationNormal());
    return outcome;
}

} // namespace zmu_fuzz
