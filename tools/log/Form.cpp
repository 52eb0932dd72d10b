#include "Form.h"

#include "Markup.h"

#include <zmu/log/internal/FormVariable.h>
#include <zmu/monitor/DxCodes.h>
#include <zmu/monitor/ZarnData.h>

#include <tools/Text.h>
#include <tools/forms/QuietTraces.h>

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace zmu_tools::logs {

namespace {

/// A data set that learns a form and writes no log.
class Learner : public ZarnData {
  public:
    Learner() : ZarnData(zmu::i64{0})
    {
        setCharSetExternal(ZARN_CHARSET_WIDE);
        offerFormExtras(true);
    }

    /// Learns the form in a file, the built-in one without a name.
    Sections learn(const QString& path)
    {
        const QuietTraces quiet; // the exception tells
        std::wstring logName = L"-";
        const std::wstring formName = path.toStdWString();
        const bool isLearned =
            recordLogFileNomenclature(logName.data(), path.isEmpty() ? nullptr : formName.c_str(),
                                      Zarn_LOG_HTML) &&
            initialize() && obtainLogFileFormData(SECTIONS_ALL);
        if (!isLearned)
            throw std::runtime_error(path.toStdString() + told(getFormMistake()));
        const ZarnDataFile& file = m_fileLog;
        return {path.isEmpty() ? "the built-in form" : path.toStdString(),
                piecesOf(file.m_headFormat, file.m_headVars, file.m_headVarCount),
                piecesOf(file.m_bodyFormat, file.m_bodyVars, file.m_bodyVarCount),
                piecesOf(file.m_tailFormat, file.m_tailVars, file.m_tailVarCount)};
    }

    std::vector<std::string> variableNames()
    {
        learn({});
        std::vector<std::string> names;
        for (int i = 0; i < m_fileLog.m_varNamesQty; ++i)
            names.push_back(narrowed(m_fileLog.m_varNames[i]));
        for (const std::wstring_view name : zmu::formExtraNames)
            names.push_back(narrowed(name));
        return names;
    }

  protected:
    /// Whom the file belongs to is the affair of who writes the log, and nothing stands in for it.
    bool processFileLogForm(zmu::ulong32 mask) override
    {
        if (!m_fileLog.m_formName)
            return supplantLogFileFormFromResDLL(mask);
        return openFile(&m_fileLog.m_formName, &m_fileLog.m_formStream, m_fileLog.m_formName,
                        QIODevice::ReadOnly) &&
               learnLogFileForm(mask);
    }
    bool mustLearnLogFileFormInjectors(long, zmu::ulong32) override { return false; }

  private:
    /// With the place, as far as it is known, in the form of a compiler's.
    static std::string told(const zmu::FormMistake& mistake)
    {
        std::string place;
        for (const int number : {mistake.line, mistake.column})
            if (number > 0)
                place += ':' + std::to_string(number);
        const zmu::CodeDescription code = zmu::describe(mistake.code);
        return place + ": this form cannot be used: " +
               narrowed(mistake.what ? mistake.what : code.meaning) + " (" +
               std::to_string(mistake.code) + '/' + narrowed(code.name) + ')';
    }

    static std::vector<Piece> piecesOf(const wchar_t* format, const Zarn_FORM_VAR* variables,
                                       int count)
    {
        if (!format)
            return {};
        return logs::piecesOf(format, {variables, static_cast<std::size_t>(count)});
    }
};

const std::vector<std::string>& variableNames()
{
    static const std::vector<std::string> names = Learner().variableNames();
    return names;
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

bool hasDescription(const std::vector<Piece>& body)
{
    return Pattern(body, LineEnds::AsTheyAre).holeOf(Zarn_FORM_VAR_SITUATION_DSCRP) >= 0;
}

/// All forms of a folder that can be used; it is told which cannot.
std::vector<Sections> learnForms(const QString& folder)
{
    std::vector<Sections> forms;
    const QDir templates(folder);
    for (const QString& name :
         templates.entryList({QStringLiteral("*.html")}, QDir::Files, QDir::Name)) {
        try {
            forms.push_back(learnForm(templates.filePath(name)));
        } catch (const std::runtime_error& error) {
            std::fprintf(stderr, "zmu log: warning: %s\n", harmless(error.what()).c_str());
        }
    }
    return forms;
}

} // namespace

Sections learnForm(const QString& path)
{
    if (!QFileInfo(path).isFile())
        throw std::runtime_error(path.toStdString() + ": there is no such form");
    return Learner().learn(path);
}

Sections builtInForm()
{
    return Learner().learn({});
}

std::optional<Sections> statedForm(TextView page)
{
    const std::u16string entry = attributeBehind(u"<meta name=\"zmu-entry\" content=\"", page);
    if (entry.empty())
        return {};
    const Piece anything{{}, {Shape::Text, 0, {Zarn_FORM_VAR_UNKNOWN}}};
    const Sections stated{
        "what the page says of its entries",
        {anything, {u"<!--entries-->\n", {}}},
        statedPieces(entry),
        statedPieces(attributeBehind(u"<meta name=\"zmu-tail\" content=\"", page))};
    if (!hasDescription(stated.body))
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
}

Forms::Forms(const QString& path) : m_isGiven(!path.isEmpty())
{
    if (m_isGiven)
        m_byFolder[{}] = {learnForm(path)};
}

const std::vector<Sections>& Forms::formsFor(const QString& logPath)
{
    const QString folder = m_isGiven ? QString() : QFileInfo(logPath).absolutePath();
    const auto [place, isNew] = m_byFolder.try_emplace(folder);
    if (isNew) {
        place->second = learnForms(folder + QStringLiteral("/Templates"));
        place->second.push_back(builtInForm());
    }
    return place->second;
}

} // namespace zmu_tools::logs
