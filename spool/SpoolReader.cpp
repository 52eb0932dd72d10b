#include <spool/SpoolReader.h>

#include <spool/SpoolWriter.h>
#include <spool/UserNames.h>

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QFileSystemWatcher>
#include <QSemaphore>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <unordered_map>
#include <utility>

using namespace zmu_spool;
using zmu::u64;

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::size_t pieceSize = 0x40000;
/// What is kept in memory although it was needed once only.
constexpr std::size_t largeText = 0x100000;
/// What is shown of a line that is none.
constexpr std::size_t sampleSize = 1024;
/// Watches are a resource of the whole system: files beyond these are found by the sweep.
constexpr std::size_t watchedMax = 2048;
/// Changes that come so soon after another are taken together with it. No timer is shorter: Qt
/// takes Windows' multimedia timers for those below 20 ms, which do not end every wait for events.
constexpr int settling = 25; // milliseconds
/// Files that are not taken are remembered up to here; of more it is told once that there are more.
constexpr std::size_t refusedMax = 256;
/// Between two looks at whether a file that rests has a writer, if a process has its number.
constexpr std::chrono::minutes lockInterval{1};
/// Between two looks at all files where nothing is told.
constexpr int sweepUntold = 1000; // milliseconds

/// Whether events of this thread's happen: Qt drops them where there is no application.
QAbstractEventDispatcher* dispatcherOfThread()
{
    return QCoreApplication::instance() ? QAbstractEventDispatcher::instance() : nullptr;
}

QString asPath(const std::string& text)
{
    return QString::fromStdString(text);
}

template <class Number>
bool takeNumber(std::string_view text, Number& number)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

/// A file, and how far it was read.
struct State {
    std::shared_ptr<const SpoolFile> file;
    u64 position = 0;    ///< Behind the last line that was given.
    u64 passedOver = 0;  ///< Bytes behind it that belong to a line that is too long.
    std::string trouble; ///< That was told last.
    unsigned listing = 0;
    bool isWatched = false;
    bool isEnded = false;
    bool isResting = false;     ///< All was read, and more may come.
    Clock::time_point nextLock; ///< Resting: when to ask again whether it has a writer.
};

/// The files of one process, in their order. Only the first that has not ended is read.
struct Source {
    using Files = std::map<std::pair<u64, std::string>, State>; // by number and folder
    Files files;
    u64 sequence = 0; ///< The last number that was given; 0 for none.
    bool isQueued = false;

    Files::iterator front()
    {
        return std::find_if(files.begin(), files.end(),
                            [](const auto& each) { return !each.second.isEnded; });
    }
};

/// An item that needs memory of its own, since it is given later.
struct Delayed {
    SpoolItem item;
    std::string raw;
};

} // namespace

bool zmu_spool::parseSpoolName(std::string_view name, SpoolFile& file)
{
    constexpr std::size_t partsQty = 5;
    if (!isSpoolName(name) || name.size() >= fileNameQty)
        return false;
    std::string_view parts[partsQty];
    std::string_view rest = name.substr(0, name.size() - (sizeof spoolSuffix - 1));
    for (std::size_t i = partsQty; i-- > 1;) {
        const std::size_t separator = rest.rfind('_');
        if (separator == rest.npos)
            return false;
        parts[i] = rest.substr(separator + 1);
        rest = rest.substr(0, separator);
    }
    if (rest.find('_') != rest.npos || !takeNumber(parts[2], file.process) ||
        !takeNumber(parts[3], file.start) || !takeNumber(parts[4], file.number))
        return false;
    // Another spelling of the same numbers is another file, which no process makes.
    char numbers[fileNameQty];
    composeFileNumbers(numbers, file.process, file.start, file.number);
    if (name.substr(static_cast<std::size_t>(parts[2].data() - name.data())) != numbers)
        return false;
    file.name = name;
    return true;
}

// ---- The reader ------------------------------------------------------------------------------------------

class SpoolReader::Private {
  public:
    Private(const std::vector<std::string>& folders, Positions& positions, Options options);

    bool next(SpoolItem& item);
    void wait(int milliseconds);
    void wake();
    bool remove(const SpoolFile& file, std::string& why);
    std::vector<std::string> heldBack() const;

  private:
    template <class Condition>
    void processEvents(int milliseconds, const Condition& isEnough);
    struct FolderState {
        std::string path;
        std::string trouble;
    };

    void list();
    void listFiles(FolderState& folder, std::string& why);
    void addFile(const std::string& folder, const std::string& name);
    void refuse(const std::string& path, const std::string& why);
    void dropFiles();
    void sweep();
    bool isFull() const { return m_openQty >= m_options.filesMax; }
    void enqueue(Source& source);

    void readPiece(Source& source);
    std::size_t readLines(const SpoolHandle& handle, const State& state, std::string& why);
    void endPassingOver(Source& source, State& state, std::size_t length);
    void meetEnd(Source& source, State& state, const SpoolHandle& handle, std::size_t length);
    void end(Source& source, State& state);
    void watch(State& state);
    bool nextLine(SpoolItem& item);
    std::string judge(std::string_view raw);

    void tell(const std::string& path, std::string& told, const std::string& what);
    Delayed& delay(SpoolItem::Kind kind, const State& state, u64 begin, u64 sequence);

    Positions& m_positions;
    const Options m_options;
    std::vector<FolderState> m_folders;
    std::unordered_map<std::string, Source> m_sources;
    std::unordered_map<std::string, Source*> m_sourceOf; ///< By path of a file.
    std::map<std::string, std::string> m_refused; ///< What was told of a file that is not taken.
    std::deque<Source*> m_queue;                  ///< Those that may have more.
    std::deque<Delayed> m_delayed;                ///< Given before anything else.
    Delayed m_given;

    // The piece of a file whose lines are given.
    std::string m_bytes;
    std::size_t m_at = 0;
    std::size_t m_linesEnd = 0;
    Source* m_source = nullptr;
    State* m_state = nullptr;
    SpoolLine m_line;

    QAbstractEventDispatcher* const m_dispatcher = dispatcherOfThread();
    std::optional<QFileSystemWatcher> m_watcher; ///< None without a dispatcher.
    std::size_t m_watchedQty = 0;
    unsigned m_listing = 0;
    bool m_isListingDue = false;
    std::size_t m_openQty = 0;       ///< Files that have not ended.
    bool m_isMoreThere = false;      ///< Files that were not taken for want of room,
    bool m_isRoomMade = false;       ///< and one has ended since they were seen.
    bool m_isFullTold = false;       ///< That there were such.
    bool m_isRefusedTold = false;    ///< That more are refused than are remembered.
    Clock::time_point m_nextListing; ///< Not before.
    Clock::time_point m_nextSweep;
    std::atomic<bool> m_isWoken = false;
    QSemaphore m_wakes; ///< For who waits without a dispatcher.
};

SpoolReader::SpoolReader(const std::vector<std::string>& folders, Positions& positions)
    : SpoolReader(folders, positions, Options())
{}

SpoolReader::SpoolReader(const std::vector<std::string>& folders, Positions& positions,
                         Options options)
    : m_private(std::make_unique<Private>(folders, positions, options))
{}

SpoolReader::~SpoolReader() = default;

bool SpoolReader::next(SpoolItem& item)
{
    return m_private->next(item);
}

void SpoolReader::wait(int milliseconds)
{
    m_private->wait(milliseconds);
}

void SpoolReader::wake()
{
    m_private->wake();
}

bool SpoolReader::remove(const SpoolFile& file, std::string& why)
{
    return m_private->remove(file, why);
}

std::vector<std::string> SpoolReader::heldBack() const
{
    return m_private->heldBack();
}

SpoolReader::Private::Private(const std::vector<std::string>& folders, Positions& positions,
                              Options options)
    : m_positions(positions), m_options(options)
{
    if (m_dispatcher)
        m_watcher.emplace();
    for (const std::string& folder : folders) {
        std::string why;
        FolderState state{absoluteFolder(folder, why), {}};
        if (why.empty())
            why = listFolder(state.path, [](std::string_view) {});
        if (!why.empty())
            throw std::runtime_error(
                std::string(folder).append(" cannot be read as a folder of spools: ").append(why));
        const bool isKnown = std::any_of(m_folders.begin(), m_folders.end(),
                                         [&](const auto& each) { return each.path == state.path; });
        if (isKnown)
            continue;
        if (m_watcher)
            m_watcher->addPath(asPath(state.path));
        m_folders.push_back(std::move(state));
    }
    if (!m_watcher)
        return;
    QObject::connect(&*m_watcher, &QFileSystemWatcher::directoryChanged,
                     [this] { m_isListingDue = true; });
    QObject::connect(&*m_watcher, &QFileSystemWatcher::fileChanged, [this](const QString& path) {
        if (const auto source = m_sourceOf.find(path.toStdString()); source != m_sourceOf.end())
            enqueue(*source->second);
    });
}

// ---- Which files there are -------------------------------------------------------------------------------

/// Looks at all folders, and at times at all files that rest.
void SpoolReader::Private::list()
{
    const Clock::time_point begin = Clock::now();
    const bool isSweep = begin >= m_nextSweep;
    ++m_listing;
    m_isMoreThere = m_isRoomMade = false;
    bool isComplete = true;
    for (FolderState& folder : m_folders) {
        std::string why;
        listFiles(folder, why);
        isComplete = isComplete && why.empty();
        tell(folder.path, folder.trouble, why.empty() ? why : "it cannot be listed: " + why);
    }
    m_isFullTold = m_isFullTold && m_isMoreThere;
    if (isComplete)
        dropFiles();
    if (isSweep)
        sweep();
    const Clock::time_point end = Clock::now();
    m_isListingDue = false;
    m_nextListing = end + 10 * (end - begin); // large folders are not looked at all the time
    if (isSweep)
        m_nextSweep = m_watcher ? end + milliseconds(m_options.sweep)
                                : end + std::max<Clock::duration>(
                                            milliseconds(std::min(m_options.sweep, sweepUntold)),
                                            20 * (end - begin));
}

void SpoolReader::Private::listFiles(FolderState& folder, std::string& why)
{
    // One that was away is watched no more. Before it is listed, so that nothing comes in between.
    if (m_watcher && !m_watcher->directories().contains(asPath(folder.path)))
        m_watcher->addPath(asPath(folder.path));
    // In the order of their names, since a file must not be taken before those of its process that
    // have lower numbers. Only so many, since anybody can make names.
    std::set<std::string> fresh;
    const std::size_t freshMax = 4 * m_options.filesMax;
    why = listFolder(folder.path, [&](std::string_view name) {
        SpoolFile file;
        if (!isSpoolName(name))
            return;
        file.folder = folder.path;
        file.name = name;
        const std::string path = file.path();
        if (!parseSpoolName(name, file)) {
            refuse(path, "no spool file has such a name");
        } else if (const auto known = m_sourceOf.find(path); known != m_sourceOf.end()) {
            known->second->files.find({file.number, folder.path})->second.listing = m_listing;
        } else {
            fresh.insert(file.name);
            if (fresh.size() > freshMax) {
                fresh.erase(std::prev(fresh.end()));
                m_isMoreThere = true;
            }
        }
    });
    for (const std::string& name : fresh) {
        m_isMoreThere = m_isMoreThere || isFull();
        if (isFull())
            break;
        addFile(folder.path, name);
    }
    if (m_isMoreThere && !std::exchange(m_isFullTold, true)) {
        std::string told;
        tell(folder.path, told,
             "more than " + std::to_string(m_options.filesMax) +
                 " files wait; the rest is read when some of these are done");
    }
}

void SpoolReader::Private::addFile(const std::string& folder, const std::string& name)
{
    SpoolFile file;
    file.folder = folder;
    parseSpoolName(name, file);
    const std::string path = file.path();
    const SpoolHandle handle(path);
    if (handle.isMissing())
        return;
    if (const std::string why = handle.isOpen() ? handle.distrust(folder) : handle.why();
        !why.empty()) {
        refuse(path, why);
        return;
    }
    m_refused.erase(path);
    file.user = handle.user();
    file.source = file.user + '/' + file.name.substr(0, file.name.rfind('_'));
    const auto [place, isNew] = m_sources.try_emplace(file.source);
    Source& source = place->second;
    if (isNew)
        source.sequence = m_positions.sequenceOf(file);
    State state;
    state.position = m_positions.positionOf(file);
    state.listing = m_listing;
    state.file = std::make_shared<const SpoolFile>(std::move(file));
    const std::pair key(state.file->number, folder);
    if (!source.files.emplace(key, std::move(state)).second) {
        refuse(path, "another file has the same place among those of its process");
        return;
    }
    m_sourceOf.emplace(path, &source);
    ++m_openQty;
    enqueue(source);
}

void SpoolReader::Private::refuse(const std::string& path, const std::string& why)
{
    if (m_refused.size() < refusedMax || m_refused.contains(path)) {
        tell(path, m_refused[path], "it is not read: " + why);
    } else if (!std::exchange(m_isRefusedTold, true)) {
        std::string told;
        tell(path, told,
             "it is not read: " + why + ". There are more than " + std::to_string(refusedMax) +
                 " such files, and the others are not told");
    }
}

/// Forgets files that are not listed any more.
void SpoolReader::Private::dropFiles()
{
    for (auto at = m_sources.begin(); at != m_sources.end();) {
        Source& source = at->second;
        for (auto file = source.files.begin(); file != source.files.end();) {
            State& state = file->second;
            if (state.listing == m_listing) {
                ++file;
                continue;
            }
            const std::string path = state.file->path();
            if (state.isEnded) {
                if (m_positions.positionOf(*state.file) != state.position) {
                    ++file; // until that is confirmed, lest its position stay for ever
                    continue;
                }
                m_positions.forget(*state.file);
            } else {
                --m_openQty;
                tell(path, state.trouble,
                     "somebody has removed it; what it had behind byte " +
                         std::to_string(state.position) + " was not read");
            }
            m_watchedQty -= state.isWatched ? 1 : 0;
            m_sourceOf.erase(path);
            file = source.files.erase(file);
        }
        const bool isOver = source.files.empty() && !source.isQueued;
        at = isOver ? m_sources.erase(at) : std::next(at);
    }
    std::erase_if(m_refused,
                  [](const auto& refused) { return SpoolHandle(refused.first).isMissing(); });
    m_isRefusedTold = m_isRefusedTold && m_refused.size() >= refusedMax;
}

/// Looks at all files that may have more, or have lost their writer. Those that rest are not opened
/// for that.
void SpoolReader::Private::sweep()
{
    const Clock::time_point now = Clock::now();
    for (auto& [key, source] : m_sources) {
        const auto front = source.front();
        if (front == source.files.end())
            continue;
        const State& state = front->second;
        u64 size = 0;
        if (!state.isResting || now >= state.nextLock || !isRunning(state.file->process) ||
            !measureFile(state.file->path(), size) || size != state.position)
            enqueue(source);
    }
}

void SpoolReader::Private::enqueue(Source& source)
{
    if (!std::exchange(source.isQueued, true))
        m_queue.push_back(&source);
}

// ---- Reading ---------------------------------------------------------------------------------------------

bool SpoolReader::Private::next(SpoolItem& item)
{
    for (bool isListed = false;;) {
        if (!m_delayed.empty()) {
            m_given = std::move(m_delayed.front());
            m_delayed.pop_front();
            item = m_given.item;
            item.raw = m_given.raw;
            return true;
        }
        if (nextLine(item))
            return true;
        const Clock::time_point now = Clock::now();
        const bool isDue = now >= m_nextSweep || (m_isListingDue && now >= m_nextListing);
        if (isDue && !std::exchange(isListed, true)) {
            list();
            continue;
        }
        if (m_queue.empty() && m_isMoreThere && m_isRoomMade && !isFull()) {
            list();
            continue;
        }
        if (m_queue.empty())
            return false;
        Source& source = *m_queue.front();
        m_queue.pop_front();
        source.isQueued = false;
        readPiece(source);
    }
}

/// Reads the next lines of a source, or finds that there are none.
void SpoolReader::Private::readPiece(Source& source)
{
    const auto front = source.front();
    if (front == source.files.end())
        return;
    State& state = front->second;
    state.isResting = false;
    const std::string path = state.file->path();
    const SpoolHandle handle(path);
    if (handle.isMissing()) {
        m_isListingDue = true;
        return;
    }
    std::string why = handle.why();
    if (why.empty())
        why = handle.distrust(state.file->folder);
    if (const std::string user = handle.user(); why.empty() && user != state.file->user)
        why = "it belongs to " + UserNames().of(user) + " now, and no more to " +
              UserNames().of(state.file->user);
    const bool isShorter = why.empty() && handle.size() < state.position;
    if (isShorter && handle.isWriterGone()) {
        tell(path, state.trouble,
             "it has " + std::to_string(handle.size()) + " bytes, and was read up to byte " +
                 std::to_string(state.position) +
                 ": the system has lost its end, as it may with a loss of power. Nothing of it is "
                 "missing here");
        state.position = handle.size();
        state.passedOver = 0;
        end(source, state);
        return;
    }
    if (isShorter)
        why = "it is shorter than it was when it was read up to byte " +
              std::to_string(state.position) + ": somebody has changed it";
    if (!why.empty()) {
        tell(path, state.trouble, "it is read no further: " + why);
        return;
    }
    const std::size_t length = readLines(handle, state, why);
    tell(path, state.trouble, why.empty() ? why : "it cannot be read: " + why);
    if (!why.empty())
        return;
    const std::string_view bytes(m_bytes.data(), length);
    if (state.passedOver != 0) {
        endPassingOver(source, state, length);
    } else if (const std::size_t last = bytes.rfind('\n'); last != bytes.npos) {
        m_source = &source;
        m_state = &state;
        m_at = 0;
        m_linesEnd = last + 1;
        enqueue(source);
        return;
    } else if (length == longestLine) {
        state.passedOver = length;
    }
    if (length == pieceSize || length == longestLine)
        enqueue(source);
    else if (!source.isQueued)
        meetEnd(source, state, handle, length);
}

/// Reads a piece, which is longer only where a line is. Its bytes, up to the number that is
/// returned, are in m_bytes.
std::size_t SpoolReader::Private::readLines(const SpoolHandle& handle, const State& state,
                                            std::string& why)
{
    const u64 begin = state.position + state.passedOver;
    if (m_bytes.size() != pieceSize) {
        std::string().swap(m_bytes);
        m_bytes.resize(pieceSize);
    }
    const std::size_t length = handle.read(begin, m_bytes.data(), pieceSize, why);
    const bool hasEnd = std::string_view(m_bytes.data(), length).find('\n') != std::string::npos;
    if (length < pieceSize || hasEnd || state.passedOver != 0 || !why.empty())
        return length;
    m_bytes.resize(longestLine);
    return handle.read(begin, m_bytes.data(), longestLine, why);
}

/// Goes on behind a line that is too long, of which `length` further bytes, or its end and what
/// follows, are in memory.
void SpoolReader::Private::endPassingOver(Source& source, State& state, std::size_t length)
{
    const std::size_t end = std::string_view(m_bytes.data(), length).find('\n');
    if (end == std::string_view::npos) {
        state.passedOver += length;
        return;
    }
    const u64 begin = state.position;
    state.position += state.passedOver + end + 1;
    state.passedOver = 0;
    delay(SpoolItem::Kind::Fault, state, begin, source.sequence).item.what =
        "a line is longer than 16 MiB";
    enqueue(source);
}

/// A file has no more whole lines. `length` bytes of one that is not whole are in memory.
void SpoolReader::Private::meetEnd(Source& source, State& state, const SpoolHandle& handle,
                                   std::size_t length)
{
    const auto successor = std::next(source.front());
    // A process closes a file before it makes the next one.
    const bool isOver = successor != source.files.end() || handle.isWriterGone();
    const u64 known = state.position + state.passedOver + (state.passedOver == 0 ? length : 0);
    if (handle.size() != known) {
        enqueue(source);
        return;
    }
    if (!isOver) {
        state.isResting = known == state.position;
        state.nextLock = Clock::now() + lockInterval;
        watch(state);
        return;
    }
    if (const u64 begin = state.position; known != begin) {
        state.position = known;
        Delayed& torn = delay(SpoolItem::Kind::Torn, state, begin, source.sequence);
        torn.item.what = "a last line of " + std::to_string(known - begin) +
                         " bytes has no end, and its process is gone";
        torn.raw.assign(m_bytes, 0, state.passedOver == 0 ? std::min(length, sampleSize) : 0);
        state.passedOver = 0;
    }
    end(source, state);
}

void SpoolReader::Private::end(Source& source, State& state)
{
    state.isEnded = true;
    m_isRoomMade = true;
    --m_openQty;
    if (std::exchange(state.isWatched, false)) {
        m_watcher->removePath(asPath(state.file->path()));
        --m_watchedQty;
    }
    delay(SpoolItem::Kind::Ended, state, state.position, source.sequence);
    enqueue(source);
}

/// From now on changes of the file are told. What came before that is looked for once more.
void SpoolReader::Private::watch(State& state)
{
    if (!m_watcher || state.isWatched || m_watchedQty >= watchedMax)
        return;
    const std::string path = state.file->path();
    if (!m_watcher->addPath(asPath(path)))
        return;
    state.isWatched = true;
    ++m_watchedQty;
    enqueue(*m_sourceOf.at(path));
}

bool SpoolReader::Private::nextLine(SpoolItem& item)
{
    if (m_line.description.capacity() > largeText)
        std::string().swap(m_line.description);
    const std::size_t begin = m_at;
    u64 faultsQty = 0;
    while (m_at < m_linesEnd) {
        const std::size_t lineBegin = m_at;
        const std::size_t lineEnd = m_bytes.find('\n', lineBegin);
        const std::string_view raw(m_bytes.data() + lineBegin, lineEnd - lineBegin);
        std::string what = judge(raw);
        const bool isLine = what.empty();
        if (isLine && faultsQty != 0)
            break; // which is given by the next call
        if (faultsQty == 0) {
            item = SpoolItem();
            item.kind = isLine ? SpoolItem::Kind::Line : SpoolItem::Kind::Fault;
            item.begin = m_state->position;
            item.raw = isLine ? raw : raw.substr(0, sampleSize);
            item.what = std::move(what);
        }
        m_at = lineEnd + 1;
        if (isLine) {
            item.line = &m_line;
            item.missing = m_line.sequence - m_source->sequence - 1;
            item.mayHaveBeenRead = m_source->sequence == 0 && m_state->file->number > 1;
            m_source->sequence = m_line.sequence;
            break;
        }
        item.linesQty = ++faultsQty;
    }
    if (m_at == begin)
        return false;
    m_state->position += m_at - begin;
    item.mark = {m_state->file, m_state->position, m_source->sequence};
    return true;
}

/// What is wrong with a line, which is in m_line if it is nothing.
std::string SpoolReader::Private::judge(std::string_view raw)
{
    if (raw.size() > largeText)
        m_line.description.reserve(raw.size()); // for once, instead of twice as much on the way
    if (const LineFault fault = readSpoolLine(raw, m_line))
        return describe(fault);
    if (m_line.process != m_state->file->process || m_line.start != m_state->file->start)
        return "it is of another process than its file";
    if (m_line.sequence <= m_source->sequence)
        return "its number, " + std::to_string(m_line.sequence) +
               ", is not above the one before it, " + std::to_string(m_source->sequence);
    return {};
}

/// Tells a trouble unless it was the last thing that was told; nothing if there is none any more.
void SpoolReader::Private::tell(const std::string& path, std::string& told, const std::string& what)
{
    if (told == what)
        return;
    told = what;
    if (what.empty())
        return;
    Delayed& trouble = m_delayed.emplace_back();
    trouble.item.kind = SpoolItem::Kind::Trouble;
    trouble.item.what = path + ": " + what;
}

Delayed& SpoolReader::Private::delay(SpoolItem::Kind kind, const State& state, u64 begin,
                                     u64 sequence)
{
    Delayed& delayed = m_delayed.emplace_back();
    delayed.item.kind = kind;
    delayed.item.begin = begin;
    delayed.item.mark = {state.file, state.position, sequence};
    return delayed;
}

// ---- Waiting ---------------------------------------------------------------------------------------------

void SpoolReader::Private::wait(int milliseconds)
{
    if (!m_queue.empty() || !m_delayed.empty() || m_at < m_linesEnd)
        return;
    const auto until = [](Clock::time_point time) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(time - Clock::now());
        return static_cast<int>(std::max<decltype(left.count())>(left.count(), 0));
    };
    const int patience = until(m_nextSweep);
    const auto isChanged = [this] { return m_isListingDue || !m_queue.empty(); };
    processEvents(milliseconds < 0 ? patience : std::min(patience, milliseconds), isChanged);
    if (isChanged()) // and more of the same ends it no sooner
        processEvents(m_isListingDue ? std::max(until(m_nextListing), settling) : settling,
                      [] { return false; });
    m_isWoken = false;
}

/// Lets the thread's events happen until the time is over, `isEnough`, or somebody wakes it.
template <class Condition>
void SpoolReader::Private::processEvents(int milliseconds, const Condition& isEnough)
{
    if (!m_dispatcher) { // nothing is told then: the sweep finds it
        if (!m_isWoken)
            m_wakes.tryAcquire(std::max(m_wakes.available(), 1), milliseconds);
        return;
    }
    QTimer timer;
    timer.setSingleShot(true);
    timer.start(std::max(milliseconds, settling));
    while (timer.isActive() && !m_isWoken && !isEnough())
        m_dispatcher->processEvents(QEventLoop::WaitForMoreEvents);
}

void SpoolReader::Private::wake()
{
    m_isWoken = true;
    if (m_dispatcher)
        m_dispatcher->wakeUp();
    else
        m_wakes.release();
}

bool SpoolReader::Private::remove(const SpoolFile& file, std::string& why)
{
    const std::string path = file.path();
    const auto known = m_sourceOf.find(path);
    Source* const source = known == m_sourceOf.end() ? nullptr : known->second;
    const auto entry =
        source ? source->files.find({file.number, file.folder}) : Source::Files::iterator();
    if (!source) { // somebody else has removed it
        m_positions.forget(file);
        return true;
    }
    if (!entry->second.isEnded) {
        why = path + ": it has not ended";
        return false;
    }
    State& state = entry->second;
    const u64 confirmed = m_positions.positionOf(file);
    if (confirmed != state.position)
        why = "it was not confirmed to its end";
    else
        why = removeSpoolFile(path, confirmed, file.user);
    if (!why.empty()) {
        why = path + ": it is not removed: " + why;
        return false;
    }
    m_positions.forget(file);
    m_sourceOf.erase(known);
    source->files.erase(entry);
    return true;
}

std::vector<std::string> SpoolReader::Private::heldBack() const
{
    std::vector<std::string> processes;
    const auto add = [&](std::string_view path) {
        const std::string_view name = path.substr(path.rfind('/') + 1);
        if (SpoolFile file; parseSpoolName(name, file))
            processes.emplace_back(name.substr(0, name.rfind('_')));
    };
    for (const auto& [path, what] : m_refused)
        add(path);
    for (const auto& [path, source] : m_sourceOf) {
        if (const auto front = source->front();
            front != source->files.end() && !front->second.trouble.empty())
            add(path);
    }
    return processes;
}

// ---- Removals --------------------------------------------------------------------------------------------

void Removals::add(std::shared_ptr<const SpoolFile> file)
{
    m_fresh.push_back(std::move(file));
}

void Removals::attempt(const std::function<void(const std::string& why)>& tell)
{
    std::string why;
    if (!m_failed.empty() && Clock::now() >= m_nextTry)
        std::erase_if(m_failed, [&](const auto& file) { return m_reader.remove(*file, why); });
    for (auto& file : std::exchange(m_fresh, {})) {
        if (m_reader.remove(*file, why))
            continue;
        tell(why + "; it is tried again");
        m_failed.push_back(std::move(file));
    }
    if (Clock::now() >= m_nextTry)
        m_nextTry = Clock::now() + m_interval;
}
