#include "Compiler.h"

#include <tools/Text.h>
#include <tools/proof/SpecProof.h>

#include <algorithm>
#include <limits>

namespace zmu_tools {

namespace {

constexpr std::size_t specMax = 1023;
constexpr std::size_t displayMax = 511;
constexpr std::size_t fillersMax = 20;     // that an owner's data set has
constexpr int recordedMax = 10;            // of each kind
constexpr std::size_t longestHidden = 255; // of a text that is shown nowhere
constexpr std::size_t shortestUseful = 16; // that an argument is cut to
constexpr int widthUsual = 67;
constexpr int widthNone = 255;

Filler::Form formFor(Kind kind, Target target)
{
    switch (kind) {
    case Kind::U32:
    case Kind::I32:
        return Filler::Form::Number;
    case Kind::Text:
        return target == Target::Log ? Filler::Form::Html : Filler::Form::Plain;
    case Kind::Html:
        return Filler::Form::Plain;
    default:
        return Filler::Form::Digits;
    }
}

/// What of a format the call sees to, for a number that travels as text.
Format writtenByCall(const Format& format)
{
    Format written;
    written.conversion = format.conversion;
    written.precision = format.precision;
    written.hasZeros = format.hasZeros;
    written.width = format.hasZeros ? format.width : 0;
    return written;
}

/// A text of one situation and where it goes.
struct Shown {
    const Message* message;
    Target target;
    int language;
};

class SituationCompiler {
  public:
    SituationCompiler(const Catalog& catalog, const Situation& situation, Findings& findings)
        : m_catalog(catalog), m_situation(situation), m_findings(findings)
    {}

    CompiledSituation compile()
    {
        if (!collectFillers())
            return {};
        assignSlots();
        assignLengths();
        for (std::size_t i = 0; i < m_catalog.languages.size(); ++i)
            m_result.specs.push_back(spec(int(i)));
        return std::move(m_result);
    }

  private:
    /// The texts of all languages, those of the first at the beginning.
    std::vector<Shown> texts() const
    {
        std::vector<Shown> all;
        for (std::size_t i = 0; i < m_situation.texts.size(); ++i)
            for (const Target target : {Target::Display, Target::Log}) {
                const Texts& texts = m_situation.texts[i];
                const Message& message = target == Target::Display ? texts.display : texts.log;
                if (!message.isEmpty())
                    all.push_back({&message, target, int(i)});
            }
        return all;
    }

    Kind kindOf(int argument) const { return m_situation.arguments[std::size_t(argument)].kind; }

    Filler fillerFor(const Piece& insert, Target target) const
    {
        Filler filler{insert.argument, formFor(kindOf(insert.argument), target), {}, 0, 0};
        if (filler.form == Filler::Form::Digits)
            filler.asked = writtenByCall(insert.asked);
        return filler;
    }

    static bool isSame(const Filler& left, const Filler& right)
    {
        return left.argument == right.argument && left.form == right.form &&
               left.asked == right.asked;
    }

    int indexOf(const Filler& filler) const
    {
        const auto found = std::ranges::find_if(
            m_result.fillers, [&](const Filler& known) { return isSame(known, filler); });
        return found == m_result.fillers.end() ? -1 : int(found - m_result.fillers.begin());
    }

    /// One for each argument first, so that plug-ins find the arguments in their order, and each as
    /// it is; a text that nothing but the log shows needs no other form than the log's. False if
    /// there are too many.
    bool collectFillers()
    {
        const std::vector<Shown> shown = texts();
        for (std::size_t i = 0; i < m_situation.arguments.size(); ++i) {
            const int argument = int(i);
            Filler first{argument, formFor(kindOf(argument), Target::Display), {}, 0, 0};
            if (first.form == Filler::Form::Digits) {
                std::string mistake;
                first.asked = parseFormat("", kindOf(argument), mistake);
            }
            bool isSettled = !m_situation.plugIns.empty() && first.form != Filler::Form::Digits;
            for (const Shown& text : shown)
                for (const Piece& piece : text.message->pieces)
                    if (piece.argument == argument && !isSettled) {
                        first = fillerFor(piece, text.target);
                        isSettled = true;
                    }
            m_result.fillers.push_back(first);
        }
        for (const Shown& text : shown)
            for (const Piece& piece : text.message->pieces)
                if (piece.argument >= 0 && m_result.fillers.size() <= fillersMax)
                    if (const Filler filler = fillerFor(piece, text.target); indexOf(filler) < 0)
                        m_result.fillers.push_back(filler);
        if (m_result.fillers.size() <= fillersMax)
            return true;
        m_findings.error(m_situation.arguments.back().place,
                         "the texts show more forms of arguments than the " +
                             std::to_string(fillersMax) +
                             " that an owner has room for: a text that display and log show "
                             "counts twice");
        return false;
    }

    void assignSlots()
    {
        if (!m_situation.isRecorded)
            return;
        std::string letters;
        for (Filler& filler : m_result.fillers) {
            const char letter = letterOf(filler, m_situation);
            filler.slot = int(std::ranges::count(letters, letter));
            letters += letter;
            if (filler.slot == recordedMax)
                m_findings.error(
                    m_situation.arguments[std::size_t(filler.argument)].place,
                    "an owner has " + std::to_string(recordedMax) +
                        " slots for recorded arguments of each kind; this is one more");
        }
    }

    // ---- How long texts get ------------------------------------------------------------------------

    void assignLengths()
    {
        for (Filler& filler : m_result.fillers)
            filler.longest = filler.form == Filler::Form::Digits
                                 ? std::size_t(longestNumber(kindOf(filler.argument), filler.asked))
                                 : std::size_t(told(filler));
        for (const Shown& text : texts())
            share(text);
        for (Filler& filler : m_result.fillers)
            if (filler.longest == 0)
                filler.longest = longestHidden;
    }

    int told(const Filler& filler) const
    {
        return m_situation.arguments[std::size_t(filler.argument)].longest;
    }

    /// What a description of this target may come to.
    std::size_t roomFor(Target target) const
    {
        if (target == Target::Log)
            return std::size_t(m_catalog.room);
        if (m_situation.wrap == widthNone)
            return displayMax;
        // A line break takes one element more than the blank in whose place it comes, and any two
        // lines together are longer than the width. The proof has the last word.
        const auto width = std::size_t(m_situation.wrap < 0 ? widthUsual : m_situation.wrap);
        return displayMax * width / (width + 2);
    }

    /// Gives the texts that nobody has told a length of what one description leaves for them.
    void share(const Shown& shown)
    {
        std::size_t taken = 0, open = 0;
        for (const Piece& piece : shown.message->pieces) {
            if (!piece.isInsert) {
                taken += wideLength(piece.text) + std::size_t(std::ranges::count(piece.text, '\n'));
                continue;
            }
            const Filler& filler = fillerOf(piece, shown.target);
            const auto width = std::size_t(piece.asked.width);
            if (filler.form == Filler::Form::Number)
                taken += std::size_t(longestNumber(kindOf(piece.argument), piece.asked));
            else if (filler.form == Filler::Form::Digits || told(filler) > 0)
                taken += std::max(filler.longest, width);
            else
                ++open;
        }
        const std::size_t room = roomFor(shown.target);
        const std::size_t part = open == 0 || taken > room ? 0 : (room - taken) / open;
        if (taken > room || (open > 0 && part < shortestUseful)) {
            tellOverflow(shown, taken + open * shortestUseful, room);
            return;
        }
        for (const Piece& piece : shown.message->pieces)
            if (piece.isInsert) {
                Filler& filler = fillerOf(piece, shown.target);
                if (filler.form != Filler::Form::Number && filler.form != Filler::Form::Digits &&
                    told(filler) == 0) {
                    filler.longest = filler.longest == 0 ? part : std::min(filler.longest, part);
                    filler.isFlexible |= shown.target == Target::Display;
                }
            }
    }

    Filler& fillerOf(const Piece& piece, Target target)
    {
        return m_result.fillers[std::size_t(indexOf(fillerFor(piece, target)))];
    }

    void tellOverflow(const Shown& shown, std::size_t length, std::size_t room)
    {
        const std::string where = shown.target == Target::Log ? "log" : "display";
        std::string longest;
        for (const Argument& argument : m_situation.arguments)
            if (argument.longest > int(shortestUseful) && longest.empty())
                longest = argument.name;
        enter(shown.language);
        m_isTooLong = true;
        m_findings.error(shown.message->place,
                         "with the longest arguments this text has " + std::to_string(length) +
                             " characters, and the " + where + " has room for " +
                             std::to_string(room) + ": shorten it" +
                             (longest.empty() ? "" : ", or tell a shorter '" + longest + "'"));
    }

    void enter(int language) { m_findings.enter(m_catalog.languages[std::size_t(language)].file); }

    // ---- The spec --------------------------------------------------------------------------------------

    std::string header() const
    {
        std::string fillers, plugIns;
        for (const Filler& filler : m_result.fillers) {
            if (!fillers.empty())
                fillers += '`';
            fillers += letterOf(filler, m_situation);
            if (m_situation.isRecorded)
                fillers += std::to_string(filler.slot);
        }
        for (const PlugIn& plugIn : m_situation.plugIns) {
            if (!plugIns.empty())
                plugIns += '`';
            plugIns += std::to_string(plugIn.row);
        }
        const int source = fillers.empty() ? 0 : m_situation.isRecorded ? 1 : 2;
        std::string header = std::to_string(m_situation.approvalKind) + "~" +
                             std::to_string(m_situation.traits) + "~" + std::to_string(source);
        if (!fillers.empty() || !plugIns.empty())
            header += "~" + fillers;
        if (!plugIns.empty())
            header += "~" + plugIns;
        return header;
    }

    std::string template_(const Message& message, Target target) const
    {
        std::string text;
        for (const Piece& piece : message.pieces) {
            if (piece.isInsert)
                text += insert(piece, target);
            else
                for (const char c : piece.text)
                    text += c == '%' ? "%%" : c == '\n' ? "%n" : std::string(1, c);
        }
        return text;
    }

    std::string insert(const Piece& piece, Target target) const
    {
        const Filler filler = fillerFor(piece, target);
        const bool isNumber = filler.form == Filler::Form::Number;
        std::string text = "%";
        text += std::to_string(indexOf(filler) + 1);
        text += '!';
        if (piece.asked.isLeft)
            text += '-';
        if (isNumber && piece.asked.hasZeros)
            text += '0';
        if (piece.asked.width > 0)
            text += std::to_string(piece.asked.width);
        text += isNumber ? piece.asked.conversion : 's';
        text += '!';
        return text;
    }

    std::string spec(int language)
    {
        const Texts& texts = m_situation.texts[std::size_t(language)];
        std::string display;
        if (m_situation.showsLogText)
            display = "&";
        else if (!texts.display.isEmpty())
            display = std::to_string(m_situation.style) + "~" +
                      (m_situation.wrap < 0 ? "" : std::to_string(m_situation.wrap)) + "``" +
                      template_(texts.display, Target::Display) + "`";
        const std::string log = "``" + template_(texts.log, Target::Log) + "`";
        std::string spec = header() + "|" + display + "|" + log;
        if (!m_isTooLong && (wideLength(display) > displayMax || wideLength(spec) > specMax)) {
            enter(language);
            const bool isDisplay = wideLength(display) > displayMax;
            const Message& message = isDisplay || texts.log.isEmpty() ? texts.display : texts.log;
            m_findings.error(
                message.place,
                "the response spec of '" + m_situation.name + "' has " +
                    std::to_string(wideLength(isDisplay ? display : spec)) + " characters" +
                    (isDisplay ? " for the display" : "") + ", and the library reads " +
                    std::to_string(isDisplay ? displayMax : specMax) + ": shorten the texts");
        }
        return spec;
    }

    const Catalog& m_catalog;
    const Situation& m_situation;
    Findings& m_findings;
    CompiledSituation m_result;
    bool m_isTooLong = false; ///< A text is, which has been told.
};

/// Leaves less for the texts of a display that is too long. False if it is not, or nothing is left.
bool shorten(CompiledSituation& compiled, const std::vector<SpecFinding>& found)
{
    const auto tooLong = std::ranges::find_if(found, [](const SpecFinding& finding) {
        return finding.field == zmu::FailurePlace::Field::Display &&
               finding.textLengthMax != SpecFinding::noLimit;
    });
    bool isShorter = false;
    if (tooLong != found.end())
        for (Filler& filler : compiled.fillers) {
            const std::size_t less = tooLong->textLengthMax < filler.longest
                                         ? tooLong->textLengthMax
                                         : filler.longest - filler.longest / 16;
            if (filler.isFlexible && less >= shortestUseful && less < filler.longest) {
                filler.longest = less;
                isShorter = true;
            }
        }
    return isShorter;
}

/// Runs the spec in each language through the library, and cuts the texts to what proves to fit.
void prove(const Catalog& catalog, const Situation& situation, CompiledSituation& compiled,
           Findings& findings)
{
    SpecRules rules;
    for (const PlugIn& plugIn : catalog.plugIns)
        rules.plugInCount = std::max(rules.plugInCount, plugIn.row + 1);
    rules.logRoom = std::size_t(catalog.room);
    std::vector<std::vector<SpecFinding>> found(catalog.languages.size());
    for (bool isShorter = true; isShorter;) {
        rules.textLengths.clear();
        for (const Filler& filler : compiled.fillers)
            rules.textLengths.push_back(filler.longest);
        isShorter = false;
        for (std::size_t i = 0; i < found.size() && !isShorter; ++i) {
            found[i] = proveSpec(widened(compiled.specs[i]), {}, rules);
            isShorter = shorten(compiled, found[i]);
        }
    }
    for (std::size_t i = 0; i < found.size(); ++i) {
        findings.enter(catalog.languages[i].file);
        for (const SpecFinding& finding : found[i]) {
            const Message& log = situation.texts[i].log;
            const Message& display = situation.texts[i].display;
            const bool isDisplay = finding.field == zmu::FailurePlace::Field::Display;
            const Message& message = isDisplay ? display : log;
            const Place place = !message.isEmpty() ? message.place
                                : i == 0           ? situation.place
                                                   : Place();
            std::string text = described(finding); // which begins with "error: " or "warning: "
            text = "the library, on '" + situation.name + "': " + text.substr(text.find(' ') + 1);
            finding.isWarning ? findings.warn(place, text) : findings.error(place, text);
        }
    }
}

} // namespace

char letterOf(const Filler& filler, const Situation& situation)
{
    if (filler.form != Filler::Form::Number)
        return 's';
    return situation.arguments[std::size_t(filler.argument)].kind == Kind::U32 ? 'u' : 'd';
}

std::vector<CompiledSituation> compile(const Catalog& catalog, Findings& findings)
{
    std::vector<CompiledSituation> compiled;
    for (const Situation& situation : catalog.situations) {
        findings.enter(catalog.languages.front().file);
        compiled.push_back(situation.isSound
                               ? SituationCompiler(catalog, situation, findings).compile()
                               : CompiledSituation());
    }
    if (!findings.hasErrors())
        for (std::size_t i = 0; i < compiled.size(); ++i)
            prove(catalog, catalog.situations[i], compiled[i], findings);
    return compiled;
}

} // namespace zmu_tools
