// The box that shows an internal error.
#include <zmu/localize/ZarnLocalizeHelpers.h>

#include <zmu/foundation/WideBuffer.h>
#include <zmu/foundation/internal/LoadString.h>
#include <zmu/foundation/internal/WideFormat.h>
#include <zmu/platform/Win32.h>

#include <cwchar>

namespace {

using zmu::WideBuffer;

using Text = WideBuffer<512>;
using Format = WideBuffer<64>;
using Version = WideBuffer<48>;

constexpr wchar_t infoBlock[] = L"StringFileInfo";
constexpr wchar_t separator = L'\\';

enum : unsigned { CaptionFormat = 13001, NumberFormat = 13002, Space = 14006 };

/// An intrinsic string, or what stands for it when it cannot be loaded.
template <std::size_t N>
void loadIntrinsic(WideBuffer<N>& text, unsigned id, const wchar_t* fallback)
{
    const bool isLoaded =
        ZarnLocalizeHelpers::loadIntrinsicString(id, text.writable(), static_cast<int>(N));
    text.setUsed(N);
    if (!isLoaded)
        text.assign(fallback);
}

/// Formats into `text`, which is empty if that fails or gives nothing.
template <class... Arguments>
void format(Text& text, const wchar_t* form, Arguments... arguments)
{
    const int length = zmu::formatWide(text.writable(), Text::capacity, form, arguments...);
    text.setUsed(Text::capacity);
    if (length < 1)
        text.clear();
}

std::size_t room(const Text& text)
{
    return Text::capacity - text.length();
}

void appendIfFits(Text& text, const wchar_t* addition)
{
    if (std::wcslen(addition) < room(text))
        text.append(addition);
}

/// "Internal Error 4.1.042"
void writeNumber(Text& text, int errorNumber, HINSTANCE module)
{
    Version version;
    const bool hasVersion = ZarnLocalizeHelpers::extractModuleVerValueSFI_FVer(
        module, version.writable(), Version::capacity, nullptr, infoBlock, separator);
    version.setUsed(Version::capacity);
    if (!hasVersion)
        version.assign(L"0");
    Format form;
    loadIntrinsic(form, NumberFormat, L"Internal Error %ls.%0*d");
    format(text, form.c_str(), version.c_str(), 3, errorNumber % 1000);
}

/// The module's own words for the error. False when it has none.
bool appendErrorText(Text& text, int errorNumber, HINSTANCE module)
{
    if (!module || errorNumber < 1)
        return false;
    Text words;
    const int length = zmu::loadString(module, static_cast<unsigned>(errorNumber), words.writable(),
                                       static_cast<int>(room(text)));
    words.setUsed(Text::capacity);
    if (length < 1)
        return false;
    text.append(words.c_str());
    return true;
}

/// "%%" stands for "%". Any other conversion would have nothing to convert, and stays as it is.
void writeGivenCaption(Text& text, const wchar_t* caption)
{
    wchar_t* output = text.writable();
    for (; *caption; ++caption) {
        if (caption[0] == L'%' && caption[1] == L'%')
            ++caption;
        *output++ = *caption;
    }
    *output = L'\0';
    text.setUsed(Text::capacity);
}

/// "Example Server Error"
void writeOwnCaption(Text& text, HINSTANCE module)
{
    Text name;
    ZarnLocalizeHelpers::extractModuleVerValueSFI_ProdNm(module, name.writable(), Text::capacity,
                                                         nullptr, infoBlock, separator);
    name.setUsed(Text::capacity);
    if (name.isEmpty())
        loadIntrinsic(name, Space, L" ");
    Format form;
    loadIntrinsic(form, CaptionFormat, L"%ls Error");
    if (form.isEmpty())
        text.assign(name.c_str());
    else
        format(text, form.c_str(), name.c_str());
}

} // namespace

int ZarnLocalizeHelpers::showError(int errorNumber, HINSTANCE module, const wchar_t* detail,
                                   HWND parent, const wchar_t* caption, unsigned int boxType)
{
    try {
        auto* const source = getSelfResourceModuleSafe(module);
        Text text;
        writeNumber(text, errorNumber, source);
        if (detail)
            appendIfFits(text, detail);
        if (!text.isEmpty())
            appendIfFits(text, L"\n\n");
        if (!appendErrorText(text, errorNumber, module))
            return 0;

        Text title;
        if (caption && *caption && wcsnlen(caption, Text::capacity) < Text::capacity)
            writeGivenCaption(title, caption);
        else
            writeOwnCaption(title, source);
        const int answer =
            MessageBoxW(parent, text.c_str(), title.isEmpty() ? nullptr : title.c_str(), boxType);
        return answer < 1 ? 0 : answer;
    } catch (...) {
        return 0;
    }
}
