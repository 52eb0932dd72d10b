#include "FormProof.h"

#include "FormLearner.h"
#include "QuietTraces.h"

#include <tools/FormattedLength.h>
#include <tools/Text.h>

#include <zmu/log/internal/FormLines.h>
#include <zmu/log/internal/FormVariable.h>
#include <zmu/monitor/DxCodes.h>

#include <QFileInfo>

#include <algorithm>
#include <functional>
#include <optional>

namespace zmu_tools {

namespace {

using namespace zmu;

constexpr std::size_t sectionMax = 1023; ///< Elements of an entry, and of the tail.

/// Elements of a section, its texts being `textLength` long and its numbers as long as they get in
/// a large log; all of the description is left out.
std::size_t lengthOf(const FormLearner::Section& section, std::size_t textLength)
{
    const std::wstring text(textLength, L'x');
    std::vector<u64> values;
    for (const Zarn_FORM_VAR variable : section.variables) {
        const FormVariable& row = formVariables[variable];
        if (row.insert[0] == L's')
            values.push_back(
                toArgumentSlot(variable == Zarn_FORM_VAR_SITUATION_DSCRP ? L"" : text.c_str()));
        else if (!row.timePart)
            values.push_back(100000); // an ID, or a colour
        else
            values.push_back(variable == Zarn_FORM_VAR_YEAR ? 2000 : 10);
    }
    values.push_back(0); // at least one
    return formattedLength(section.format, values.data());
}

// ---- A copy that is mended -----------------------------------------------------------------------

/// The form as it is now, and where each of its places was before.
class MendedForm {
  public:
    explicit MendedForm(const QByteArray& form) : m_text(form) { findLines(); }

    const QByteArray& text() const { return m_text; }

    /// The line, without its end; empty where there is none.
    QByteArray line(int number) const
    {
        if (number < 1 || number > lastLine())
            return {};
        const qsizetype begin = offsetOf(number, 1);
        QByteArray line = m_text.mid(begin, offsetOf(number + 1, 1) - begin);
        for (const char end : {'\n', '\r'}) {
            if (line.endsWith(end))
                line.chop(1);
        }
        return line;
    }

    /// Number of the line that is the marker of this name, 0 without one.
    int markerLine(const char* keyword) const
    {
        const QByteArray marker = QByteArray("^") + keyword;
        for (int number = 1; number <= lastLine(); ++number) {
            const QByteArrayView rest = QByteArrayView(m_text).sliced(offsetOf(number, 1));
            if (rest.startsWith(marker) && line(number) == marker)
                return number;
        }
        return 0;
    }
    int lastLine() const { return static_cast<int>(m_lines.size()); }

    /// The form's end for a line behind the last one.
    qsizetype offsetOf(int line, int column) const
    {
        if (line > lastLine())
            return m_text.size();
        const qsizetype begin = line < 1 ? 0 : m_lines[static_cast<std::size_t>(line) - 1];
        return std::min<qsizetype>(begin + std::max(column, 1) - 1, m_text.size());
    }

    /// Puts `by` in the place of `length` bytes; neither has a line break.
    void replace(int line, int column, int length, const QByteArray& by)
    {
        m_text.replace(offsetOf(line, column), length, by);
        findLines();
        m_edits.push_back({line, column, 0, static_cast<int>(by.size()) - length});
    }

    /// Puts whole lines in front of a line, or at the end.
    void insertLines(int line, QByteArray lines)
    {
        if (const qsizetype at = offsetOf(line, 1); at > 0 && m_text[at - 1] != '\n')
            lines.prepend('\n');
        m_edits.push_back({line, 0, static_cast<int>(lines.count('\n')), 0});
        m_text.insert(offsetOf(line, 1), lines);
        findLines();
    }

    /// Sets the finding's place, which is one of this text, to what it was in the form.
    void place(FormFinding& finding) const
    {
        for (auto edit = m_edits.rbegin(); edit != m_edits.rend(); ++edit) {
            if (edit->lines > 0 && finding.line >= edit->line)
                finding.line = std::max(edit->line, finding.line - edit->lines);
            else if (edit->lines == 0 && finding.line == edit->line &&
                     finding.column > edit->column)
                finding.column = std::max(edit->column, finding.column - edit->columns);
        }
    }

  private:
    struct Edit {
        int line;
        int column;
        int lines;
        int columns;
    };

    void findLines()
    {
        m_lines.clear();
        for (qsizetype begin = 0; begin < m_text.size();) {
            m_lines.push_back(begin);
            const qsizetype end = m_text.indexOf('\n', begin);
            begin = end < 0 ? m_text.size() : end + 1;
        }
    }

    QByteArray m_text;
    std::vector<qsizetype> m_lines; ///< Where they begin.
    std::vector<Edit> m_edits;
};

// ---- The proof -----------------------------------------------------------------------------------

class FormProof {
  public:
    explicit FormProof(const QByteArray& form) : m_form(form), m_original(form) {}

    FormVerdict run()
    {
        // Of a form with more mistakes the first ones are told: each costs learning all of it.
        constexpr int roundsMax = 200;
        constexpr qsizetype bytesMax = qsizetype{32} * 1024 * 1024;
        qsizetype bytes = 0;
        bool isMended = true;
        for (int round = 0; isMended; ++round) {
            if (round == roundsMax || (round > 0 && bytes > bytesMax)) {
                tellOfMore();
                break;
            }
            bytes += m_form.text().size();
            FormLearner learner;
            isMended = false;
            if (!learner.learn(m_form.text())) {
                isMended = lookAt(learner.mistake());
            } else {
                for (const FormMistake& warning : learner.warnings())
                    isMended = lookAt(warning) || isMended;
                if (!isMended)
                    measure(learner);
            }
        }
        lookForComments();
        lookForLetters();
        std::vector<FormFinding>& findings = m_verdict.findings;
        std::stable_sort(findings.begin(), findings.end(),
                         [](const FormFinding& left, const FormFinding& right) {
                             return std::pair(left.line, left.column) <
                                    std::pair(right.line, right.column);
                         });
        m_verdict.isUsed = std::all_of(findings.begin(), findings.end(),
                                       [](const FormFinding& each) { return each.isWarning; });
        if (!m_verdict.isUsed)
            m_verdict.descriptionRoom = 0;
        return std::move(m_verdict);
    }

  private:
    void tellOfMore()
    {
        FormFinding finding;
        finding.isWarning = true;
        finding.what = "there may be more mistakes, which show when those told here are mended";
        m_verdict.findings.push_back(finding);
    }

    FormFinding& add(int code, int line, int column, const std::string& what)
    {
        FormFinding finding;
        finding.code = code;
        finding.isWarning = code == 0;
        if (code)
            finding.name = narrowed(describe(code).name);
        finding.what = harmless(what);
        finding.line = line;
        finding.column = column;
        m_form.place(finding);
        return m_verdict.findings.emplace_back(std::move(finding));
    }

    /// Tells of a mistake and mends it; false if the form cannot be learned any further.
    bool lookAt(const FormMistake& mistake)
    {
        m_what = narrowed(mistake.what ? mistake.what : describe(mistake.code).meaning);
        m_place = mistake;
        m_mend = {};
        explain();
        FormFinding& finding = add(mistake.code, m_place.line, m_place.column, m_what);
        const bool isNew = !m_last || m_last->line != finding.line ||
                           m_last->column != finding.column || m_last->code != finding.code;
        m_last = finding;
        if (!isNew) { // it was not mended after all
            m_verdict.findings.pop_back();
            return false;
        }
        if (m_mend)
            m_mend();
        return m_mend != nullptr;
    }

    /// Says more of the mistake in hand where that is known, and how to mend it.
    void explain()
    {
        switch (m_place.code) {
        case dx::MarkerUnknown:
            return explainMarker();
        case dx::BodyOutOfOrder:
        case dx::TailOutOfOrder:
            return explainMissing();
        case dx::VarNameUnknown:
        case dx::VarNameEmpty:
        case dx::VarNameTooLong:
            return explainVariable();
        case dx::SectionsAllEmpty:
            m_place.line = 1;
            m_what += "; a form has the lines ^HEAD, ^BODY and ^TAIL, each with text below it";
            return;
        case dx::HeadUnusable:
            m_what = "the form's head has no text";
            return fillSection("HEAD", " \n");
        case dx::BodyUnusable:
        case dx::BodyWithoutText:
        case dx::BodyWithoutDescription:
            return fillSection("BODY", "[SITUATION_DSCRP]\n");
        case dx::TailUnusable:
            m_what = "the form's tail has no text";
            return fillSection("TAIL", " \n");
        default:
            return explainCharacter();
        }
    }

    void explainMarker()
    {
        const std::string word = m_form.line(m_place.line).mid(1).toStdString();
        const std::vector<std::string> keywords = {"INJECT_SYS_INFO", "HEAD", "BODY", "TAIL"};
        const int line = m_place.line;
        if (std::find(keywords.begin(), keywords.end(), word) != keywords.end()) {
            m_what = "^" + word + " is there already";
        } else {
            const std::string nearest = nearestName(word, keywords);
            m_what = "'^" + word + "' is no marker";
            if (!nearest.empty())
                m_what += ", ^" + nearest + " would be one";
            else
                m_what += "; a line of the page may not begin with ^";
            if (!nearest.empty() && m_form.markerLine(nearest.c_str()) == 0) {
                m_mend = [this, line, nearest, length = word.size()] {
                    m_form.replace(line, 2, static_cast<int>(length),
                                   QByteArray::fromStdString(nearest));
                };
                return;
            }
        }
        m_mend = [this, line] { m_form.replace(line, 1, 1, " "); };
    }

    void explainMissing()
    {
        QByteArray missing;
        if (m_form.markerLine("HEAD") == 0)
            missing += "^HEAD\n \n";
        if (m_place.code == dx::TailOutOfOrder && m_form.markerLine("BODY") == 0)
            missing += "^BODY\n[SITUATION_DSCRP]\n";
        if (missing.isEmpty())
            return;
        for (const char* const keyword : {"^HEAD", "^BODY"}) {
            if (missing.contains(keyword))
                m_what += std::string("; ") + keyword + " is missing";
        }
        m_mend = [this, line = m_place.line, missing] { m_form.insertLines(line, missing); };
    }

    void fillSection(const char* keyword, const QByteArray& text)
    {
        const int line = m_form.markerLine(keyword);
        if (line > 0) {
            m_place.line = line;
            m_mend = [this, line, text] { m_form.insertLines(line + 1, text); };
            return;
        }
        m_what += std::string("; ^") + keyword + " is missing";
        m_place.line = m_form.lastLine();
        m_mend = [this, keyword, text] {
            m_form.insertLines(m_form.lastLine() + 1, QByteArray("^") + keyword + '\n' + text);
        };
    }

    void explainVariable()
    {
        const QByteArray rest = m_form.line(m_place.line).mid(m_place.column - 1);
        const qsizetype length = rest.indexOf(']') + 1;
        if (length < 1) // it ends on another line
            return explainCharacter();
        const std::string name = rest.mid(1, length - 2).toStdString();
        QByteArray mended(length, ' ');
        if (m_place.code == dx::VarNameUnknown) {
            const std::string extra = nearestName(name, FormLearner::commentNames());
            const std::string nearest = nearestName(name, FormLearner::variableNames());
            m_what = "no variable is called [" + name + "]";
            if (!nearest.empty()) {
                m_what += "; [" + nearest + "] would be one";
                mended = '[' + QByteArray::fromStdString(nearest) + ']';
            } else if (!extra.empty()) {
                m_what += "; <!--" + extra + "--> is written as a comment";
            } else {
                m_what += "; square brackets are for variables alone";
            }
        }
        m_mend = [this, place = m_place, length, mended] {
            m_form.replace(place.line, place.column, static_cast<int>(length), mended);
        };
    }

    /// A mistake that a character makes is mended by a blank in its place.
    void explainCharacter()
    {
        if (m_place.column < 1)
            return;
        const QByteArray line = m_form.line(m_place.line);
        if (m_place.column > line.size() || !QByteArray("[]%").contains(line[m_place.column - 1]))
            return;
        m_mend = [this, place = m_place] { m_form.replace(place.line, place.column, 1, " "); };
    }

    /// What is too long is only known when the whole form can be learned.
    void measure(const FormLearner& learner)
    {
        constexpr std::size_t usualText = 24; // of a name or a path
        constexpr std::size_t usualDescription = 200;

        if (const std::size_t least = lengthOf(learner.tail(), 0); least > sectionMax)
            add(dx::SectionNotFormatted, m_form.markerLine("TAIL"), 0,
                "the tail is too long: it has " + std::to_string(least) +
                    " characters without the texts of its variables, and may have " +
                    std::to_string(sectionMax));
        if (const std::size_t least = lengthOf(learner.body(), 0); least >= sectionMax) {
            add(dx::SectionNotFormatted, m_form.markerLine("BODY"), 0,
                "the body is too long: it has " + std::to_string(least) +
                    " characters without the texts of its variables, and an entry may have " +
                    std::to_string(sectionMax) + ": no entry would be written");
            return;
        }
        const std::size_t usual = lengthOf(learner.body(), usualText);
        m_verdict.descriptionRoom = usual < sectionMax ? sectionMax - usual : 0;
        if (m_verdict.descriptionRoom < usualDescription)
            add(0, m_form.markerLine("BODY"), 0,
                "the body leaves " + std::to_string(m_verdict.descriptionRoom) +
                    " characters for a description; an entry with a longer one is not written");
    }

    /// Comments that were probably meant to ask for a value.
    void lookForComments()
    {
        constexpr qsizetype longest = 64; // no name comes near that
        const QByteArrayView form(m_original);
        int line = 1;
        qsizetype lineBegin = 0;
        qsizetype counted = 0;
        for (qsizetype begin = 0; (begin = form.indexOf("<!--", begin)) >= 0; begin += 4) {
            const QByteArrayView before = form.sliced(counted, begin - counted);
            line += static_cast<int>(before.count('\n'));
            if (const qsizetype lineEnd = before.lastIndexOf('\n'); lineEnd >= 0)
                lineBegin = counted + lineEnd + 1;
            counted = begin;
            const QByteArray comment = m_original.mid(begin, longest);
            const qsizetype end = comment.indexOf("-->");
            if (end < 0)
                continue;
            const std::string name = comment.mid(4, end - 4).trimmed().toStdString();
            const std::string nearest = nearestName(name, FormLearner::commentNames());
            const QByteArray right = "<!--" + QByteArray::fromStdString(nearest) + "-->";
            if (nearest.empty() || comment.startsWith(right))
                continue;
            FormFinding finding;
            finding.isWarning = true;
            finding.what = harmless("this comment is left as it is; " + right.toStdString() +
                                    " would be filled");
            finding.line = line;
            finding.column = static_cast<int>(begin - lineBegin) + 1;
            m_verdict.findings.push_back(finding);
        }
    }

    /// Bytes that a log does not show as the characters that they are meant to be.
    void lookForLetters()
    {
        const MendedForm form(m_original);
        const int head = form.markerLine("HEAD");
        if (head == 0)
            return;
        for (int line = head + 1; line <= form.lastLine(); ++line) {
            const QByteArray text = form.line(line);
            const auto letter = std::find_if(text.begin(), text.end(), [](char byte) {
                return static_cast<unsigned char>(byte) >= 0x80;
            });
            if (letter == text.end())
                continue;
            FormFinding finding;
            finding.isWarning = true;
            finding.what =
                "a letter that is not ASCII is not shown; write it as &#233; or &eacute;";
            finding.line = line;
            finding.column = static_cast<int>(letter - text.begin()) + 1;
            m_verdict.findings.push_back(finding);
        }
    }

    MendedForm m_form;
    QByteArray m_original;
    FormVerdict m_verdict;
    // Of the mistake in hand.
    std::string m_what;
    FormMistake m_place;
    std::function<void()> m_mend;
    std::optional<FormFinding> m_last;
};

} // namespace

FormVerdict proveForm(const QByteArray& form)
{
    const QuietTraces quiet;
    return FormProof(form).run();
}

std::string whyFormUnreadable(const std::string& path)
{
    QFile file(QString::fromStdString(path));
    if (!QFileInfo(file).isFile()) // a pipe, for one, could keep us waiting
        return QFileInfo::exists(file.fileName()) ? "is no file" : "there is no such file";
    if (!file.open(QIODevice::ReadOnly))
        return file.errorString().toStdString();
    if (file.size() > FormLines::sizeMax)
        return "has more than " + std::to_string(FormLines::sizeMax >> 20) +
               " MiB, which the library does not read";
    return {};
}

FormVerdict proveFormFile(const std::string& path)
{
    const QuietTraces quiet;
    const QString name = QFileInfo(QString::fromStdString(path)).absoluteFilePath();
    FormLearner opener;
    FormVerdict verdict;
    if (const std::string why = whyFormUnreadable(path); !why.empty()) {
        FormFinding finding;
        finding.code = dx::FormNotReadToEnd;
        finding.name = narrowed(describe(finding.code).name);
        finding.what = harmless(why);
        return {{finding}, false, 0};
    }
    QFile file(name);
    if (file.open(QIODevice::ReadOnly))
        verdict = FormProof(file.read(FormLines::sizeMax)).run();
    if (!opener.open(name.toStdWString())) {
        const FormMistake mistake = opener.mistake();
        const CodeDescription description = describe(mistake.code);
        FormFinding finding;
        finding.code = mistake.code;
        finding.name = narrowed(description.name);
        finding.what = narrowed(mistake.what ? mistake.what : description.meaning);
        verdict.findings.insert(verdict.findings.begin(), finding);
        verdict.isUsed = false;
        verdict.descriptionRoom = 0;
    }
    return verdict;
}

} // namespace zmu_tools
