#include "JsonSink.h"

#include <spool/SpoolWriter.h>
#include <tools/Json.h>

#include <QString>

#include <algorithm>
#include <cerrno>
#include <stdexcept>

namespace zmu_tools::collect {

using zmu_collect::Report;

namespace {

std::string timeText(zmu::i64 nanoseconds)
{
    char text[zmu_spool::timeQty];
    return {text, zmu_spool::putTime(text, nanoseconds)};
}

} // namespace

bool JsonSink::write(const Report& report)
{
    constexpr std::size_t enough = 65536;
    // Before the report is taken: one that is not taken comes again, and is not to be here twice.
    if (m_output.size() >= enough && !flush())
        return false;
    m_output += '{';
    put("owner", report.owner);
    if (report.kind == Report::Kind::Situation)
        put("sequence", report.sequence);
    if (report.kind != Report::Kind::PassedOver) {
        const zmu_spool::SpoolLine& line = *report.line;
        put("time", timeText(line.time));
        put("host", line.host);
        put("program", line.program);
        put("process", line.process);
        put("start", timeText(line.start));
    }
    switch (report.kind) {
    case Report::Kind::Situation:
        put("thread", report.line->thread);
        put("instantiator", report.line->instantiator);
        put("enablements", zmu::u64{report.line->enablements});
        put("situation", report.line->situation);
        put("description", report.line->description);
        break;
    case Report::Kind::Missing:
        put("missing", report.sequence);
        put("last", report.last);
        if (report.mayHaveBeenRead)
            m_output += ",\"mayHaveBeenRead\":true";
        break;
    case Report::Kind::PassedOver:
        put("source", report.source);
        put("leftOut", report.place);
        put("what", report.what);
        put("sample", report.sample);
    }
    m_output += "}\n";
    return true;
}

bool JsonSink::sync()
{
    return flush();
}

bool JsonSink::flush()
{
    constexpr int standardOutput = 1;
    // Not by way of stdout, whose buffer is lost where it could be written in part.
    if (!m_file.isOpen() &&
        !m_file.open(standardOutput, QIODevice::WriteOnly | QIODevice::Unbuffered))
        throw std::runtime_error("standard output is closed");
    errno = 0;
    const qint64 written =
        m_output.empty() ? 0 : m_file.write(m_output.data(), qint64(m_output.size()));
    if (written < 0 && errno == EPIPE)
        throw std::runtime_error("nobody reads standard output any more");
    m_output.erase(0, static_cast<std::size_t>(std::max<qint64>(written, 0)));
    if (!m_output.empty())
        m_why = "standard output cannot be written: " + m_file.errorString().toStdString();
    return m_output.empty();
}

void JsonSink::put(std::string_view name, std::string_view text)
{
    if (!m_output.ends_with('{'))
        m_output += ',';
    m_output.append("\"").append(name).append("\":");
    appendJson(m_output, QString::fromUtf8(text.data(), qsizetype(text.size())).toStdU16String());
}

void JsonSink::put(std::string_view name, zmu::i64 number)
{
    m_output.append(",\"").append(name).append("\":").append(std::to_string(number));
}

void JsonSink::put(std::string_view name, zmu::u64 number)
{
    m_output.append(",\"").append(name).append("\":").append(std::to_string(number));
}

} // namespace zmu_tools::collect
