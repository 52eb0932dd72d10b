#include "SpecProof.h"

#include <tools/FormattedLength.h>
#include <tools/ServedStrings.h>
#include <tools/Text.h>

#include <zmu/monitor/DxCodes.h>
#include <zmu/monitor/Zarn.h>
#include <zmu/monitor/ZarnData.h>
#include <zmu/monitor/ZarnDataForThread.h>
#include <zmu/monitor/internal/Inserts.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cwchar>

namespace zmu_tools {

namespace {

using namespace zmu;
using Field = FailurePlace::Field;

constexpr wchar_t fieldSeparator = L'|';
constexpr wchar_t groupSeparator = L'~';
constexpr wchar_t recordSeparator = L'`';

constexpr std::size_t displayMax = 511;
constexpr std::size_t logMax = 1023;
constexpr std::size_t specMax = 1023;

// ---- Places ------------------------------------------------------------------------------------

/// A stretch of a spec.
struct Stretch {
    std::size_t begin = 0;
    std::size_t end = 0;
};

std::vector<Stretch> cut(std::wstring_view spec, Stretch whole, wchar_t separator)
{
    std::vector<Stretch> parts;
    std::size_t begin = whole.begin;
    for (std::size_t i = whole.begin; i < whole.end; ++i) {
        if (spec[i] == separator) {
            parts.push_back({begin, i});
            begin = i + 1;
        }
    }
    parts.push_back({begin, whole.end});
    return parts;
}

/// Part `number`, counted from 1; the whole where the number is unknown.
Stretch part(std::wstring_view spec, Stretch whole, wchar_t separator, int number)
{
    const std::vector<Stretch> parts = cut(spec, whole, separator);
    const auto index = static_cast<std::size_t>(number) - 1;
    return number > 0 && index < parts.size() ? parts[index] : whole;
}

/// A failure that is told of a whole list, since it has too many parts or too few.
struct ListRow {
    int code;
    wchar_t separator;
    int partsMax; ///< 0: as many as the rules say.
};
constexpr ListRow lists[] = {
    {dx::SpecFields, fieldSeparator, 3},         {dx::HeaderGroups, groupSeparator, 5},
    {dx::LogSpecGroups, groupSeparator, 1},      {dx::DisplaySpecGroups, groupSeparator, 2},
    {dx::DialogSpecRecords, recordSeparator, 3}, {dx::MessageFormatRecords, recordSeparator, 4},
    {dx::FillersTooMany, recordSeparator, 0},    {dx::PlugInIdsTooMany, recordSeparator, 0},
};

/// A failure that is told of a text that is longer than its buffer, or missing.
struct LengthRow {
    int code;
    std::size_t lengthMax;
};
constexpr LengthRow lengths[] = {
    {dx::SpecTooLong, specMax},
    {dx::HeaderFieldUnusable, 255},
    {dx::DisplayFieldTooLong, displayMax},
    {dx::LogFieldUnusable, logMax},
};

class Places {
  public:
    Places(std::wstring_view spec, const SpecRules& rules) : m_spec(spec), m_rules(rules) {}

    std::size_t of(int code, const FailurePlace& place) const
    {
        if (place.insert > 0 || place.note)
            return ofInsert(place.field, place.insert);
        Stretch stretch = ofField(place.field);
        if (place.group > 0)
            stretch = part(m_spec, stretch, groupSeparator, place.group);
        if (place.record > 0)
            stretch = part(m_spec, stretch, recordSeparator, place.record);
        for (const ListRow& row : lists) {
            if (row.code == code)
                return ofSurplus(stretch, row);
        }
        for (const LengthRow& row : lengths) {
            if (row.code == code)
                return std::min(stretch.begin + row.lengthMax, stretch.end);
        }
        while (stretch.begin < stretch.end && m_spec[stretch.begin] == L' ')
            ++stretch.begin;
        return stretch.begin;
    }

    /// Of the percent sign of insert `number`, 0 for one at the end of the text. For one that an
    /// affix has it is that of the affix.
    std::size_t ofInsert(Field field, int number) const
    {
        const Stretch text = ofRecord(field, 3);
        for (std::size_t i = text.begin; i < text.end; ++i) {
            if (m_spec[i] != L'%')
                continue;
            const std::size_t sign = i++;
            if (i == text.end ? number == 0 : number > 0 && numberAt(i, text.end) == number)
                return sign;
        }
        for (const int record : {2, 4}) {
            if (const Stretch affix = ofRecord(field, record); affix.begin < affix.end)
                return affix.begin;
        }
        return text.begin;
    }

    /// Record of the message format that a field has.
    Stretch ofRecord(Field field, int record) const
    {
        Stretch format = ofField(field);
        if (field == Field::Display)
            format = part(m_spec, format, groupSeparator, 2);
        const std::vector<Stretch> records = cut(m_spec, format, recordSeparator);
        const auto index = static_cast<std::size_t>(record) - 1;
        return index < records.size() ? records[index] : Stretch{format.end, format.end};
    }

  private:
    Stretch ofField(Field field) const
    {
        return part(m_spec, {0, m_spec.size()}, fieldSeparator, static_cast<int>(field));
    }

    std::size_t ofSurplus(Stretch stretch, const ListRow& row) const
    {
        const auto partsMax =
            static_cast<std::size_t>(row.partsMax                     ? row.partsMax
                                     : row.code == dx::FillersTooMany ? m_rules.fillersQty
                                                                      : m_rules.plugInCount);
        const std::vector<Stretch> parts = cut(m_spec, stretch, row.separator);
        if (parts.size() <= partsMax)
            return stretch.end;
        return partsMax > 0 ? parts[partsMax].begin - 1 : stretch.begin;
    }

    int numberAt(std::size_t begin, std::size_t end) const
    {
        int number = 0;
        for (std::size_t i = begin; i < std::min(begin + 2, end); ++i) {
            if (m_spec[i] < L'0' || m_spec[i] > L'9')
                break;
            number = number * 10 + (m_spec[i] - L'0');
        }
        return number;
    }

    std::wstring_view m_spec;
    const SpecRules& m_rules;
};

// ---- The engine, as far as it works for a proof --------------------------------------------------

/// What is to become of one description: its template, and how it would be formatted.
struct Template {
    Field field;
    std::wstring text;
    u8 lineWidth;
};

/// Goes through the stages of a situation that come before it is reported.
class ProofEngine : public ZarnDataForThread {
  public:
    /// Learns the spec with arguments by which it can be told what each of them is: all of them are
    /// negative numbers, which only a signed one shows.
    bool learn(int id)
    {
        std::array<u64, ArgumentSlotsQty> values;
        std::array<SlotKind, ArgumentSlotsQty> kinds;
        values.fill(u64{1} << 31);
        kinds.fill(SlotKind::Unknown);
        setArguments(values.data(), kinds.data(), values.size());
        std::fill_n(m_argsInt, m_argsInt ? m_dataSet->getArgsIntQty() : 0, INT_MIN);
        recordSituationID(id);
        return learnResponseSpecs(nullptr);
    }

    /// What is shown, once the spec is learned.
    std::vector<Template> templates() const
    {
        std::vector<Template> all;
        if (!m_descriptionForLogFile.isEmpty())
            all.push_back(
                {Field::Log, m_descriptionForLogFile.c_str(), m_descriptionLogFileLineWd});
        if (!m_descriptionForDisplay.isEmpty() && !m_descriptionDisplayIsDupe)
            all.push_back(
                {Field::Display, m_descriptionForDisplay.c_str(), m_descriptionDisplayLineWd});
        return all;
    }

    bool format(Field field)
    {
        forgetSelfDX_Code();
        return field == Field::Log ? formatDescriptionForLogFile() : formatDescriptionForDisplay();
    }

    const FailurePlace& place() const { return getFailurePlace(); }
};

/// A data set like that of the host's.
class ProofData {
  public:
    ProofData(HMODULE module, const SpecRules& rules)
    {
        m_dataSet.setCharSetExternal(ZARN_CHARSET_WIDE);
        m_dataSet.setDescriptionFillersQty(rules.fillersQty);
        m_dataSet.setArgsIntQty(rules.recordedQty);
        m_dataSet.setArgsStrQty(rules.recordedQty);
        m_dataSet.setArgsUIntQty(rules.recordedQty);
        m_dataSet.setDescriptionAffixID_Min(rules.affixFirst);
        m_dataSet.setDescriptionAffixIDsQty(rules.affixCount);
        m_dataSet.createPlugIns(rules.plugInCount);
        m_dataSet.setResourceModule(module);
        m_dataSet.setBehaviorCriteria(~u64{0}); // or displays are not looked at
    }
    ZarnData* get() { return &m_dataSet; }

  private:
    ZarnData m_dataSet;
};

// ---- Arguments -----------------------------------------------------------------------------------

/// Calls `see(insert)` for each insert of a template.
template <class See>
void forEachInsert(const std::wstring& text, See see)
{
    const wchar_t* format = text.c_str();
    while ((format = std::wcschr(format, L'%'))) {
        ++format;
        if (!*format || *format == L'0')
            return;
        if (*format >= L'1' && *format <= L'9')
            see(readInsert(format));
        else
            ++format;
    }
}

/// The arguments of a spec that is learned.
class Arguments {
  public:
    Arguments(const ProofEngine& engine, const std::vector<Template>& templates,
              const SpecRules& rules)
        : m_rules(rules)
    {
        const std::span<const SlotKind> kinds = engine.getDescriptionFillerKinds();
        m_kinds.assign(kinds.begin(), kinds.end());
        m_isSigned.resize(m_kinds.size());
        m_isNarrow.resize(m_kinds.size());
        for (std::size_t i = 0; i < m_kinds.size(); ++i)
            m_isSigned[i] = engine.getDescriptionFillers()[i] >> 32 != 0;
        for (const Template& each : templates) {
            forEachInsert(each.text, [this](const Insert& insert) {
                if (has(insert.slot) && insert.shows == SlotKind::NarrowText)
                    m_isNarrow[index(insert.slot)] = true;
            });
        }
        m_longest = std::max(rules.textLength, std::size_t{1});
        for (const std::size_t length : rules.textLengths)
            m_longest = std::max(m_longest, length);
        m_longest = std::min(m_longest, SpecRules::textLengthMax);
        m_wide.assign(m_longest, L'x');
        m_narrow.assign(m_longest, 'x');
    }

    bool has(int slot) const { return slot > 0 && index(slot) < m_kinds.size(); }
    bool isDeclared(int slot) const { return m_kinds[index(slot)] != SlotKind::Unknown; }
    bool isText(int slot) const
    {
        return isDeclared(slot) && m_kinds[index(slot)] != SlotKind::Number;
    }
    bool hasTexts() const
    {
        return std::any_of(m_kinds.begin(), m_kinds.end(), [](SlotKind kind) {
            return kind != SlotKind::Unknown && kind != SlotKind::Number;
        });
    }
    std::size_t declaredCount() const
    {
        return static_cast<std::size_t>(
            std::count_if(m_kinds.begin(), m_kinds.end(),
                          [](SlotKind kind) { return kind != SlotKind::Unknown; }));
    }

    /// Length of the longest of all texts.
    std::size_t longest() const { return m_longest; }

    void fill(u64* slots, Filling filling, std::size_t textLengthMax = SpecFinding::noLimit) const
    {
        for (std::size_t i = 0; i < m_kinds.size(); ++i) {
            if (m_kinds[i] == SlotKind::Unknown)
                continue;
            if (m_kinds[i] == SlotKind::Number)
                slots[i] = filling == Filling::Emptiest ? 0
                           : m_isSigned[i]              ? toArgumentSlot(INT_MIN)
                                                        : toArgumentSlot(UINT_MAX);
            else
                slots[i] = text(i, filling == Filling::Emptiest
                                       ? 0
                                       : std::min({lengthOf(i), textLengthMax, m_longest}));
        }
    }

  private:
    static std::size_t index(int slot) { return static_cast<std::size_t>(slot) - 1; }
    std::size_t lengthOf(std::size_t i) const
    {
        return i < m_rules.textLengths.size() ? m_rules.textLengths[i] : m_rules.textLength;
    }
    u64 text(std::size_t i, std::size_t length) const
    {
        const std::size_t skipped = m_longest - length;
        return m_isNarrow[i] ? toArgumentSlot(m_narrow.c_str() + skipped)
                             : toArgumentSlot(m_wide.c_str() + skipped);
    }

    const SpecRules& m_rules;
    std::vector<SlotKind> m_kinds;
    std::vector<bool> m_isSigned;
    std::vector<bool> m_isNarrow;
    std::size_t m_longest = 0;
    std::wstring m_wide;
    std::string m_narrow;
};

// ---- The proof -----------------------------------------------------------------------------------

class Proof {
  public:
    Proof(HMODULE module, int id, std::wstring_view spec, const SpecRules& rules)
        : m_module(module), m_id(id), m_spec(spec), m_rules(rules), m_places(spec, rules)
    {}

    std::vector<SpecFinding> run()
    {
        ProofData data(m_module, m_rules);
        ProofEngine engine;
        engine.initialize(data.get());
        if (!engine.learn(m_id)) {
            add(engine.getSelfDX_Code(), engine.place(), Filling::Any);
            return std::move(m_findings);
        }
        const std::vector<Template> templates = engine.templates();
        const Arguments arguments(engine, templates, m_rules);
        lookForLostPercents();
        if (!lookAtInserts(templates, arguments))
            return std::move(m_findings);
        for (const Template& each : templates) {
            if (format(each, arguments, Filling::Emptiest))
                format(each, arguments, Filling::Longest);
        }
        return std::move(m_findings);
    }

  private:
    SpecFinding& add(int code, const FailurePlace& place, Filling filling)
    {
        const CodeDescription description = describe(code);
        std::wstring meaning = description.meaning;
        if (place.note)
            meaning.append(L"; ").append(place.note);
        SpecFinding& finding = add(code, place.field, m_places.of(code, place), meaning);
        finding.name = description.name;
        finding.filling = filling;
        return finding;
    }

    SpecFinding& add(int code, Field field, std::size_t position, std::wstring_view meaning)
    {
        SpecFinding finding;
        finding.code = code;
        finding.field = field;
        finding.position = position;
        finding.meaning = meaning;
        return m_findings.emplace_back(std::move(finding));
    }

    /// What the library fills without a word, though it cannot have been meant. False if there is
    /// such an insert: texts to fill it with might not be told where they end.
    bool lookAtInserts(const std::vector<Template>& templates, const Arguments& arguments)
    {
        const std::size_t before = m_findings.size();
        std::vector<SlotKind> seen(ArgumentSlotsQty + 1, SlotKind::Unknown);
        for (const Template& each : templates) {
            forEachInsert(each.text, [&](const Insert& insert) {
                if (!arguments.has(insert.slot) || !insert.isFinished)
                    return; // the library refuses it itself
                if (const std::wstring flaw =
                        flawOf(insert, arguments, seen[std::size_t(insert.slot)]);
                    !flaw.empty())
                    add(0, each.field, m_places.ofInsert(each.field, insert.number),
                        L"insert %" + std::to_wstring(insert.number) + flaw);
            });
        }
        return m_findings.size() == before;
    }

    static std::wstring flawOf(const Insert& insert, const Arguments& arguments, SlotKind& seen)
    {
        if (!arguments.isDeclared(insert.slot))
            return L" has no argument: the header declares " +
                   std::to_wstring(arguments.declaredCount());
        if (!arguments.isText(insert.slot))
            return {};
        if (insert.shows == SlotKind::Number)
            return L" shows a text as a number, which gives its address";
        if (seen != SlotKind::Unknown && seen != insert.shows)
            return L" is taken for wide text and for narrow text, and can only be one";
        seen = insert.shows;
        return {};
    }

    /// A percent sign that stands for nothing is left out, and mostly one was to be shown.
    void lookForLostPercents()
    {
        for (const Field field : {Field::Display, Field::Log}) {
            const Stretch text = m_places.ofRecord(field, 3);
            for (std::size_t i = text.begin; i + 1 < text.end; ++i) {
                if (m_spec[i] != L'%')
                    continue;
                const std::size_t sign = i++;
                if (!std::wcschr(L"0123456789n%.!rtb", m_spec[i]))
                    add(0, field, sign,
                        L"this percent sign will not be shown: one that is shown is written %%")
                        .isWarning = true;
            }
        }
    }

    /// Formats a template as a situation would; false if its flaw does not depend on arguments.
    bool format(const Template& each, const Arguments& arguments, Filling filling)
    {
        ProofData data(m_module, m_rules);
        ProofEngine engine;
        engine.initialize(data.get());
        if (!engine.learn(m_id)) {
            add(engine.getSelfDX_Code(), engine.place(), filling);
            return false;
        }
        u64* const slots = engine.getDescriptionFillers();
        arguments.fill(slots, filling);
        const bool isFormatted = engine.format(each.field);
        if (!isFormatted && engine.place().insert > 0) {
            add(engine.getSelfDX_Code(), engine.place(), Filling::Any);
            return false;
        }
        const std::size_t length = lengthOf(each, slots); // no insert is taken for what it is not
        if (filling == Filling::Longest && length > roomOf(each.field)) {
            addOverflow(each, arguments, slots, length);
            return true;
        }
        if (isFormatted)
            return true;
        const bool isEmpty = length == 0 && arguments.hasTexts();
        SpecFinding& finding = add(engine.getSelfDX_Code(), engine.place(),
                                   filling == Filling::Longest || isEmpty ? filling : Filling::Any);
        if (isEmpty)
            finding.meaning += L"; nothing is left of it when its texts are empty";
        return isEmpty;
    }

    std::size_t roomOf(Field field) const
    {
        return field == Field::Log ? std::min(logMax, m_rules.logRoom) : displayMax;
    }

    static std::size_t lengthOf(const Template& each, u64* slots)
    {
        return formattedLength(each.text, slots, each.lineWidth);
    }

    void addOverflow(const Template& each, const Arguments& arguments, u64* slots,
                     std::size_t length)
    {
        const std::size_t room = roomOf(each.field);
        const bool isLog = each.field == Field::Log;
        const bool isCut = !isLog && length <= logMax;
        const int code = isCut              ? 0
                         : !isLog           ? dx::FormatDisplayFailed
                         : length <= logMax ? dx::SectionNotFormatted
                                            : dx::FormatLogFailed;
        std::size_t fits = 0; // the greatest length that fits, if there is one
        std::size_t overflows = arguments.longest() + 1;
        arguments.fill(slots, Filling::Longest, 0);
        const bool fitsEver = lengthOf(each, slots) <= room;
        while (fitsEver && overflows - fits > 1) {
            const std::size_t middle = fits + (overflows - fits) / 2;
            arguments.fill(slots, Filling::Longest, middle);
            (lengthOf(each, slots) <= room ? fits : overflows) = middle;
        }

        std::wstring meaning = isCut ? L"the display text is cut" : describe(code).meaning;
        meaning += L": it can have " + std::to_wstring(length) +
                   L" characters, and there is room for " + std::to_wstring(room);
        if (arguments.hasTexts() && fitsEver)
            meaning += L", which texts of at most " + std::to_wstring(fits) + L" leave free";
        else
            meaning += L" with the shortest texts, too";
        const Stretch text = m_places.ofRecord(each.field, 3);
        SpecFinding& finding = add(code, each.field, text.begin, meaning);
        if (code)
            finding.name = describe(code).name;
        finding.isWarning = isCut;
        finding.filling = Filling::Longest;
        finding.textLengthMax = fits;
    }

    HMODULE m_module;
    int m_id;
    std::wstring_view m_spec;
    const SpecRules& m_rules;
    Places m_places;
    std::vector<SpecFinding> m_findings;
};

} // namespace

std::vector<SpecFinding> proveSpec(std::wstring_view spec, const std::vector<std::wstring>& affixes,
                                   const SpecRules& rules)
{
    constexpr int specId = 40000; // behind any affix
    SpecRules own = rules;
    own.affixFirst = 1;
    own.affixCount = static_cast<int>(std::min<std::size_t>(affixes.size(), 32767));
    ServedStrings strings;
    strings[specId] = spec;
    for (int i = 0; i < own.affixCount; ++i)
        strings[static_cast<unsigned int>(own.affixFirst + i)] = affixes[std::size_t(i)];
    return Proof(ServedStrings::module(), specId, spec, own).run();
}

bool stringOf(HMODULE module, unsigned int id, std::wstring& text)
try {
    text = UTL_String(module, id, specMax + 2).wideText(); // one too many, so that it shows
    return true;
} catch (...) { // the string's exception, or whatever the module's entry throws
    text.clear();
    return false;
}

std::vector<SpecFinding> proveString(HMODULE module, unsigned int id, const SpecRules& rules)
{
    std::wstring text;
    stringOf(module, id, text);
    return Proof(module, static_cast<int>(id), text, rules).run();
}

const char* fieldName(Field field)
{
    constexpr const char* names[] = {"spec", "header", "display", "log"};
    return names[static_cast<std::size_t>(field)];
}

std::string described(const SpecFinding& finding)
{
    constexpr const char* fillings[] = {"", " [with the emptiest arguments]",
                                        " [with the longest arguments]"};
    std::string text = finding.isWarning ? "warning: " : "error: ";
    if (finding.code)
        text += std::to_string(finding.code) + "/" + narrowed(finding.name) + ", ";
    text += narrowed(finding.meaning);
    text += fillings[static_cast<std::size_t>(finding.filling)];
    return harmless(text);
}

} // namespace zmu_tools
