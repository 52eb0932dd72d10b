// Reads the open form file: one byte is one character, positions count bytes.
//
// It reads the stream's device and not the stream, whose position costs a reading of everything
// since its last buffer.
#pragma once

#include <QIODevice>
#include <QTextStream>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string_view>

namespace zmu {

class FormLines {
  public:
    static constexpr qint64 sizeMax = qint64{16} * 1024 * 1024; ///< Bytes.

    /// Reads the whole form, unless it is too large. Throws std::bad_alloc.
    explicit FormLines(QTextStream& stream)
    {
        QIODevice& device = *stream.device();
        // What claims no size would never end.
        const qint64 size = std::max<qint64>(device.size(), 0);
        m_isTooLarge = size > sizeMax;
        if (m_isTooLarge || !device.seek(0))
            return;
        m_bytes = std::make_unique<char[]>(static_cast<std::size_t>(size) + 1);
        m_isWhole = device.read(m_bytes.get(), size) == size;
        if (m_isWhole)
            m_text = {m_bytes.get(), static_cast<std::size_t>(size)};
    }

    /// What no form needs: the sections of a larger file could not be formatted anyway.
    bool isTooLarge() const { return m_isTooLarge; }

    bool seek(long position)
    {
        if (position < 0 || static_cast<std::size_t>(position) > m_text.size())
            return false;
        m_position = static_cast<std::size_t>(position);
        return true;
    }
    /// Position behind the last line read.
    long position() const { return static_cast<long>(m_position); }
    bool atEnd() const { return m_isWhole && m_position == m_text.size(); }

    /// Skips the mark that some editors put in front of UTF-8.
    void skipByteOrderMark()
    {
        constexpr std::string_view mark("\xEF\xBB\xBF");
        if (rest().substr(0, mark.size()) == mark)
            m_position += mark.size();
    }

    /// Next line without its end; a line of more than 1024 characters arrives in pieces. False
    /// behind the last one. It lies in the object's memory.
    bool readLine(std::string_view& line)
    {
        constexpr std::size_t lineMax = 1024;
        line = rest().substr(0, lineMax);
        if (const std::size_t end = line.find('\n'); end != line.npos)
            line = line.substr(0, end + 1);
        if (line.empty())
            return false;
        m_position += line.size();
        if (line.ends_with("\r\n"))
            line.remove_suffix(2);
        else if (line.ends_with('\n'))
            line.remove_suffix(1);
        return true;
    }

    /// The next `length` bytes, fewer at the end.
    std::string_view read(std::size_t length)
    {
        const std::string_view text = rest().substr(0, length);
        m_position += text.size();
        return text;
    }

  private:
    std::string_view rest() const { return m_text.substr(m_position); }

    std::unique_ptr<char[]> m_bytes;
    std::string_view m_text;
    std::size_t m_position = 0;
    bool m_isTooLarge = false;
    bool m_isWhole = false;
};

} // namespace zmu
