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
    explicit FormLines(QTextStream& stream) : m_device(*stream.device()) {}

    bool seek(long position) { return m_device.seek(position); }
    /// Position behind the last line read, -1 if it is unknown.
    long position() const { return static_cast<long>(m_device.pos()); }
    bool atEnd() const { return m_device.atEnd(); }

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
        line = m_device.readLine(lineMax + 1); // which counts a terminator
        if (line.isEmpty())
            return false;
        if (line.endsWith('\n'))
            line.chop(1);
        if (line.endsWith('\r'))
            line.chop(1);
        return true;
    }

    /// The next `length` bytes, fewer at the end.
    QByteArray read(std::size_t length) { return m_device.read(static_cast<qint64>(length)); }

  private:
    QIODevice& m_device;
};

} // namespace zmu
