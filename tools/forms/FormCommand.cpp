#include "FormCommand.h"

#include "FormPreview.h"
#include "FormProof.h"

#include <tools/Text.h>
#include <tools/log/LogReader.h>

#include <zmu/monitor/DxCodes.h>

#include <CLI/CLI.hpp>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>
#include <memory>

namespace zmu_tools {

namespace {

struct FormOptions {
    std::string form;
    std::string log;
    bool watches = false;
};

Exit sayUnreadable(const std::string& file, const std::string& why)
{
    std::fprintf(stderr, "zmu form: error: %s\n", harmless(file + ": " + why).c_str());
    return Exit::Unreadable;
}

void print(const std::string& form, const FormFinding& finding, const QByteArrayList& lines)
{
    std::string place = harmless(form);
    if (finding.line > 0)
        place +=
            ':' + std::to_string(finding.line) + ':' + std::to_string(std::max(finding.column, 1));
    std::printf("%s: %s: %s", place.c_str(), finding.isWarning ? "warning" : "error",
                finding.what.c_str());
    if (finding.code)
        std::printf(" (%d/%s)", finding.code, finding.name.c_str());
    std::printf("\n");
    if (finding.column < 1 || finding.line > lines.size())
        return;
    // As much of the line as is shown at most, and more: it may be all of a huge form.
    constexpr qsizetype shownQty = 1024;
    const QByteArray& line = lines[finding.line - 1];
    const qsizetype position = std::min<qsizetype>(finding.column - 1, line.size());
    qsizetype begin = std::max<qsizetype>(position - shownQty, 0);
    while (begin > 0 && begin < position && (line[begin] & 0xC0) == 0x80)
        ++begin; // not within a character
    const std::string shown = line.mid(begin, position - begin + shownQty).toStdString();
    const std::string_view before(shown.data(), std::size_t(position - begin));
    std::printf("%s", pointedAt(widened(shown), widened(before).size()).c_str());
}

QByteArrayList linesOf(const std::string& path)
{
    QFile file(QString::fromStdString(path));
    file.open(QIODevice::ReadOnly);
    QByteArrayList lines = file.readAll().split('\n');
    for (QByteArray& line : lines) {
        if (line.endsWith('\r'))
            line.chop(1);
    }
    return lines;
}

/// Judges a form that can be read and prints what is wrong with it.
FormVerdict checkForm(const std::string& path)
{
    FormVerdict verdict = proveFormFile(path);
    const QByteArrayList lines = linesOf(path);
    for (const FormFinding& finding : verdict.findings)
        print(path, finding, lines);
    return verdict;
}

Exit check(const FormOptions& options)
{
    if (const std::string why = whyFormUnreadable(options.form); !why.empty())
        return sayUnreadable(options.form, why);
    const FormVerdict verdict = checkForm(options.form);
    const std::string form = harmless(options.form);
    if (!verdict.isUsed)
        std::printf("%s: the library would use its built-in form instead\n", form.c_str());
    else
        std::printf("%s: good; an entry has room for about %zu characters of description\n",
                    form.c_str(), verdict.descriptionRoom);
    return verdict.isUsed ? Exit::Good : Exit::Findings;
}

class Preview {
  public:
    explicit Preview(const FormOptions& options)
        : m_options(options),
          m_form(QFileInfo(QString::fromStdString(options.form)).absoluteFilePath())
    {}

    /// Chooses the log's place; false, with a message, if there is none.
    bool choosePlace()
    {
        if (!m_options.log.empty()) {
            m_log = QFileInfo(QString::fromStdString(m_options.log)).absoluteFilePath();
            if (QFileInfo(m_log) != QFileInfo(m_form)) // whatever links lead there
                return true;
            sayUnreadable(m_options.log, "the log would be written over the form");
            return false;
        }
        QTemporaryDir folder(QDir::tempPath() + "/zmu-preview-XXXXXX");
        folder.setAutoRemove(false); // it is for whoever looks at the log
        if (!folder.isValid()) {
            sayUnreadable(QDir::tempPath().toStdString(), folder.errorString().toStdString());
            return false;
        }
        m_log = folder.filePath(QFileInfo(m_form).completeBaseName() + "-preview.html");
        return true;
    }

    Exit write()
    {
        if (const std::string why = whyFormUnreadable(m_options.form); !why.empty())
            return sayUnreadable(m_options.form, why);
        m_seen = bytes();
        const bool isUsed = checkForm(m_options.form).isUsed;
        if (!mayBeReplaced(m_log))
            return sayUnreadable(m_log.toStdString(),
                                 "is there already and is no log; name another "
                                 "file, or remove this one");
        if (const int code = writePreview(m_form.toStdString(), m_log.toStdString())) {
            const zmu::CodeDescription description = zmu::describe(code);
            return sayUnreadable(m_log.toStdString(), std::to_string(code) + "/" +
                                                          narrowed(description.name) + ", " +
                                                          narrowed(description.meaning));
        }
        std::printf("%s%s\n", harmless(m_log.toStdString()).c_str(),
                    isUsed ? "" : " (with the built-in form)");
        std::fflush(stdout);
        return isUsed ? Exit::Good : Exit::Findings;
    }

    /// Writes it again at each change, until the process is ended.
    Exit watch()
    {
        constexpr int settling = 100; // milliseconds: editors write in several steps

        QFileSystemWatcher watcher;
        QTimer timer;
        timer.setSingleShot(true);
        timer.setInterval(settling);
        const auto listen = [&] {
            // The file's own watch goes with the file when an editor puts another one in its place.
            watcher.addPath(m_form);
            watcher.addPath(QFileInfo(m_form).path());
        };
        const auto note = [&timer] { timer.start(); };
        QObject::connect(&watcher, &QFileSystemWatcher::fileChanged, note);
        QObject::connect(&watcher, &QFileSystemWatcher::directoryChanged, note);
        QObject::connect(&timer, &QTimer::timeout, [&] {
            listen();
            if (QFileInfo(m_form).isFile() && bytes() != m_seen)
                write();
        });
        listen();
        timer.start(); // it may have changed before it was watched
        return static_cast<Exit>(QCoreApplication::exec());
    }

  private:
    /// Whether nothing but a log would go with the file.
    static bool mayBeReplaced(const QString& log)
    {
        QFile file(log);
        return !QFileInfo::exists(log) ||
               (file.open(QIODevice::ReadOnly) && (file.size() == 0 || logs::beginsAsLog(file)));
    }

    QByteArray bytes() const
    {
        QFile file(m_form);
        file.open(QIODevice::ReadOnly);
        return file.readAll();
    }

    const FormOptions& m_options;
    QString m_form;
    QString m_log;
    QByteArray m_seen; ///< The form that was written with last.
};

Exit preview(const FormOptions& options)
{
    if (const std::string why = whyFormUnreadable(options.form); !why.empty())
        return sayUnreadable(options.form, why);
    Preview preview(options);
    if (!preview.choosePlace())
        return Exit::Unreadable;
    const Exit exit = preview.write();
    return options.watches && exit != Exit::Unreadable ? preview.watch() : exit;
}

} // namespace

void addFormCommand(CLI::App& app, Run& run)
{
    const auto options = std::make_shared<FormOptions>();
    CLI::App* const form = app.add_subcommand("form", "Check or preview the form of a log.");
    form->require_subcommand(1);

    CLI::App* const checks =
        form->add_subcommand("check", "Name each mistake of a form, with its line and column.");
    checks->footer("The library judges; a form with an error is one that it would replace by its "
                   "built-in form. A warning is told of what only looks otherwise than it was "
                   "meant. Columns count bytes.");
    checks->add_option("FORM", options->form, "The form's file")->required();
    checks->callback([options, &run] { run = [options] { return check(*options); }; });

    CLI::App* const previews =
        form->add_subcommand("preview", "Write a log of sample entries with a form.");
    previews->footer("Prints the path of the log, behind what is wrong with the form.");
    previews->add_option("FORM", options->form, "The form's file")->required();
    previews
        ->add_option("--log", options->log,
                     "Where to write the log; without it, in a new temporary folder")
        ->type_name("FILE");
    previews->add_flag("--watch", options->watches,
                       "Write it again at each change of the form, until interrupted");
    previews->callback([options, &run] { run = [options] { return preview(*options); }; });
}

} // namespace zmu_tools
