// The file of a log: an entry and the tail behind it reach it in one write.
#pragma once

#include <zmu/foundation/internal/Utf16.h>
#include <zmu/monitor/ZarnScratchpad.h>
#include <zmu/platform/Files.h>

#include <QIODevice>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

namespace zmu {

/// A file without a buffer, whose writes can be held back for a moment. Held writes count in the
/// position, and keep their order with all else that is done to the file.
///
/// The position is kept here and told with each write: that of the system, and of the class above,
/// is of no account, and a seek costs nothing. One device serves a log and all its successors: only
/// the first openPath() allocates, for Qt's devices cannot be made, and some not even be opened,
/// when memory is short.
class LogDevice final : public QIODevice {
  public:
    LogDevice() = default;
    ~LogDevice() override { closePath(); }
    LogDevice(const LogDevice&) = delete;
    LogDevice& operator=(const LogDevice&) = delete;

    /// Opens the file of that name for reading and writing; the position is 0. False if the system
    /// refuses, with the last error. May throw the first time.
    bool openPath(const wchar_t* path)
    {
        closePath();
        if (!isOpen() && !QIODevice::open(ReadWrite | Unbuffered))
            return false;
        moveTo(0);
        m_file = openFile(path, FileUse::ReadWrite);
        return m_file >= 0;
    }
    /// Lets go of the file, and of what is held. The device itself stays as it is for the next one.
    void closePath()
    {
        m_isHolding = false;
        m_heldSize = 0;
        m_more.reset();
        closeFile(std::exchange(m_file, -1));
    }

    /// The file's number, -1 for none.
    int file() const { return m_file; }

    /// Makes the writes from here on, as writeAt does, which null stands for.
    using Writer = i64 (*)(int file, i64 position, const char* data, i64 size);
    void setWriter(Writer writer) { m_writer = writer; }

    bool isSequential() const override { return false; }
    qint64 size() const override { return std::max<qint64>(sizeOf(m_file), 0); }
    bool resize(qint64 size) { return writeHeld() && resizeFile(m_file, size); }

    /// Holds writes from here on, until release() or drop().
    void hold()
    {
        m_isHolding = true;
        m_isIntact = true;
    }

    /// Room for `count` units of UTF-16 behind what is held, which is of that, too. Null unless
    /// writes are held, and without memory. What is written there counts once keep() tells of it.
    char16_t* room(std::size_t count)
    {
        const bool hasRoom = m_isHolding && hasRoomFor(bytesOf(count));
        return hasRoom ? held() + static_cast<std::size_t>(m_heldSize) / sizeof(char16_t) : nullptr;
    }
    void keep(std::size_t count)
    {
        m_heldSize += bytesOf(count);
        m_position += bytesOf(count);
    }

    /// Makes the held writes, all in one. False if the system refuses: the position is then behind
    /// what it has taken.
    bool release()
    {
        m_isHolding = false;
        const bool succeeded = writeHeld();
        m_more.reset();
        return succeeded;
    }

    /// Forgets the held writes. True if the file is as it was when the hold began.
    bool drop()
    {
        m_isHolding = false;
        moveTo(m_position - std::exchange(m_heldSize, 0));
        m_more.reset();
        return m_isIntact;
    }

    qint64 pos() const override { return m_position; }
    bool seek(qint64 position) override { return writeHeld() && moveTo(position); }

    /// Writes at the position, as write() does with more ado. False if less than all was taken.
    bool append(const char* data, qint64 size) { return LogDevice::writeData(data, size) == size; }

  protected:
    qint64 readData(char* data, qint64 size) override
    {
        const qint64 count = writeHeld() ? readAt(m_file, m_position, data, size) : -1;
        m_position += std::max<qint64>(count, 0);
        return count;
    }

    qint64 writeData(const char* data, qint64 size) override
    {
        if (m_isHolding && hasRoomFor(size)) {
            std::memcpy(heldBytes() + m_heldSize, data, static_cast<std::size_t>(size));
            m_heldSize += size;
            m_position += size;
            return size;
        }
        if (!writeHeld())
            return -1;
        m_isIntact = false;
        const qint64 written = writeOut(m_position, data, size);
        m_position += std::max<qint64>(written, 0);
        return written;
    }

  private:
    bool moveTo(qint64 position)
    {
        if (position < 0)
            return false;
        m_position = position;
        return true;
    }

    static constexpr qint64 bytesOf(std::size_t count)
    {
        return static_cast<qint64>(count) * qint64{sizeof(char16_t)};
    }

    /// Units of the longest entry and the longest tail. Only what a log begins with can be more.
    static constexpr std::size_t capacity = 2 * ZarnScratchpad::Buffer::capacity * utf16UnitsMax;

    char16_t* held() { return m_more ? m_more.get() : m_held; }
    char* heldBytes() { return reinterpret_cast<char*>(held()); }

    /// Without memory for more the held writes are made, and the next one is not held.
    bool hasRoomFor(qint64 size)
    {
        const qint64 needed = m_heldSize + size;
        if (needed <= bytesOf(m_more ? m_moreCapacity : capacity))
            return true;
        const auto wanted = static_cast<std::size_t>(needed); // in units, which is twice as much
        std::unique_ptr<char16_t[]> more(new (std::nothrow) char16_t[wanted]);
        if (!more)
            return false;
        std::memcpy(more.get(), held(), static_cast<std::size_t>(m_heldSize));
        m_more = std::move(more);
        m_moreCapacity = wanted;
        return true;
    }

    qint64 writeOut(qint64 position, const char* data, qint64 size) const
    {
        return (m_writer ? m_writer : writeAt)(m_file, position, data, size);
    }

    bool writeHeld()
    {
        if (m_heldSize == 0)
            return true;
        m_isIntact = false;
        const qint64 size = std::exchange(m_heldSize, 0);
        const qint64 start = m_position - size;
        const qint64 written = writeOut(start, heldBytes(), size);
        if (written != size)
            moveTo(start + written);
        return written == size;
    }

    int m_file = -1;
    qint64 m_position = 0; ///< Behind what is held.
    Writer m_writer = nullptr;
    bool m_isHolding = false;
    bool m_isIntact = true;
    qint64 m_heldSize = 0;
    std::size_t m_moreCapacity = 0;
    std::unique_ptr<char16_t[]> m_more; ///< Instead of m_held, where that has no room.
    char16_t m_held[capacity];
};

} // namespace zmu
