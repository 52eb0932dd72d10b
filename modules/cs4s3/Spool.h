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
    static Spool& ofProcess();

    /// What all lines of the process have in common, found out at the first call.
    std::string_view origin();

    /// Appends a line with the next number: `text`, up to `end`, with room for its front before it.
    /// False if it was refused. Its number is used up all the same, so that readers see a gap.
    bool append(char* text, const char* end);

    /// In the child of a fork, before anything else there: its files and numbers are its own.
    void beginAnew();

  private:
    bool write(const char* line, std::size_t size);
    bool isReadyFor(std::size_t size);
    bool prepare(std::size_t size);
    Obstacle allot(std::size_t size);
    Obstacle openNext();
    void close();
    bool refuse(const Obstacle& obstacle);

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
    unsigned m_filesCount = 0;
    u64 m_size = 0;         ///< Of the file.
    u64 m_allotment = 0;    ///< Bytes that may be written before the folder is measured again,
    u64 m_allotmentEnd = 0; ///< until that time.
    u64 m_nextLook = 0;     ///< When to see whether the file is still there.
    u64 m_nextAttempt = 0;  ///< When to try again after a refusal.
    const char* m_toldWhat = nullptr; ///< The obstacle that was told last,
    int m_toldError = 0;
    u64 m_nextTelling = 0; ///< which is not told again before this.
};

} // namespace cs4s3
