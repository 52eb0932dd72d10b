#include <zmu/platform/linux/SystemFiles.h>

#include <zmu/foundation/internal/Trim.h>

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

std::string_view trimmed(std::string_view text)
{
    return trim(text, blanks);
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
    const struct Closer {
        int file;
        ~Closer() { close(file); }
    } closer{file};
    struct stat status = {};
    if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode))
        return text;
    char block[4096];
    while (text.size() <= sizeMax) {
        const ssize_t count = read(file, block, sizeof block);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return {};
        if (count == 0)
            return text;
        text.append(block, static_cast<std::size_t>(count));
    }
    text.resize(sizeMax);
    text.resize(text.rfind('\n') + 1);
    return text;
}

// ---- The system's version ------------------------------------------------------------------------

std::string findDriver(const std::string& modules, const std::string& file)
{
    const std::string name = file.substr(file.rfind('/') + 1);
    for (const std::string& place :
         {"/kernel/drivers/" + file, "/updates/" + file, "/updates/" + name,
          "/updates/dkms/" + name, "/extra/" + file, "/extra/" + name}) {
        for (const char* const compression : {"", ".xz", ".zst", ".gz"}) {
            std::string path = modules + place + compression;
            struct stat status = {};
            if (stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode))
                return path;
        }
    }
    return {};
}

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
        std::string_view line = trimmed(take(text, '\n'));
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
        if (trimmed(take(line, ':')) == field && !trimmed(line).empty())
            return trimmed(line);
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
    // machines, "cpu" and "clock" are POWER's, capitals LoongArch's, "uarch" is RISC-V's.
    ProcessorFacts facts;
    facts.vendor = firstOf(std::string(fieldValue(cpuInfo, "vendor_id")),
                           fieldWithName(cpuInfo, "CPU implementer"));
    facts.model = firstOf(
        std::string(fieldValue(cpuInfo, "model name")),
        std::string(fieldValue(cpuInfo, "Processor")), std::string(fieldValue(cpuInfo, "cpu")),
        std::string(fieldValue(cpuInfo, "Model Name")), std::string(fieldValue(cpuInfo, "uarch")),
        fieldWithName(cpuInfo, "CPU part"));
    std::string_view clock = firstOf(fieldValue(cpuInfo, "cpu MHz"), fieldValue(cpuInfo, "clock"),
                                     fieldValue(cpuInfo, "CPU MHz"));
    if (!takeNumber(clock, facts.megahertz))
        facts.megahertz = 0;
    return facts;
}

// ---- The domain ----------------------------------------------------------------------------------

std::string userNameOf(std::string_view passwd, unsigned number)
{
    while (!passwd.empty()) {
        std::string_view line = take(passwd, '\n');
        const std::string_view name = take(line, ':');
        take(line, ':'); // the password
        std::string_view field = take(line, ':');
        unsigned found = 0;
        if (!name.empty() && takeNumber(field, found) && field.empty() && found == number)
            return std::string(name);
    }
    return {};
}

std::string resolverDomain(std::string_view resolvConf)
{
    std::string domain;
    while (!resolvConf.empty()) {
        std::string line(trimmed(take(resolvConf, '\n')));
        std::replace(line.begin(), line.end(), '\t', ' ');
        std::string_view rest = line;
        const std::string_view keyword = take(rest, ' ');
        if (keyword != "domain" && keyword != "search")
            continue;
        rest = trimmed(rest);
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
    mount.part = decodeOctal(take(line, ' '));
    mount.point = decodeOctal(take(line, ' '));
    while (!line.empty() && take(line, ' ') != "-") {
    }
    mount.type = take(line, ' ');
    mount.source = decodeOctal(take(line, ' '));
    return mount.point.starts_with('/') && mount.point.find('\0') == std::string::npos;
}

bool startsWithOneOf(const std::string& text, std::initializer_list<const char*> beginnings)
{
    return std::any_of(beginnings.begin(), beginnings.end(),
                       [&](const char* beginning) { return text.starts_with(beginning); });
}

/// Whether somebody else answers for a mount, another machine or a process, who may never do so.
bool mayNeverAnswer(const Mount& mount)
{
    return startsWithOneOf(mount.type, {"fuse", "nfs", "cifs", "smb", "9p", "virtiofs", "ceph",
                                        "afs", "gfs", "ocfs", "lustre"});
}

/// Walks from each mount to those that are mounted on it: once, since a machine may have tens of
/// thousands, even at one point.
class MountWalk {
  public:
    explicit MountWalk(const std::vector<Mount>& mounts)
        : m_mounts(mounts), m_isVisited(mounts.size()), m_isWithinReach(mounts.size())
    {
        std::set<int> ids;
        for (std::size_t i = 0; i < mounts.size(); ++i) {
            ids.insert(mounts[i].id);
            m_mountedOn.emplace(mounts[i].parent, i);
            ++m_points[mounts[i].point].mounts;
        }
        for (std::size_t i = 0; i < mounts.size(); ++i) {
            if (ids.count(mounts[i].parent) == 0)
                walkFrom(i);
        }
        for (std::size_t i = 0; i < mounts.size(); ++i) {
            if (!m_isVisited[i]) // mounts that rest on each other
                walkFrom(i);
        }
    }

    bool isWithinReach(std::size_t index) const { return m_isWithinReach[index]; }

  private:
    using Children = std::multimap<int, std::size_t>;

    struct Point {
        std::size_t mounts = 0; ///< All that have this point.
        std::size_t onWay = 0;  ///< Those that the walk has come through.
        std::size_t silent = 0; ///< Those among these that may never answer.
    };

    struct Step {
        std::size_t index;
        Children::const_iterator next;
        Children::const_iterator last;
    };

    void walkFrom(std::size_t start)
    {
        std::vector<Step> way{enter(start)};
        while (!way.empty()) {
            Step& step = way.back();
            if (step.next == step.last) {
                leave(step.index);
                way.pop_back();
                continue;
            }
            const std::size_t child = step.next->second;
            ++step.next;
            if (!m_isVisited[child])
                way.push_back(enter(child));
        }
    }

    Step enter(std::size_t index)
    {
        const Mount& mount = m_mounts[index];
        Point& point = m_points[mount.point];
        ++point.onWay;
        point.silent += mayNeverAnswer(mount);
        m_isVisited[index] = true;
        m_isWithinReach[index] = isMet(mount);
        const auto [first, last] = m_mountedOn.equal_range(mount.id);
        return {index, first, last};
    }

    void leave(std::size_t index)
    {
        Point& point = m_points[m_mounts[index].point];
        --point.onWay;
        point.silent -= mayNeverAnswer(m_mounts[index]);
    }

    /// A path to a mount's point meets what is mounted there and above. Those that the mount itself
    /// is mounted on lie below it, and the way leads through them; any other has been mounted over
    /// it. Without an answer for "/" nothing on the machine works.
    bool isMet(const Mount& mount) const
    {
        const std::string_view path = mount.point;
        for (std::size_t end = 1;; end = path.find('/', end + 1)) {
            const auto row = m_points.find(path.substr(0, end));
            if (row != m_points.end()) {
                const Point& point = row->second;
                const bool isOwn = end == path.npos || end == path.size();
                const std::size_t silent = point.silent - (isOwn && mayNeverAnswer(mount));
                if (point.onWay != point.mounts || (silent != 0 && end != 1))
                    return false;
            }
            if (end == path.npos)
                return true;
        }
    }

    const std::vector<Mount>& m_mounts;
    Children m_mountedOn; ///< By the id of what they are mounted on.
    std::map<std::string_view, Point> m_points;
    std::vector<bool> m_isVisited;
    std::vector<bool> m_isWithinReach;
};

constexpr std::string_view poolType = "zfs";

/// What mounts of the same file system have in common. The parts of a pool count as one.
std::string diskOf(const Mount& mount)
{
    return mount.type == poolType ? mount.source.substr(0, mount.source.find('/')) : mount.device;
}

bool isOnDisk(const Mount& mount)
{
    if (mount.type == poolType)
        return true;
    return mount.source.starts_with("/dev/") && !mayNeverAnswer(mount) &&
           !startsWithOneOf(mount.source,
                            {"/dev/loop", "/dev/sr", "/dev/fd", "/dev/ram", "/dev/zram"});
}

} // namespace

std::vector<Mount> mountsWithinReach(std::string_view mountInfo)
{
    std::vector<Mount> all;
    while (!mountInfo.empty()) {
        Mount mount;
        if (parseMount(take(mountInfo, '\n'), mount))
            all.push_back(std::move(mount));
    }
    const MountWalk walk(all);
    std::vector<Mount> within;
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (walk.isWithinReach(i))
            within.push_back(all[i]);
    }
    return within;
}

std::vector<Mount> fixedMounts(const std::vector<Mount>& mounts,
                               const std::function<bool(const Mount&)>& isFixed)
{
    Mount root;
    root.point = "/";
    for (const Mount& mount : mounts) {
        if (mount.point == root.point)
            root = mount;
    }
    std::set<std::string> disks{diskOf(root)};
    std::vector<Mount> fixed{root};
    // A disk is shown where all of it is mounted, if it is anywhere.
    std::vector<Mount> candidates = mounts;
    std::stable_partition(candidates.begin(), candidates.end(),
                          [](const Mount& mount) { return mount.part == "/"; });
    for (const Mount& mount : candidates) {
        const std::string disk = diskOf(mount);
        if (isOnDisk(mount) && disks.count(disk) == 0 && isFixed(mount)) {
            disks.insert(disk);
            fixed.push_back(mount);
        }
    }
    std::sort(fixed.begin(), fixed.end(),
              [](const Mount& left, const Mount& right) { return left.point < right.point; });
    return fixed;
}

} // namespace zmu
