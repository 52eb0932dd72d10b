#include "JsonSink.h"

#include <spool/SpoolWriter.h>
#include <tools/Json.h>

#include <QString>

#include <cstdio>

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
    return m_output.size() < enough || flush();
}

bool JsonSink::sync()
{
    return flush() && (std::fflush(stdout) == 0 || (m_why = "standard output is closed", false));
}

bool JsonSink::flush()
{
    const std::size_t written = std::fwrite(m_output.data(), 1, m_output.size(), stdout);
    m_output.erase(0, written);
    if (!m_output.empty())
        m_why = "standard output cannot be written";
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
