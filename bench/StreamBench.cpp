// The floor of the road: the bare stream calls that an entry and its tail need. Everything else is
// compared with these.
#include "Log.h"
#include "Measure.h"

#include <QFile>
#include <QTextStream>

#include <stdexcept>
#include <string>

namespace zmu_bench {

namespace {

/// A stream set up as that of a log, on a file of its own.
class LogStream {
  public:
    LogStream(Medium medium, QIODevice::OpenMode mode)
        : m_folder(medium), m_file(m_folder.path("stream.html"))
    {
        if (!m_file.open(QIODevice::ReadWrite | mode))
            throw std::runtime_error("no file to write");
        m_stream.setDevice(&m_file);
        m_stream.setEncoding(QStringConverter::Utf16);
        m_stream.setGenerateByteOrderMark(false);
    }

    void write(const QString& body, const QString& tail)
    {
        m_stream.seek(m_tailPosition);
        m_tailPosition += writeSection(body);
        writeSection(tail);
    }

  private:
    qint64 writeSection(const QString& text)
    {
        const qint64 position = m_stream.pos();
        m_stream << text;
        m_stream.flush();
        return m_stream.pos() - position;
    }

    Folder m_folder;
    QFile m_file;
    QTextStream m_stream;
    qint64 m_tailPosition = 0;
};

void measurePreparedText(benchmark::State& state, Medium medium, QIODevice::OpenMode mode)
{
    const Sections& sections = sectionsOfLoggedSituation();
    LogStream stream(medium, mode);
    measure(state, [&] { stream.write(sections.body, sections.tail); });
}

void measureWideText(benchmark::State& state, Medium medium)
{
    const std::wstring body = sectionsOfLoggedSituation().body.toStdWString();
    const std::wstring tail = sectionsOfLoggedSituation().tail.toStdWString();
    LogStream stream(medium, QIODevice::Unbuffered);
    measure(state,
            [&] { stream.write(QString::fromStdWString(body), QString::fromStdWString(tail)); });
}

} // namespace

void registerStreamBench()
{
    registerOnMedia("stream", [](benchmark::State& state, Medium medium) {
        measurePreparedText(state, medium, QIODevice::Unbuffered);
    });
    registerOnMedia("buffered stream", [](benchmark::State& state, Medium medium) {
        measurePreparedText(state, medium, QIODevice::NotOpen);
    });
    registerOnMedia("stream of wide text", measureWideText);
}

} // namespace zmu_bench
