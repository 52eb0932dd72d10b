// Reads the open form file: one byte is one character, positions count bytes.
//
// It reads the stream's device and not the stream, whose position costs a reading of everything
// since its last buffer.
#pragma once

#include <QByteArray>
#include <QIODevice>
#include <QTextStream>

namespace zmu {

class FormLines {
  public:
    explicit FormLines(QTextStream& stream)
        : m_device(*stream.device()), m_size(stream.device()->size())
    {}

    /// What no form needs: the sections of a larger file could not be formatted anyway.
    bool isTooLarge() const
    {
        constexpr qint64 sizeMax = 16 * 1024 * 1024;
        return m_size > sizeMax;
    }

    bool seek(long position) { return m_device.seek(position); }
    /// Position behind the last line read, -1 if it is unknown.
    long position() const { return static_cast<long>(m_device.pos()); }
    bool atEnd() const { return m_device.pos() >= m_size; }

    /// Skips the mark that some editors put in front of UTF-8.
    void skipByteOrderMark()
    {
        static const QByteArray mark("\xEF\xBB\xBF");
        if (m_device.peek(mark.size()) == mark)
            m_device.skip(mark.size());
    }

    /// Next line without its end; a line of more than 1024 characters arrives in pieces. False
    /// behind the last one.
    bool readLine(QByteArray& line)
    {
        constexpr int lineMax = 1024;
        if (atEnd())
            return false;                      // a file that goes on without a size would never end
        line = m_device.readLine(lineMax + 1); // which counts a terminator
        if (line.isEmpty())
            return false;
        if (line.endsWith("\r\n"))
            line.chop(2);
        else if (line.endsWith('\n'))
            line.chop(1);
        return true;
    }

    /// The next `length` bytes, fewer at the end.
    QByteArray read(std::size_t length) { return m_device.read(static_cast<qint64>(length)); }

  private:
    QIODevice& m_device;
    qint64 m_size;
};

} // namespace zmu
