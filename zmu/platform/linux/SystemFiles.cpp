#include <zmu/platform/linux/SystemFiles.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <map>
#include <set>
#include <utility>

namespace zmu {

namespace {

constexpr std::string_view blanks = " \t\r\v\f";

/// Takes the text up to `separator` off `text`, and the separator too.
std::string_view take(std::string_view& text, char separator)
{
    const std::string_view piece = text.substr(0, text.find(separator));
    text.remove_prefix(std::min(piece.size() + 1, text.size()));
    return piece;
}

std::string_view trim(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == text.npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// The number at the start of `text`, which is taken off.
template <class Number>
bool takeNumber(std::string_view& text, Number& number)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc())
        return false;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return true;
}

bool takeCharacter(std::string_view& text, char character)
{
    if (!text.starts_with(character))
        return false;
    text.remove_prefix(1);
    return true;
}

} // namespace

// ---- Files ---------------------------------------------------------------------------------------

std::string readSystemFile(const std::string& path, std::size_t sizeMax)
{
    std::string text;
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (file < 0)
        return text;
    struct stat status = {};
    ssize_t count = fstat(file, &status) == 0 && S_ISREG(status.st_mode) ? 1 : 0;
    char block[4096];
    while (count > 0 && text.size() <= sizeMax) {
        do
            count = read(file, block, sizeof block);
        while (count < 0 && errno == EINTR);
        if (count > 0)
            text.append(block, static_cast<std::size_t>(count));
    }
    close(file);
    if (text.size() > sizeMax) {
        text.resize(sizeMax);
        text.resize(text.rfind('\n') + 1);
    }
    return text;
}

// ---- The system's version ------------------------------------------------------------------------

bool parseKernelRelease(std::string_view release, KernelVersion& version)
{
    KernelVersion found;
    if (!takeNumber(release, found.major) || !takeCharacter(release, '.') ||
        !takeNumber(release, found.minor))
        return false;
    if (takeCharacter(release, '.') && !takeNumber(release, found.build))
        found.build = 0;
    version = found;
    return true;
}

namespace {

/// A value as the shell reads it: quotes are taken off, and backslashes that protect something. In
/// double quotes these protect only some characters.
std::string unquote(std::string_view value)
{
    constexpr std::string_view protectable = "\"$`\\";
    std::string result;
    char quote = '\0';
    for (std::size_t i = 0; i < value.size(); ++i) {
        const char c = value[i];
        if (quote != '\'' && c == '\\' && i + 1 < value.size()) {
            const char next = value[++i];
            if (quote == '"' && protectable.find(next) == protectable.npos)
                result += c;
            result += next;
        } else if (quote != '\0' && c == quote) {
            quote = '\0';
        } else if (quote == '\0' && (c == '"' || c == '\'')) {
            quote = c;
        } else if (quote == '\0' && blanks.find(c) != blanks.npos) {
            break;
        } else {
            result += c;
        }
    }
    return result;
}

/// The last value that is given to a name.
std::string assignedValue(std::string_view text, std::string_view name)
{
    std::string value;
    while (!text.empty()) {
        std::string_view line = trim(take(text, '\n'));
        if (take(line, '=') == name)
            value = unquote(line);
    }
    return value;
}

} // namespace

std::string distributionName(std::string_view osRelease)
{
    const std::string name = assignedValue(osRelease, "PRETTY_NAME");
    return name.empty() ? assignedValue(osRelease, "NAME") : name;
}

// ---- The processor -------------------------------------------------------------------------------

namespace {

/// The first value of a field that has one.
std::string_view fieldValue(std::string_view text, std::string_view field)
{
    while (!text.empty()) {
        std::string_view line = take(text, '\n');
        if (trim(take(line, ':')) == field && !trim(line).empty())
            return trim(line);
    }
    return {};
}

/// A field whose value says nothing without its name keeps it.
std::string fieldWithName(std::string_view text, const std::string& field)
{
    const std::string_view value = fieldValue(text, field);
    return value.empty() ? std::string() : field + ' ' + std::string(value);
}

template <class First, class... Others>
First firstOf(First first, Others... others)
{
    if constexpr (sizeof...(others) == 0)
        return first;
    else
        return first.empty() ? firstOf(First(others)...) : first;
}

} // namespace

ProcessorFacts processorFacts(std::string_view cpuInfo)
{
    // Kinds of processors differ in what they are told by: "model name" is missing on many ARM
    // machines, "cpu" and "clock" are POWER's.
    ProcessorFacts facts;
    facts.vendor = firstOf(std::string(fieldValue(cpuInfo, "vendor_id")),
                           fieldWithName(cpuInfo, "CPU implementer"));
    facts.model =
        firstOf(std::string(fieldValue(cpuInfo, "model name")),
                std::string(fieldValue(cpuInfo, "Processor")),
                std::string(fieldValue(cpuInfo, "cpu")), fieldWithName(cpuInfo, "CPU part"));
    std::string_view clock = firstOf(fieldValue(cpuInfo, "cpu MHz"), fieldValue(cpuInfo, "clock"));
    if (!takeNumber(clock, facts.megahertz))
        facts.megahertz = 0;
    return facts;
}

// ---- The domain ----------------------------------------------------------------------------------

std::string resolverDomain(std::string_view resolvConf)
{
    std::string domain;
    while (!resolvConf.empty()) {
        std::string line(trim(take(resolvConf, '\n')));
        std::replace(line.begin(), line.end(), '\t', ' ');
        std::string_view rest = line;
        const std::string_view keyword = take(rest, ' ');
        if (keyword != "domain" && keyword != "search")
            continue;
        rest = trim(rest);
        domain = take(rest, ' '); // the last line counts
    }
    if (domain.ends_with('.'))
        domain.pop_back();
    return domain;
}

// ---- Mounts --------------------------------------------------------------------------------------

namespace {

/// Blanks and backslashes in a field are written as \040 and the like.
std::string decodeOctal(std::string_view text)
{
    const auto digit = [&](std::size_t at) {
        return at < text.size() && text[at] >= '0' && text[at] <= '7' ? text[at] - '0' : -1;
    };
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && digit(i + 1) >= 0 && digit(i + 1) <= 3 && digit(i + 2) >= 0 &&
            digit(i + 3) >= 0) {
            result += static_cast<char>(digit(i + 1) << 6 | digit(i + 2) << 3 | digit(i + 3));
            i += 3;
        } else {
            result += text[i];
        }
    }
    return result;
}

/// "27 1 254:0 / / rw,relatime shared:1 - ext4 /dev/vda rw"
bool parseMount(std::string_view line, Mount& mount)
{
    std::string_view id = take(line, ' ');
    std::string_view parent = take(line, ' ');
    if (!takeNumber(id, mount.id) || !takeNumber(parent, mount.parent))
        return false;
    mount.device = take(line, ' ');
    take(line, ' '); // the part of the file system that is mounted
    mount.point = decodeOctal(take(line, ' '));
    while (!line.empty() && take(line, ' ') != "-") {
    }
    mount.type = take(line, ' ');
    mount.source = decodeOctal(take(line, ' '));
    return mount.point.starts_with('/') && mount.point.find('\0') == std::string::npos &&
           !mount.type.empty() && !mount.source.empty();
}

/// Whether a path to `point` leads through `upper`.
bool isAtOrAbove(std::string_view upper, std::string_view point)
{
    return upper == "/" || (point.starts_with(upper) &&
                            (point.size() == upper.size() || point[upper.size()] == '/'));
}

using MountsByID = std::map<int, const Mount*>;

/// A path to a mount's point meets what is mounted there and above. Those that the mount itself is
/// mounted on lie below it; any other has been mounted over it.
bool isVisible(const Mount& mount, const std::vector<Mount>& mounts, const MountsByID& byID)
{
    std::set<int> below{mount.id};
    for (int id = mount.parent; below.insert(id).second;) {
        const auto parent = byID.find(id);
        if (parent == byID.end())
            break;
        id = parent->second->parent;
    }
    return std::all_of(mounts.begin(), mounts.end(), [&](const Mount& other) {
        return !isAtOrAbove(other.point, mount.point) || below.count(other.id) != 0;
    });
}

/// What is mounted from a device, but is not on a disk of this machine.
bool isForeign(const Mount& mount)
{
    for (const char* const type : {"fuse", "nfs", "cifs", "smb", "9p", "virtiofs"}) {
        if (mount.type.starts_with(type))
            return true;
    }
    for (const char* const source : {"/dev/loop", "/dev/sr", "/dev/fd", "/dev/ram", "/dev/zram"}) {
        if (mount.source.starts_with(source))
            return true;
    }
    return false;
}

} // namespace

std::vector<Mount> visibleMounts(std::string_view mountInfo)
{
    std::vector<Mount> all;
    while (!mountInfo.empty()) {
        Mount mount;
        if (parseMount(take(mountInfo, '\n'), mount))
            all.push_back(std::move(mount));
    }
    MountsByID byID;
    for (const Mount& mount : all)
        byID[mount.id] = &mount;
    std::vector<Mount> visible;
    std::copy_if(all.begin(), all.end(), std::back_inserter(visible),
                 [&](const Mount& mount) { return isVisible(mount, all, byID); });
    return visible;
}

std::vector<Mount> fixedMounts(const std::vector<Mount>& mounts,
                               const std::function<bool(const Mount&)>& isFixed)
{
    Mount root;
    root.point = "/";
    std::set<std::string> devices;
    for (const Mount& mount : mounts) {
        if (mount.point == root.point)
            root = mount;
    }
    devices.insert(root.device);
    std::vector<Mount> fixed{root};
    for (const Mount& mount : mounts) {
        if (mount.source.starts_with("/dev/") && !isForeign(mount) &&
            devices.count(mount.device) == 0 && isFixed(mount)) {
            devices.insert(mount.device);
            fixed.push_back(mount);
        }
    }
    std::sort(fixed.begin(), fixed.end(),
              [](const Mount& left, const Mount& right) { return left.point < right.point; });
    return fixed;
}

} // namespace zmu
