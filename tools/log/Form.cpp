#include "Form.h"

#include "Markup.h"

#include <zmu/log/internal/FormVariable.h>
#include <zmu/monitor/DxCodes.h>

#include <tools/Text.h>
#include <tools/forms/FormLearner.h>
#include <tools/forms/FormProof.h>
#include <tools/forms/QuietTraces.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <utility>

namespace zmu_tools::logs {

namespace {

const std::vector<std::string>& variableNames()
{
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all = FormLearner::variableNames();
        const std::vector<std::string>& extras = FormLearner::commentNames();
        all.insert(all.end(), extras.begin(), extras.end());
        return all;
    }();
    return names;
}

Sections sectionsOf(const FormLearner& learner, const std::string& name)
{
    const auto pieces = [](const FormLearner::Section& section) {
        return section.format ? piecesOf(section.format, section.variables) : std::vector<Piece>();
    };
    return {name, pieces(learner.head()), pieces(learner.body()), pieces(learner.tail())};
}

/// Of a form that cannot be used, with the place as far as it is known, as compilers write it.
std::runtime_error unusable(const std::string& form, const zmu::FormMistake& mistake)
{
    std::string text = form;
    for (const int number : {mistake.line, mistake.column}) {
        if (number > 0)
            text += ':' + std::to_string(number);
    }
    const zmu::CodeDescription code = zmu::describe(mistake.code);
    return std::runtime_error(text + ": this form cannot be used: " +
                              narrowed(mistake.what ? mistake.what : code.meaning) + " (" +
                              std::to_string(mistake.code) + '/' + narrowed(code.name) + ')');
}

/// The value of an attribute up to its closing quotation mark, behind `opening`; empty without.
std::u16string attributeBehind(TextView opening, TextView page)
{
    const std::size_t begin = page.find(opening);
    if (begin == nowhere)
        return {};
    page.remove_prefix(begin + opening.size());
    const std::size_t end = page.find(u'"');
    return end == nowhere ? std::u16string() : withoutEntities(page.substr(0, end));
}

/// The pieces of a section that a page states: text as it is in the log, and names in braces.
std::vector<Piece> statedPieces(TextView text)
{
    const std::vector<std::string>& names = variableNames();
    std::wstring format;
    std::vector<Zarn_FORM_VAR> variables;
    while (!text.empty()) {
        const std::size_t close = text.front() == u'{' ? text.find(u'}') : nowhere;
        const auto name =
            close == nowhere
                ? names.end()
                : std::find(
                      names.begin(), names.end(),
                      QString::fromUtf16(text.data() + 1, qsizetype(close - 1)).toStdString());
        if (name == names.end()) {
            format += text.front() == u'%' ? L"%%" : std::wstring(1, wchar_t(text.front()));
            text.remove_prefix(1);
            continue;
        }
        variables.push_back(static_cast<Zarn_FORM_VAR>(name - names.begin()));
        if (variables.size() > 99) // as many as the formatter can number
            return {};
        format += L'%' + std::to_wstring(variables.size()) + L'!' +
                  zmu::formVariables[variables.back()].insert + L'!';
        text.remove_prefix(close + 1);
    }
    return format.empty() ? std::vector<Piece>() : piecesOf(format, variables);
}

constexpr std::size_t entryUnitsMax = 2 * std::size_t{1023}; // of 1023 elements

/// Why no entry can have been written with a body; null if one can.
const char* whyNoEntry(const std::vector<Piece>& body)
{
    const Pattern pattern(body, LineEnds::AsTheyAre);
    if (pattern.holeOf(Zarn_FORM_VAR_SITUATION_DSCRP) < 0)
        return "its body has no [SITUATION_DSCRP]";
    return pattern.fixedLength() <= entryUnitsMax
               ? nullptr
               : "its body has more characters beside its variables than an entry, which has 1023";
}

} // namespace

Sections learnForm(const QString& path)
{
    const std::string name = path.toStdString();
    if (const std::string why = whyFormUnreadable(name); !why.empty())
        throw std::runtime_error(name + ": " + why);
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    const QuietTraces quiet; // the exception tells
    FormLearner learner;
    learner.leaveOutReports();
    if (!learner.learn(file.readAll()))
        throw unusable(name, learner.mistake());
    Sections form = sectionsOf(learner, name);
    if (const char* const why = whyNoEntry(form.body))
        throw std::runtime_error(name + ": this form cannot be used: " + why);
    return form;
}

Sections builtInForm()
{
    const QuietTraces quiet;
    FormLearner learner;
    if (!learner.learnBuiltIn())
        throw unusable("the built-in form", learner.mistake());
    return sectionsOf(learner, "the built-in form");
}

std::optional<Sections> statedForm(TextView page)
{
    for (const TextView end : {TextView(u"<!--entries-->"), TextView(u"<body")})
        page = page.substr(0, page.find(end));
    const std::u16string entry = attributeBehind(u"<meta name=\"zmu-entry\" content=\"", page);
    if (entry.empty())
        return {};
    const Piece anything{{}, {Shape::Text, 0, {Zarn_FORM_VAR_UNKNOWN}}};
    const Sections stated{
        "what the page says of its entries",
        {anything, {u"<!--entries-->\n", {}}},
        statedPieces(entry),
        statedPieces(attributeBehind(u"<meta name=\"zmu-tail\" content=\"", page))};
    if (whyNoEntry(stated.body))
        return {};
    return stated;
}

const std::string& nameOf(Zarn_FORM_VAR variable)
{
    static const std::string unknown = "UNKNOWN";
    const std::vector<std::string>& names = variableNames();
    const auto index = static_cast<std::size_t>(variable);
    return index < names.size() ? names[index] : unknown;
}

Form::Form(const Sections& sections, LineEnds lineEnds)
    : name(sections.name), hasHead(!sections.head.empty()), head(sections.head, lineEnds),
      body(sections.body, lineEnds), tail(sections.tail, lineEnds)
{
    hasTail = tail.hasBeginning(); // one that begins with anything could begin anywhere
    hasTailLines = !hasTail && tail.hasEnd() && tail.fixedLength() > 2 * tail.lineBreaks();
}

Forms::Forms(const QString& path) : m_isGiven(!path.isEmpty())
{
    if (m_isGiven)
        m_byFolder[{}].forms = {learnForm(path)};
}

Forms::Found& Forms::foundFor(const QString& logPath)
{
    const QString folder = m_isGiven ? QString() : QFileInfo(logPath).absolutePath();
    const auto [place, isNew] = m_byFolder.try_emplace(folder);
    Found& found = place->second;
    if (!isNew)
        return found;
    const QDir templates(folder + QStringLiteral("/Templates"));
    for (const QString& name :
         templates.entryList({QStringLiteral("*.html")}, QDir::Files, QDir::Name)) {
        try {
            found.forms.push_back(learnForm(templates.filePath(name)));
        } catch (const std::runtime_error& error) {
            found.flaws.emplace_back(error.what());
        }
    }
    found.forms.push_back(builtInForm());
    return found;
}

const std::vector<Sections>& Forms::formsFor(const QString& logPath)
{
    return foundFor(logPath).forms;
}

void Forms::tellUnusable(const QString& logPath)
{
    for (const std::string& flaw : std::exchange(foundFor(logPath).flaws, {}))
        std::fprintf(stderr, "zmu log: warning: %s\n", harmless(flaw).c_str());
}

} // namespace zmu_tools::logs
