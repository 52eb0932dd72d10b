// The spool of a process: the file that its situations are written to, and its successors.
#pragma once

#include "System.h"

#include <atomic>
#include <string_view>

namespace cs4s3 {

/// There is one object, which is never destroyed: a situation may be reported at any time, even
/// while the process ends. All members are plain data, so that the child of a fork may begin anew
/// whatever a thread of its parent was doing.
class Spool {
  public:
    /// For a report of this process. Where that was forked off since the last one, whatever ran
    /// then or did not, its files and numbers are its own from here on.
    static Spool& ofProcess();

    /// What all lines of the process have in common, found out at the first call.
    std::string_view origin();

    /// Appends a line with the next number: `text`, up to `end`, with room for its front before it.
    /// False if it was refused. Its number is used up all the same, so that readers see a gap.
    bool append(char* text, const char* end);

    /// Refuses a situation that no line can be made of. As above its number is used up.
    void refuseNext(const char* what);

  private:
    /// A look at the folder, which needs no lock.
    struct Look {
        unsigned number; ///< Of the allotment that it is to follow.
        u64 time;
        u64 size; ///< Of this process's file, then.
        u64 folderSize;
        char folder[Settings::pathQty];
        char fileName[zmu_spool::fileNameQty];
    };

    void beginWith(u64 process);
    void beginAnew();
    bool write(const char* line, std::size_t size);
    bool isReadyFor(std::size_t size);
    bool prepare(std::size_t size);
    Obstacle settle();
    Obstacle allot(std::size_t size);
    void beginLook(Look& look);
    static int measure(const Look& look, u64& room);
    void endLook(const Look& look, std::size_t size, u64 room);
    Obstacle openNext();
    void close();
    bool refuse(const Obstacle& obstacle);

    std::atomic<u64> m_process = 0; ///< Whose spool this is.

    // Set before the first line, and constant from then on.
    std::atomic<bool> m_isDescribed = false;
    zmu_spool::Origin m_origin;
    char m_originText[zmu_spool::originQty] = {};
    std::size_t m_originSize = 0;

    // With the lock held.
    u64 m_sequence = 0;
    Settings m_settings;
    bool m_isSettled = false; ///< m_settings hold. They are obtained anew after a refusal.
    std::atomic<File> m_file = noFile;
    char m_fileName[zmu_spool::fileNameQty] = {};
    unsigned m_filesCount = 0;
    u64 m_size = 0;         ///< Of the file.
    u64 m_sizeAllowed = 0;  ///< To which it may grow before the folder is looked at again,
    u64 m_allotmentEnd = 0; ///< until that time.
    unsigned m_allotmentsCount = 0;
    u64 m_sizeToLookAt = 0; ///< The size, and the time, from which a thread looks ahead
    u64 m_timeToLookAt = 0; ///< while others still write.
    u64 m_nextSign = 0;     ///< When the others have to be shown that the file has a writer.
    u64 m_nextCheck = 0;    ///< When to see whether the file is still there.
    u64 m_nextAttempt = 0;  ///< When to try again after a refusal.
    const char* m_toldWhat = nullptr; ///< The obstacle that was told last,
    int m_toldError = 0;
    u64 m_nextTelling = 0; ///< which is not told again before this.
};

} // namespace cs4s3
