#include "LogCommand.h"

#include "Filter.h"
#include "Logs.h"
#include "Output.h"

#include <tools/platform/Terminal.h>

#include <CLI/CLI.hpp>

#include <QDateTime>
#include <QThread>

#include <cstdio>
#include <deque>
#include <memory>
#include <optional>

namespace zmu_tools::logs {

namespace {

constexpr int pollInterval = 250; // milliseconds

struct Options {
    std::vector<std::string> places;
    std::string form;
    std::vector<std::string> situations;
    std::string since;
    std::string until;
    std::string text;
    std::optional<std::size_t> last;
    bool isFollowing = false;
    bool isJson = false;
};

zmu::i64 localNow()
{
    QDateTime now = QDateTime::currentDateTime();
    now.setTimeSpec(Qt::UTC); // the same figures
    return now.toMSecsSinceEpoch();
}

/// Shows entries; what is wanted of them is a filter, and perhaps the last ones alone.
class Printer {
  public:
    Printer(const Filter& filter, bool isJson, std::optional<std::size_t> last)
        : m_filter(filter), m_isJson(isJson), m_last(last)
    {
        prepareOutput();
        const QByteArray noColour = qgetenv("NO_COLOR");
        if (isTerminal()) {
            m_style.width = terminalWidth();
            m_style.isColoured = noColour.isEmpty();
        }
    }

    void show(const Entry& entry, const std::string& logName)
    {
        if (!m_filter.passes(entry))
            return;
        if (!m_last) {
            append(m_output, entry, logName);
            if (m_output.size() > enough)
                write();
            return;
        }
        append(m_lines.emplace_back(), entry, logName);
        if (m_lines.size() > *m_last)
            m_lines.pop_front();
    }

    /// Writes what is left; from here on every entry counts.
    void flush()
    {
        for (const std::string& line : m_lines)
            m_output += line;
        m_lines.clear();
        m_last.reset();
        write();
        flushOutput();
    }

  private:
    static constexpr std::size_t enough = 65536;

    void append(std::string& output, const Entry& entry, const std::string& logName) const
    {
        if (m_isJson)
            appendJsonLine(output, entry, logName);
        else
            appendTextLine(output, entry, m_style);
    }

    void write()
    {
        const bool isWritten =
            std::fwrite(m_output.data(), 1, m_output.size(), stdout) == m_output.size();
        m_output.clear();
        if (!isWritten)
            flushOutput();
    }

    const Filter& m_filter;
    bool m_isJson;
    std::optional<std::size_t> m_last;
    LineStyle m_style;
    std::deque<std::string> m_lines; ///< The last ones.
    std::string m_output;
};

/// The filter that the options ask for; checked by the command line already.
Filter filterOf(const Options& options)
{
    Filter filter;
    for (const std::string& situations : options.situations)
        filter.situations.push_back(parseSituations(situations).value());
    const zmu::i64 now = localNow();
    if (!options.since.empty())
        filter.since = parseMoment(options.since, now).value().first;
    if (!options.until.empty())
        filter.until = parseMoment(options.until, now).value().second;
    if (!options.text.empty())
        filter.text.emplace(QString::fromStdString(options.text),
                            QRegularExpression::UseUnicodePropertiesOption);
    return filter;
}

Exit showLogs(const Options& options)
{
    QStringList places;
    for (const std::string& place : options.places)
        places.push_back(QString::fromStdString(place));
    Forms forms(QString::fromStdString(options.form));
    Logs logs(places, forms, options.isFollowing);
    const Filter filter = filterOf(options);
    Printer printer(filter, options.isJson, options.last);
    const Sink show = [&printer](const Entry& entry, const std::string& logName) {
        printer.show(entry, logName);
    };
    if (!options.isFollowing)
        logs.readAll(show);
    for (;;) {
        if (options.isFollowing)
            logs.readNew(show);
        printer.flush();
        if (!options.isFollowing)
            break;
        QThread::msleep(pollInterval);
    }
    const bool isAnyRaw = logs.tellRaw();
    if (logs.isAnyUnreadable())
        return Exit::Unreadable;
    return isAnyRaw ? Exit::Findings : Exit::Good;
}

CLI::Validator momentCheck()
{
    return {[](const std::string& text) {
                return parseMoment(text, 0) ? std::string()
                                            : "\"" + text +
                                                  "\" is no moment; write 2026-11-22, "
                                                  "\"2026-11-22 14:03:07\", 14:03, or 90m for 90 "
                                                  "minutes ago";
            },
            "MOMENT"};
}

CLI::Validator situationCheck()
{
    return {[](const std::string& text) {
                return parseSituations(text) ? std::string()
                                             : "\"" + text +
                                                   "\" is no situation; write 1001, or "
                                                   "1001-1010";
            },
            "SITUATION"};
}

CLI::Validator expressionCheck()
{
    return {[](const std::string& text) {
                const QRegularExpression expression(QString::fromStdString(text));
                return expression.isValid() ? std::string()
                                            : expression.errorString().toStdString();
            },
            "EXPRESSION"};
}

} // namespace

} // namespace zmu_tools::logs

void zmu_tools::addLogCommand(CLI::App& app, Run& run)
{
    using namespace logs;
    const auto options = std::make_shared<Options>();
    CLI::App* const command =
        app.add_subcommand("log", "Show the entries of logs as text or as JSON.");
    command
        ->add_option("LOG", options->places,
                     "The logs to show. A folder stands for all logs in it. Several are shown as "
                     "one, by the time of their entries.")
        ->required();
    command->add_flag("--follow,-f", options->isFollowing,
                      "Go on with entries as they are written, and with the log that takes over "
                      "from one that is full. Of a folder new logs are shown as well. Ends when it "
                      "is interrupted.");
    command->add_flag("--json", options->isJson,
                      "Write one JSON object a line, with all variables that the form has for an "
                      "entry.");
    command
        ->add_option("--situation", options->situations,
                     "Show only entries of these situations, such as 1001 or 1001-1010. May be "
                     "given several times.")
        ->check(situationCheck())
        ->delimiter(',');
    command
        ->add_option("--since", options->since,
                     "Show only entries from this local time on: 2026-11-22, \"2026-11-22 "
                     "14:03:07\", 14:03 today, or 90m for the last 90 minutes (s, m, h or d).")
        ->check(momentCheck());
    command
        ->add_option("--until", options->until,
                     "Show only entries up to this local time; a day or a minute includes its end.")
        ->check(momentCheck());
    command
        ->add_option("--grep", options->text,
                     "Show only entries whose text this regular expression finds something in. "
                     "(?i) at its beginning ignores case.")
        ->check(expressionCheck());
    command
        ->add_option("--last", options->last,
                     "Show only the last so many of the entries that are there.")
        ->check(CLI::NonNegativeNumber);
    command->add_option(
        "--form", options->form,
        "The form with which the logs were written. Without it a log that tells itself "
        "how it is to be read is read so; others with that form of the folder Templates "
        "beside them, or the built-in one, which explains most of them.");
    command->footer(
        "An entry that does not fit the form is shown as it stands. What a terminal would obey is "
        "shown as \\x1b. Colours tell the severity, unless NO_COLOR is set.\n"
        "Ends with 0 if all is good, 1 if something is no entry of its form, 2 if the command line "
        "is wrong, 3 if a log or a form cannot be read.");
    command->callback([&run, options] { run = [options] { return showLogs(*options); }; });
}
