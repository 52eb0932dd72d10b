#include <zmu/platform/linux/SettingsText.h>

#include <zmu/foundation/internal/Trim.h>

#include <algorithm>

using namespace zmu;

namespace {

/// One line of a settings file, and what it says.
struct Line {
    enum Kind { Blank, Section, Setting, Broken } kind = Blank;
    std::string_view whole; ///< With its line break, if it has one.
    std::string_view name;  ///< Of the section or the setting.
    std::string_view value;
};

Line takeLine(std::string_view& text)
{
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    Line line;
    line.whole = text.substr(0, std::min(text.find('\n'), text.size() - 1) + 1);
    text.remove_prefix(line.whole.size());
    std::string_view content = line.whole;
    if (content.starts_with(byteOrderMark))
        content.remove_prefix(byteOrderMark.size());
    content = trim(content.substr(0, content.find('\n')));
    if (content.empty() || content.front() == ';')
        return line;
    if (content.front() == '[') {
        line.kind = content.back() == ']' ? Line::Section : Line::Broken;
        line.name = trim(content.substr(1, content.size() - 2));
        return line;
    }
    const std::size_t equals = content.find('=');
    line.kind = equals == content.npos ? Line::Broken : Line::Setting;
    line.name = trim(content.substr(0, equals));
    line.value = equals == content.npos ? std::string_view() : trim(content.substr(equals + 1));
    if (line.value.size() > 1 && line.value.front() == '"' && line.value.back() == '"')
        line.value = line.value.substr(1, line.value.size() - 2);
    return line;
}

} // namespace

std::string_view zmu::takePart(std::string_view& text, char separator)
{
    const std::string_view part = text.substr(0, text.find(separator));
    text.remove_prefix(std::min(part.size() + 1, text.size()));
    return part;
}

std::vector<std::string> zmu::settingsFiles(const char* folders, const std::string& organisation,
                                            const std::string& product)
{
    std::string_view rest = folders && *folders ? folders : "/etc/xdg";
    std::vector<std::string> files;
    while (!rest.empty()) {
        std::string_view folder = takePart(rest, ':');
        while (folder.size() > 1 && folder.ends_with('/'))
            folder.remove_suffix(1);
        if (folder.starts_with('/'))
            files.emplace_back(folder)
                .append("/")
                .append(organisation)
                .append("/")
                .append(product)
                .append(".ini");
    }
    return files;
}

bool zmu::isSettingsText(std::string_view text)
{
    while (!text.empty()) {
        if (takeLine(text).kind == Line::Broken)
            return false;
    }
    return true;
}

std::optional<std::string> zmu::findSetting(std::string_view text, std::string_view section,
                                            std::string_view name)
{
    std::optional<std::string> value;
    bool isInside = false;
    while (!text.empty()) {
        const Line line = takeLine(text);
        if (line.kind == Line::Section)
            isInside = line.name == section;
        else if (line.kind == Line::Setting && isInside && line.name == name)
            value = line.value;
    }
    return value;
}

std::string zmu::withSetting(std::string_view text, std::string_view section, std::string_view name,
                             std::string_view value)
{
    const std::string setting = std::string(name).append("=").append(value).append("\n");
    std::string result;
    std::size_t place = std::string::npos; // behind the section's last line that says something
    bool isInside = false;
    while (!text.empty()) {
        const Line line = takeLine(text);
        if (line.kind == Line::Section)
            isInside = line.name == section;
        if (line.kind == Line::Setting && isInside && line.name == name)
            continue;
        result.append(line.whole);
        if (!result.ends_with('\n'))
            result += '\n';
        if (isInside && line.kind != Line::Blank)
            place = result.size();
    }
    if (place == std::string::npos) {
        result.append("[").append(section).append("]\n");
        place = result.size();
    }
    return result.insert(place, setting);
}
