// What was reported as done, and whether the logs have it.
//
// Entries are numbered in lanes: all that one thread reports to one monitor. A lane's next entry is
// reported until it is done, so that its log must show the numbers in their order, each once.
#pragma once

#include <zmu/monitor/Zarn.h>

#include <sys/mman.h>

#include <atomic>
#include <map>
#include <new>
#include <string>
#include <vector>

namespace zmu_torture {

/// The entries of each lane that were reported as done. Lies where forked processes see it.
struct Ledger {
    static constexpr int lanesQty = 512;
    std::atomic<long> done[lanesQty];

    long sum() const;
    void clear();
    /// Reports the next entry of the lane. Whether it is done: only the replacement of the log that
    /// came after it may have failed.
    bool report(Zarn* monitor, int lane);
};

/// An object that this process and its forks have in common.
template <class Object>
Object& makeShared()
{
    constexpr int rights = PROT_READ | PROT_WRITE;
    return *new (mmap(nullptr, sizeof(Object), rights, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Object{};
}

/// A place for logs, which goes away: a folder, with the settings of a machine of its own. It
/// becomes the directory of this process's logs.
class Place {
  public:
    /// Where an owner looks for it: none, or one with all that a form can have.
    enum class Form { None, Full };
    explicit Place(Form form = Form::None);
    ~Place();
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

    /// Takes away all logs, and what was reported.
    void clear() const;

    std::string root;
    std::string logs; ///< In the root.
    Ledger& ledger;
};

/// Files of a folder, in the order of their names, which is that of their making.
std::vector<std::string> filesOf(const std::string& folder);

/// Reads logs with entries of a ledger.
class LogReader {
  public:
    /// Reads a file, or all of a folder. `mayBeCut`: its writer was killed, so that it may be
    /// empty, or end within the entry that was being written.
    void readFile(const std::string& file, bool mayBeCut = false);
    void readFolder(const std::string& folder, bool mayBeCut = false);

    /// The entries of a lane that were reported as done and are in none of what was read.
    std::vector<long> missing(const Ledger& ledger, int lane) const;
    /// How many of them there are in all lanes.
    long lost(const Ledger& ledger) const;

    int documents = 0; ///< Files that were read.
    int cut = 0;       ///< Those that ended within an entry, or were empty.
    /// What is wrong: files that are no whole documents, entries that are there twice.
    std::vector<std::string> flaws;

  private:
    struct Lane {
        long next = 0;
        std::vector<long> missing;
    };
    std::map<int, Lane> m_lanes;
};

} // namespace zmu_torture
