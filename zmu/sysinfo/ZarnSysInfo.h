// ZarnSysInfo: a source of system information, which is a walk over pairs of caption and datum.
//
//     ZarnSysInfoEnvOp machine; // one of the sources
//     wchar_t caption[256], datum[256];
//     for (bool more = machine.getFirstDataPair(caption, datum, 256, 256); more;
//          more = machine.getNextDataPair(caption, datum, 256, 256))
//         show(caption, datum);
#pragma once

#include <zmu/foundation/Export.h>

/// The walk, and how a pair is written. A subclass knows the pair at each position.
///
/// Wherever a pair is written, sizes count elements with the terminator. A text that is too long is
/// cut and ends in "..." (without the dots in fewer than 4 elements). A side whose buffer is null
/// or whose size is below 1 is left out. No operation throws. One thread at a time.
class ZMU_API ZarnSysInfo {
  public:
    ZarnSysInfo() = default;
    virtual ~ZarnSysInfo();
    ZarnSysInfo(const ZarnSysInfo&) = delete;
    ZarnSysInfo& operator=(const ZarnSysInfo&) = delete;

    /// Writes the pair at `position`. False when there is none, which ends a walk, and when the
    /// source has failed for good.
    virtual bool getDataPair(int position, wchar_t* caption, wchar_t* datum, int captionSize,
                             int datumSize) = 0;
    /// Writes the pair at position 0 and moves on by one from the present position, which is not
    /// 0 again unless the source sees to that: use an object for one walk.
    virtual bool getFirstDataPair(wchar_t* caption, wchar_t* datum, int captionSize, int datumSize);
    /// Writes the pair at the present position and moves on, also past a position without a pair.
    virtual bool getNextDataPair(wchar_t* caption, wchar_t* datum, int captionSize, int datumSize);

    /// Copies the source's name. Returns its length with the terminator, or -1 if it has none.
    /// Nothing is copied to a `buffer` of fewer than so many elements, which may be null.
    int getCategory(wchar_t* buffer, int size) const;

    /// Writes a pair of texts; a null text leaves that side as it is. False if the source has
    /// failed before, though the pair is written then, too.
    bool formatDataPair(wchar_t* caption, wchar_t* datum, int captionSize, int datumSize,
                        const wchar_t* captionText, const wchar_t* datumText);
    /// The same with a number, in decimal or as "0x00001A2B".
    bool formatDataPair(wchar_t* caption, wchar_t* datum, int captionSize, int datumSize,
                        const wchar_t* captionText, int value, bool hex);

    /// Whether the walk moves on. Where it does not, each call writes the same pair again.
    bool shouldUpdateCurrentPosition() const { return m_updatePosition; }
    /// Returns the value before.
    bool setShouldUpdateCurrentPosition(bool update);

  protected:
    /// What makes every further pair false, in m_error.
    enum Error : int {
        ErrorNumberFormat = -9,
        ErrorDrives = -11, ///< The list of drives could not be read.
    };

    /// Moves m_position to the next pair, if the walk is to move on. Returns true.
    virtual bool learnNextPosition() = 0;

    /// Names the source. It has no name if memory is short.
    void setCategory(const wchar_t* category);

    wchar_t* m_category = nullptr; ///< Made with new[]; deleted with this object.
    int m_position = 0;            ///< Of the next pair.
    int m_error = 0;               ///< The failure that stays; 0 for none.
    wchar_t m_scratch[2048] = {};  ///< A subclass's own work text.
    bool m_updatePosition = true;

  private:
    bool formatDataItem(wchar_t* destination, int size, const wchar_t* text) const;
};
