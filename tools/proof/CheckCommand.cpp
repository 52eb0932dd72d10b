#include "CheckCommand.h"

#include "SpecProof.h"

#include <tools/Text.h>
#include <tools/forms/FormProof.h>

#include <zmu/monitor/DxCodes.h>

#include <CLI/CLI.hpp>

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QLibrary>
#include <QProcess>
#include <QString>
#include <QTemporaryFile>

#include <charconv>
#include <cstdio>
#include <memory>

namespace zmu_tools {

namespace {

/// IDs, both ends among them; "1001-1099", or "1001" for one alone.
struct IdRange {
    unsigned int first = 1;
    unsigned int last = 65535;
};

constexpr unsigned int idMax = 0x7FFFFFFF;

/// Empty for a range; else what is wrong with the text.
std::string readRange(const std::string& text, IdRange& range)
{
    const char* const end = text.data() + text.size();
    std::from_chars_result read = std::from_chars(text.data(), end, range.first);
    range.last = range.first;
    if (read.ec == std::errc() && read.ptr != end && *read.ptr == '-')
        read = std::from_chars(read.ptr + 1, end, range.last);
    if (read.ec != std::errc() || read.ptr != end || range.first < 1 || range.last > idMax ||
        range.last < range.first)
        return "'" + text + "' is no range of IDs such as 1001-1099";
    return {};
}

struct CheckOptions {
    std::string module;
    std::string ids;
    std::string affixes;
    std::string form;
    SpecRules rules;
    bool isHere = false;
    std::string progress; ///< File of a Progress.
};

/// Whether a text is meant as a response spec: it has a bar or a backtick, which no text can show,
/// or begins like a header. Affixes and other texts that a module serves do not.
bool looksLikeSpec(const std::wstring& text)
{
    const std::size_t number = text.find_first_not_of(L"-0123456789");
    return text.find_first_of(L"|`") != std::wstring::npos ||
           (number != std::wstring::npos && number > 0 && text[number] == L'~');
}

/// What to tell `zmu check` that would make the finding go away.
const char* hintOf(int code, const SpecRules& rules)
{
    namespace dx = zmu::dx;
    if (code == dx::AffixOutOfRange)
        return rules.affixCount == 0 ? "; no affixes are told, --affixes FIRST-LAST does" : "";
    const bool isOfPlugIns = code == dx::PlugInIdsWithoutTable || code == dx::PlugInIdsTooMany ||
                             code == dx::PlugInIdOutOfRange;
    return isOfPlugIns && rules.plugInCount == 0 ? "; no plug-ins are told, --plug-ins N does" : "";
}

/// What a process has in hand that asks a module, told to the one that waits for it, which finds it
/// even after a crash: a number in a file that both have in memory.
class Progress {
  public:
    static constexpr unsigned int loading = 0;
    static constexpr unsigned int unloading = idMax + 1;

    /// One of nobody's without a file.
    explicit Progress(const std::string& path = {}) : m_file(QString::fromStdString(path))
    {
        if (path.empty() || !m_file.open(QIODevice::ReadWrite) || !m_file.resize(sizeof(m_own)))
            return;
        if (uchar* const memory = m_file.map(0, sizeof(m_own)))
            m_number = reinterpret_cast<volatile unsigned int*>(memory);
    }
    void set(unsigned int number) { *m_number = number; }
    unsigned int get() const { return *m_number; }

    std::string text() const
    {
        const unsigned int number = get();
        return number == loading     ? "while it was loaded"
               : number == unloading ? "while it was unloaded"
                                     : "when it was asked for string " + std::to_string(number);
    }

  private:
    QFile m_file;
    volatile unsigned int m_own = 0;
    volatile unsigned int* m_number = &m_own;
};

class Check {
  public:
    Check(HMODULE module, const CheckOptions& options, IdRange ids, Progress& progress)
        : m_module(module), m_options(options), m_ids(ids), m_progress(progress),
          m_name(harmless(options.module))
    {}

    Exit run()
    {
        for (unsigned int id = m_ids.first; id <= m_ids.last; ++id) {
            m_progress.set(id);
            std::wstring text;
            if (!isAffix(id) && stringOf(m_module, id, text))
                look(id, text);
        }
        if (m_specs == 0) {
            std::printf("%s: no response spec from %u to %u\n", m_name.c_str(), m_ids.first,
                        m_ids.last);
            return Exit::Findings;
        }
        std::printf("%s: %u response specs, %u of them with mistakes, %u warnings; %u other "
                    "strings\n",
                    m_name.c_str(), m_specs, m_wrong, m_warnings, m_others);
        return m_wrong > 0 ? Exit::Findings : Exit::Good;
    }

  private:
    bool isAffix(unsigned int id) const
    {
        const auto first = static_cast<unsigned int>(m_options.rules.affixFirst);
        return id >= first && id - first < static_cast<unsigned int>(m_options.rules.affixCount);
    }

    void look(unsigned int id, const std::wstring& text)
    {
        // Whoever has named the IDs means all of them.
        if (m_options.ids.empty() && !looksLikeSpec(text)) {
            ++m_others;
            return;
        }
        ++m_specs;
        bool isWrong = false;
        for (const SpecFinding& finding : proveString(m_module, id, m_options.rules)) {
            std::printf("%s:%u: %s: %s%s\n%s", m_name.c_str(), id, fieldName(finding.field),
                        described(finding).c_str(), hintOf(finding.code, m_options.rules),
                        pointedAt(text, finding.position).c_str());
            flushOutput(); // the module may end the process
            isWrong = isWrong || !finding.isWarning;
            m_warnings += finding.isWarning ? 1 : 0;
        }
        m_wrong += isWrong ? 1 : 0;
    }

    HMODULE m_module;
    const CheckOptions& m_options;
    IdRange m_ids;
    Progress& m_progress;
    std::string m_name;
    unsigned int m_specs = 0;
    unsigned int m_wrong = 0;
    unsigned int m_warnings = 0;
    unsigned int m_others = 0;
};

Exit sayUnreadable(const std::string& module, const std::string& why)
{
    std::fprintf(stderr, "zmu check: error: %s\n", harmless(module + ": " + why).c_str());
    return Exit::Unreadable;
}

Exit checkHere(const CheckOptions& options, IdRange ids)
{
    const QFileInfo file(QString::fromStdString(options.module));
    if (!file.isFile())
        return sayUnreadable(options.module,
                             file.exists() ? "is no file" : "there is no such file");
    Progress progress(options.progress);
    const QString path = file.absoluteFilePath(); // else it would be looked for elsewhere
    const HMODULE module = LoadLibraryW(path.toStdWString().c_str());
    if (!module) {
        QLibrary library(path); // knows the reason
        if (library.load())
            return sayUnreadable(options.module, "cannot be loaded");
        return sayUnreadable(options.module, library.errorString().simplified().toStdString());
    }
    const Exit exit = Check(module, options, ids, progress).run();
    flushOutput();
    progress.set(Progress::unloading);
    FreeLibrary(module);
    return exit;
}

/// What a child ends with is this and its Exit: whatever else it ends with is the module's doing.
constexpr int childExit = 64;

/// Waits for the end of a child. False if it has been at one string for too long.
bool awaitEnd(QProcess& child, const Progress& progress)
{
    constexpr int patience = 60'000; // milliseconds for a string
    constexpr int lookInterval = 500;

    QElapsedTimer sinceProgress;
    sinceProgress.start();
    for (unsigned int last = progress.get(); !child.waitForFinished(lookInterval);) {
        if (child.state() == QProcess::NotRunning)
            break;
        if (const unsigned int now = progress.get(); now != last) {
            last = now;
            sinceProgress.restart();
        }
        if (sinceProgress.hasExpired(patience))
            return false;
    }
    return true;
}

/// A module is code of others: should it crash or hang, that is the end of a process of its own.
Exit checkInChild(const CheckOptions& options)
{
    QTemporaryFile file;
    if (!file.open())
        return sayUnreadable(file.fileTemplate().toStdString(), file.errorString().toStdString());
    const Progress progress(file.fileName().toStdString());

    const SpecRules& rules = options.rules;
    QStringList arguments = {"check", "--here"};
    const auto add = [&arguments](const char* name, const std::string& value) {
        if (!value.empty())
            arguments << QString(name) + '=' + QString::fromStdString(value);
    };
    add("--ids", options.ids);
    add("--affixes", options.affixes);
    add("--form", options.form);
    add("--plug-ins", std::to_string(rules.plugInCount));
    add("--fillers", std::to_string(rules.fillersQty));
    add("--recorded", std::to_string(rules.recordedQty));
    add("--text", std::to_string(rules.textLength));
    add("--progress", file.fileName().toStdString());
    arguments << "--" << QString::fromStdString(options.module);

    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedChannels);
    child.setInputChannelMode(QProcess::ForwardedInputChannel);
    child.start(QString::fromStdString(ownProgram()), arguments);
    if (!child.waitForStarted())
        return sayUnreadable(options.module, child.errorString().toStdString());
    if (!awaitEnd(child, progress)) {
        child.kill();
        child.waitForFinished();
        return sayUnreadable(options.module,
                             "the module does not come to an end, given up " + progress.text());
    }
    const int exit = child.exitCode() - childExit;
    if (child.exitStatus() == QProcess::CrashExit || exit < 0 ||
        exit > static_cast<int>(Exit::Unreadable))
        return sayUnreadable(options.module, "the module has ended its process " + progress.text());
    return static_cast<Exit>(exit);
}

/// A child's end, which is told by what it ends with, whatever fails.
Exit checkAsChild(const CheckOptions& options, IdRange ids)
{
    Exit exit = Exit::Unreadable;
    try {
        exit = checkHere(options, ids);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "zmu check: error: %s\n", harmless(error.what()).c_str());
    }
    return static_cast<Exit>(childExit + static_cast<int>(exit));
}

Exit check(CheckOptions& options)
{
    IdRange ids;
    if (!options.ids.empty())
        readRange(options.ids, ids);
    if (IdRange affixes; !options.affixes.empty()) {
        readRange(options.affixes, affixes);
        options.rules.affixFirst = static_cast<int>(affixes.first);
        options.rules.affixCount = static_cast<int>(affixes.last - affixes.first + 1);
    }
    if (!options.form.empty()) {
        if (const std::string why = whyFormUnreadable(options.form); !why.empty())
            return sayUnreadable(options.form, why);
        options.rules.logRoom = proveFormFile(options.form).descriptionRoom;
        if (options.rules.logRoom == 0)
            return sayUnreadable(options.form,
                                 "is no form that would be used; see 'zmu form check'");
    }
    if (options.isHere)
        return checkAsChild(options, ids);
    return ownProgram().empty() ? checkHere(options, ids) : checkInChild(options);
}

} // namespace

void addCheckCommand(CLI::App& app, Run& run)
{
    const auto options = std::make_shared<CheckOptions>();
    const auto isRange = [](const std::string& text) {
        IdRange range;
        return readRange(text, range);
    };
    const auto isRangeOfAffixes = [](const std::string& text) -> std::string {
        constexpr unsigned int affixMax = 32767; // ID, and number of them
        IdRange range;
        if (std::string flaw = readRange(text, range); !flaw.empty() || range.last <= affixMax)
            return flaw;
        return "affixes have IDs up to " + std::to_string(affixMax);
    };

    CLI::App* const command =
        app.add_subcommand("check", "Judge the response specs that a resource module serves.");
    command->footer(
        "Loads the module and runs each of its response specs through the library, with the "
        "emptiest and with the longest arguments; nothing is logged, shown or called. Without "
        "--ids a string counts as a response spec if it has a bar or a backtick, or begins with a "
        "number and a tilde. For each mistake: the ID, the field, what is wrong, and a caret under "
        "the place.\n"
        "A warning is told of what the library shows in another way than it was written; it does "
        "not count as a mistake.");
    command->add_option("MODULE", options->module, "The module's file")->required();
    command->add_option("--ids", options->ids, "Judge each string from A to B, whatever it is")
        ->type_name("A-B")
        ->check(isRange);
    command
        ->add_option("--affixes", options->affixes,
                     "The strings that are affixes 0, 1 ... of the host's monitor; without it "
                     "there are none")
        ->type_name("A-B")
        ->check(isRangeOfAffixes);
    command
        ->add_option("--plug-ins", options->rules.plugInCount,
                     "How many plug-ins the host has; without it none")
        ->type_name("N")
        ->check(CLI::Range(0, 32767));
    command
        ->add_option("--fillers", options->rules.fillersQty,
                     "How many arguments a situation can have")
        ->type_name("N")
        ->check(CLI::Range(5, 99))
        ->capture_default_str();
    command
        ->add_option("--recorded", options->rules.recordedQty,
                     "How many arguments of each kind the host can record")
        ->type_name("N")
        ->check(CLI::Range(0, 99))
        ->capture_default_str();
    command
        ->add_option("--text", options->rules.textLength,
                     "Characters of the longest text that an argument is")
        ->type_name("N")
        ->check(CLI::Range(0, int{SpecRules::textLengthMax}))
        ->capture_default_str();
    command
        ->add_option("--form", options->form,
                     "The form of the host's log, which takes some of an entry's 1023 characters")
        ->type_name("FORM");
    command->add_flag("--here", options->isHere)->group("");
    command->add_option("--progress", options->progress)->group("");
    command->callback([options, &run] { run = [options] { return check(*options); }; });
}

} // namespace zmu_tools
