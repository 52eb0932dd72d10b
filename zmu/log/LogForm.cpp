// The template of the log: a form file cut into head, body and tail, or the built-in form.
#include <zmu/monitor/ZarnData.h>

#include <zmu/foundation/internal/Texts.h>
#include <zmu/log/internal/FormDevice.h>
#include <zmu/log/internal/FormFlaw.h>
#include <zmu/log/internal/FormLines.h>
#include <zmu/log/internal/FormSection.h>
#include <zmu/log/internal/FormVariable.h>
#include <zmu/log/internal/LoadStringCopy.h>
#include <zmu/monitor/Trace.h>
#include <zmu/monitor/internal/Guards.h>
#include <zmu/platform/Files.h>
#include <zmu/platform/Win32.h>

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>

using namespace zmu;

namespace {

constexpr unsigned int keywordBody = 11001;
constexpr unsigned int keywordHead = 11002;
constexpr unsigned int keywordInjector = 11003;
constexpr unsigned int keywordTail = 11004;

/// String IDs of a built-in form.
struct BuiltInForm {
    unsigned int head = 0;
    unsigned int body = 0;
    unsigned int tail = 0;
};

BuiltInForm builtInForm(Zarn_LOG kind)
{
    switch (kind) {
    case Zarn_LOG_HTML:
        return {10022, 10021, 10023};
    case Zarn_LOG_TEXT:
        return {10032, 10031, 10033};
    default:
        return {};
    }
}

Zarn_LOG normalized(Zarn_LOG kind)
{
    return kind == Zarn_LOG_UNSET ? Zarn_LOG_HTML : kind;
}

template <class T>
void freeArray(T*& array)
{
    delete[] std::exchange(array, nullptr);
}

std::wstring latin1(std::string_view bytes)
{
    const auto widened = [](char byte) { return static_cast<wchar_t>(static_cast<u8>(byte)); };
    std::wstring text(bytes.size(), L'\0');
    std::transform(bytes.begin(), bytes.end(), text.begin(), widened);
    return text;
}

/// A byte of the form as a character: sign-extended to 16 bits, so that 0x80 becomes 0xFF80.
wchar_t widen(char byte)
{
    return static_cast<wchar_t>(static_cast<char16_t>(static_cast<signed char>(byte)));
}

/// The place at `offset` of a section's text, which begins on line `line` of the form.
FormMistake placeIn(const wchar_t* text, std::size_t offset, int line)
{
    const std::wstring_view before(text, offset);
    const std::wstring_view lineBefore = before.substr(before.rfind(L'\n') + 1); // npos + 1 is 0
    FormMistake place;
    place.line = line + static_cast<int>(std::count(before.begin(), before.end(), L'\n'));
    place.column = 1 + static_cast<int>(lineBefore.size() + charactersSavedByExtras(lineBefore));
    return place;
}

/// The four keywords of marker lines.
struct Keywords {
    std::unique_ptr<wchar_t[]> head, body, tail, injector;
};

std::unique_ptr<wchar_t[]> loadKeyword(HMODULE module, unsigned int id,
                                       ZarnScratchpad::Buffer& scratch, int missing)
{
    wchar_t* text = nullptr;
    const int length = loadStringCopy(module, id, scratch, &text);
    std::unique_ptr<wchar_t[]> keyword(text);
    require(length >= 1, missing);
    return keyword;
}

Keywords loadKeywords(HMODULE module, ZarnScratchpad::Buffer& scratch)
{
    Keywords words;
    words.injector = loadKeyword(module, keywordInjector, scratch, dx::KeywordInjectorMissing);
    words.head = loadKeyword(module, keywordHead, scratch, dx::KeywordHeadMissing);
    words.body = loadKeyword(module, keywordBody, scratch, dx::KeywordBodyMissing);
    words.tail = loadKeyword(module, keywordTail, scratch, dx::KeywordTailMissing);

    const wchar_t* all[] = {words.injector.get(), words.head.get(), words.body.get(),
                            words.tail.get()};
    for (const wchar_t* const* left = std::begin(all); left != std::end(all); ++left) {
        for (const wchar_t* const* right = left + 1; right != std::end(all); ++right)
            require(_wcsicmp(*left, *right) != 0, dx::KeywordsAlike);
    }
    return words;
}

} // namespace

// ---- Choosing the form -----------------------------------------------------------------------------------

bool ZarnData::obtainLogFileFormData(ulong32 mask)
{
    SectionGuard section(*this);
    runGuarded(*this, dx::ObtainFormUnexpected, [&] {
        require(m_initialized, dx::FormNotInitialized);
        section.requireEntered();
        freeLogFileFormData();
        requireOrRaiseHeld(learnLogFileFormVarNames(), *this);
        requireOrRaiseHeld(processFileLogForm(mask), *this);
    });
    if (!isSelfSatisfied()) {
        freeLogFileFormData();
        Zarn_TRACE(L"ZarnData::obtainLogFileFormData (%lu)  caught exception #%d.\n",
                   static_cast<unsigned long>(mask), getSelfDX_Code());
    }
    section.leave();
    return isSelfSatisfied();
}

bool ZarnData::processFileLogForm(ulong32 mask)
{
    const auto closeForm = [this] {
        if (m_fileLog.m_formStream && !closeFile(m_fileLog.m_formStream, m_fileLog.m_formName))
            m_fileLog.m_formStream = nullptr;
    };
    runGuarded(*this, dx::ProcessFormUnexpected, [&] {
        require(!m_fileLog.m_formStream, dx::FormAlreadyOpen);
        m_formMistake = {};
        if (!m_fileLog.m_formName)
            setSelfDX_Code(dx::FormNameMissing);
        else if (!*m_fileLog.m_formName)
            setSelfDX_Code(dx::FormNameEmpty);
        if (isSelfSatisfied() && openLogFileForm(m_fileLog.m_formName) && learnLogFileForm(mask))
            return;

        // The built-in form stands in for a form file that cannot be used.
        Zarn_TRACE(L"ZarnData::processFileLogForm (%lu) is dismissing exception #%d.\n",
                   static_cast<unsigned long>(mask), getSelfDX_Code());
        traceFormDismissed();
        forgetSelfDX_Code();
        closeForm();
        requireOrRaiseHeld(supplantLogFileFormFromResDLL(mask), *this);
    });
    if (!isSelfSatisfied()) {
        Zarn_TRACE(L"ZarnData::processFileLogForm (%lu) caught exception #%d.\n",
                   static_cast<unsigned long>(mask), getSelfDX_Code());
        closeForm();
    }
    return isSelfSatisfied();
}

bool ZarnData::openLogFileForm(wchar_t* name)
{
    if (!openFile(&m_fileLog.m_formName, &m_fileLog.m_formStream, name, QIODevice::ReadOnly))
        return false;
    // What a subclass has opened instead is its own affair.
    const auto* const form = dynamic_cast<FormDevice*>(m_fileLog.m_formStream->device());
    m_formMistake.what = form ? whyDistrusted(form->file(), m_fileLog.m_formName) : nullptr;
    if (m_formMistake.what)
        setSelfDX_Code(dx::FormNotTrusted);
    return isSelfSatisfied();
}

/// In one line, whose room a path can take alone: of a long one the middle is left out.
void ZarnData::traceForm(const FormMistake& mistake) const
{
    constexpr std::size_t half = 320;
    const CodeDescription description = describe(mistake.code);
    const std::wstring_view path(m_fileLog.m_formName ? m_fileLog.m_formName : L"");
    const bool isCut = path.size() > 2 * half;
    const std::wstring_view front = path.substr(0, isCut ? half : path.size());
    const wchar_t* const back = isCut ? path.data() + path.size() - half : L"";
    const wchar_t* const gap = isCut ? L"..." : L"";
    const wchar_t* const what = mistake.what ? mistake.what : description.meaning;
    wchar_t line[32] = L"";
    if (mistake.line > 0)
        std::swprintf(line, std::size(line), L", line %d", mistake.line);
    const auto length = static_cast<int>(front.size());
    if (mistake.code)
        Zarn_TRACE(L"ZarnData: the form %.*ls%ls%ls%ls: %ls (%d/%ls).\n", length, front.data(), gap,
                   back, line, what, mistake.code, description.name);
    else
        Zarn_TRACE(L"ZarnData: the form %.*ls%ls%ls%ls: %ls.\n", length, front.data(), gap, back,
                   line, what);
}

FormMistake ZarnData::getFormMistake() const
{
    FormMistake mistake = m_formMistake;
    mistake.code = getSelfDX_Code();
    return mistake;
}

void ZarnData::traceFormDismissed() const
{
    if (isEmpty(m_fileLog.m_formName))
        return; // there was none to use
    traceForm(getFormMistake());
    Zarn_TRACE(L"ZarnData: the built-in form is used instead.\n");
}

/// Tells of what only changes how a form looks.
void ZarnData::warnOfSection(const wchar_t* what, const wchar_t* text, std::size_t offset,
                             int line) const
{
    if (!what)
        return;
    FormMistake mistake = placeIn(text, offset, line);
    mistake.what = what;
    traceForm(mistake);
    if (m_formWarnings)
        m_formWarnings->push_back(mistake);
}

int ZarnData::lineInForm(long position) const
{
    if (position < 0 || !m_fileLog.m_formStream)
        return 0;
    FormLines form(*m_fileLog.m_formStream);
    const std::string_view before = form.read(static_cast<std::size_t>(position));
    return 1 + static_cast<int>(std::count(before.begin(), before.end(), '\n'));
}

bool ZarnData::supplantLogFileFormFromResDLL(ulong32 mask)
{
    eliminateLogFileFormInjectors();
    freeLogFileFormDataForSections();
    learnLogFileFormSectionsFinished(mask, m_fileLog.m_logKind);
    return isSelfSatisfied();
}

bool ZarnData::areLogFileFormSectionsUsable(ulong32 mask, Zarn_LOG kind)
{
    runGuarded(*this, dx::UsabilityUnexpected, [&] {
        const ZarnDataFile& file = m_fileLog;
        if (mask & SECTION_BODY) {
            require(!isEmpty(file.m_bodyFormat), dx::BodyUnusable);
            require(isVarInLogFileFormSection(Zarn_FORM_VAR_SITUATION_DSCRP, file.m_bodyVarCount,
                                              file.m_bodyVars),
                    dx::BodyWithoutDescription);
        }
        require(normalized(kind) == Zarn_LOG_HTML, dx::LogKindNotServed);
        require(!(mask & SECTION_HEAD) || !isEmpty(file.m_headFormat), dx::HeadUnusable);
        require(!(mask & SECTION_TAIL) || !isEmpty(file.m_tailFormat), dx::TailUnusable);
    });
    if (!isSelfSatisfied())
        Zarn_TRACE(L"ZarnData::areLogFileFormSectionsUsable (%lu, %d) caught exception #%d.\n",
                   static_cast<unsigned long>(mask), static_cast<int>(kind), getSelfDX_Code());
    return isSelfSatisfied();
}

// ---- Learning a form file --------------------------------------------------------------------------------

bool ZarnData::learnLogFileForm(ulong32 mask)
{
    runGuarded(*this, dx::LearnFormUnexpected, [&] {
        requireOrRaiseHeld(isSelfApproving(), *this);
        if (!m_selfResourceModule)
            requireOrRaiseHeld(learnSelfResourceModule(), *this);
        require(m_fileLog.m_formName, dx::FormNameMissing);
        require(*m_fileLog.m_formName, dx::FormNameEmpty);
        require(m_fileLog.m_formStream && m_fileLog.m_formStream->device(), dx::FormNotOpen);
        require(!m_fileLog.m_injectorFiles, dx::InjectorFilesPresent);
        require(!m_fileLog.m_injectorStreams, dx::InjectorStreamsPresent);

        long injectorStart = -1;
        long headStart = -1;
        long bodyStart = -1;
        long tailStart = -1;
        std::size_t headLength = 0;
        std::size_t bodyLength = 0;
        std::size_t tailLength = 0;
        requireOrRaiseHeld(learnLogFileFormSectionsRaw(injectorStart, headStart, headLength,
                                                       bodyStart, bodyLength, tailStart,
                                                       tailLength),
                           *this);
        requireOrRaiseHeld(learnLogFileFormSectionsFinished(headStart, headLength, bodyStart,
                                                            bodyLength, tailStart, tailLength,
                                                            mask),
                           *this);
        if (mustLearnLogFileFormInjectors(injectorStart, mask))
            requireOrRaiseHeld(learnLogFileFormInjectors(injectorStart), *this);
    });
    if (!isSelfSatisfied())
        Zarn_TRACE(L"ZarnData::learnLogFileForm (%lu) caught exception #%d.\n",
                   static_cast<unsigned long>(mask), getSelfDX_Code());
    return isSelfSatisfied();
}

bool ZarnData::learnLogFileFormSectionsRaw(long& injectorStart, long& headStart,
                                           std::size_t& headLength, long& bodyStart,
                                           std::size_t& bodyLength, long& tailStart,
                                           std::size_t& tailLength)
{
    injectorStart = headStart = bodyStart = tailStart = -1;
    headLength = bodyLength = tailLength = 0;
    const auto isSet = [](long start) { return start != -1; };
    long lineStart = -1;

    m_scratchpad.clear();
    runGuarded(*this, dx::SectionsRawUnexpected, [&] {
        const Keywords keywords = loadKeywords(m_selfResourceModule, m_scratchpad.m_a);
        FormLines lines(*m_fileLog.m_formStream);
        require(!lines.isTooLarge(), dx::FormNotReadToEnd);
        lines.skipByteOrderMark();

        const auto begin = [&](long& start, int positionUnknown) {
            start = lines.position();
            require(isSet(start), positionUnknown);
        };
        const auto takeMarker = [&](const std::wstring& word) {
            if (!isSet(injectorStart) && word == keywords.injector.get()) {
                require(!isSet(headStart) && !isSet(bodyStart) && !isSet(tailStart),
                        dx::InjectorOutOfOrder);
                begin(injectorStart, dx::InjectorPositionUnknown);
            } else if (!isSet(headStart) && word == keywords.head.get()) {
                require(!isSet(bodyStart) && !isSet(tailStart), dx::HeadOutOfOrder);
                begin(headStart, dx::HeadPositionUnknown);
            } else if (!isSet(bodyStart) && word == keywords.body.get()) {
                require(isSet(headStart) && !isSet(tailStart), dx::BodyOutOfOrder);
                begin(bodyStart, dx::BodyPositionUnknown);
            } else {
                require(!isSet(tailStart) && word == keywords.tail.get(), dx::MarkerUnknown);
                require(isSet(headStart) && isSet(bodyStart), dx::TailOutOfOrder);
                begin(tailStart, dx::TailPositionUnknown);
            }
        };
        const auto takeText = [&] {
            const auto lengthSince = [&](long start) {
                return static_cast<std::size_t>(lines.position() - start);
            };
            if (isSet(tailStart))
                tailLength = lengthSince(tailStart);
            else if (isSet(bodyStart))
                bodyLength = lengthSince(bodyStart);
            else if (isSet(headStart))
                headLength = lengthSince(headStart);
        };

        std::string_view line;
        for (lineStart = lines.position(); lines.readLine(line); lineStart = lines.position()) {
            const bool isMarker = line.size() > 1 && widen(line[0]) == m_fileLog.m_formMarker;
            if (isMarker)
                takeMarker(latin1(line.substr(1)));
            else
                takeText();
        }
        require(lines.atEnd(), dx::FormNotReadToEnd);
    });
    if (!isSelfSatisfied())
        m_formMistake.line = lineInForm(lineStart);
    m_scratchpad.clear();
    return isSelfSatisfied();
}

bool ZarnData::learnLogFileFormSectionsFinished(long headStart, std::size_t headLength,
                                                long bodyStart, std::size_t bodyLength,
                                                long tailStart, std::size_t tailLength,
                                                ulong32 mask)
{
    ZarnDataFile& file = m_fileLog;
    runGuarded(*this, dx::SectionsFinishUnexpected, [&] {
        const std::size_t longest = std::max({headLength, bodyLength, tailLength});
        require(longest > 0, dx::SectionsAllEmpty);
        file.m_formIsBuiltIn = false;
        const std::size_t bufferLength = longest + 1;
        const std::unique_ptr<wchar_t[]> buffer(new (std::nothrow) wchar_t[bufferLength]());
        require(buffer != nullptr, dx::SectionsNoMemory);

        const auto finish = [&](const FormSection& section, long start, std::size_t length) {
            requireOrRaiseHeld(learnLogFileFormSectionFinished(start, length, buffer.get(),
                                                               bufferLength, &section.format,
                                                               section.varCount, &section.vars,
                                                               &section.values, section.hasEntryId),
                               *this);
        };
        if (mask & SECTION_HEAD)
            finish(headOf(file), headStart, headLength);
        if (mask & SECTION_BODY) {
            require(bodyLength > 0, dx::BodyWithoutText);
            finish(bodyOf(file), bodyStart, bodyLength);
        }
        if (mask & SECTION_TAIL)
            finish(tailOf(file), tailStart, tailLength);
        const long lastStart = std::max({headStart, bodyStart, tailStart});
        m_formMistake = {};
        m_formMistake.line = lineInForm(tailLength > 0 ? bodyStart : lastStart);
        requireOrRaiseHeld(areLogFileFormSectionsUsable(mask, file.m_logKind), *this);
        file.m_formIsBuiltIn = false;
    });
    if (!isSelfSatisfied())
        Zarn_TRACE(L"ZarnData::learnLogFileFormSectionsFinished (%ld, %u, %ld, %u, %ld, %u, %lu) "
                   L"[1] caught exception #%d.\n",
                   headStart, static_cast<unsigned int>(headLength), bodyStart,
                   static_cast<unsigned int>(bodyLength), tailStart,
                   static_cast<unsigned int>(tailLength), static_cast<unsigned long>(mask),
                   getSelfDX_Code());
    return isSelfSatisfied();
}

bool ZarnData::learnLogFileFormSectionFinished(long start, std::size_t length, wchar_t* buffer,
                                               std::size_t bufferLength, wchar_t** format,
                                               int& varCount, Zarn_FORM_VAR** vars, u64** values,
                                               bool* hasEntryId)
{
    if (length == 0)
        return isSelfSatisfied();
    runGuarded(*this, dx::SectionFinishUnexpected, [&] {
        require(m_fileLog.m_formStream && start >= 0 && buffer && length < bufferLength && format,
                dx::SectionArguments);
        FormLines form(*m_fileLog.m_formStream);
        require(form.seek(start), dx::SectionSeekFailed);
        const std::string_view text = form.read(length);
        std::wmemset(buffer, L'\0', bufferLength);
        std::transform(text.begin(), text.end(), buffer, widen);
        if (m_offersFormExtras)
            writeFormExtrasAsVariables(buffer, m_fileLog.m_varOpenBracket,
                                       m_fileLog.m_varCloseBracket);
        require(duplicate_String(format, buffer, true), dx::SectionNotLoaded);
        const int line = lineInForm(start);
        const wchar_t open = m_fileLog.m_varOpenBracket;
        const wchar_t close = m_fileLog.m_varCloseBracket;
        const auto inSource = [&](std::size_t offset) {
            return offsetInSource(buffer, offset, open, close, varCount, *vars);
        };
        m_sectionOffset = 0;
        m_sectionIsCompiled = false;
        if (!learnLogFileFormSectionFinishedBasic(format, varCount, vars, values, hasEntryId)) {
            const wchar_t* const what = m_formMistake.what;
            m_formMistake = placeIn(
                buffer, m_sectionIsCompiled ? inSource(m_sectionOffset) : m_sectionOffset, line);
            m_formMistake.what = what;
            requireOrRaiseHeld(false, *this);
        }
        const FormFlaw percent = findLonePercent(*format);
        warnOfSection(percent.what, buffer, inSource(percent.offset), line);
        const FormFlaw bracket = findUnclosedBracket(buffer, open, close);
        warnOfSection(bracket.what, buffer, bracket.offset, line);
    });
    if (!isSelfSatisfied() && format)
        freeArray(*format);
    if (buffer)
        std::wmemset(buffer, L'\0', bufferLength);
    return isSelfSatisfied();
}

// ---- Learning the built-in form --------------------------------------------------------------------------

bool ZarnData::learnLogFileFormSectionsFinished(ulong32 mask, Zarn_LOG kind)
{
    ZarnDataFile& file = m_fileLog;
    kind = normalized(kind);
    runGuarded(*this, dx::SectionsFinishUnexpected, [&] {
        file.m_formIsBuiltIn = false;
        const BuiltInForm form = builtInForm(kind);
        const auto finish = [&](const FormSection& section, unsigned int stringId) {
            requireOrRaiseHeld(learnLogFileFormSectionFinished(stringId, &section.format,
                                                               section.varCount, &section.vars,
                                                               &section.values, section.hasEntryId),
                               *this);
        };
        if (mask & SECTION_HEAD)
            finish(headOf(file), form.head);
        if (mask & SECTION_BODY)
            finish(bodyOf(file), form.body);
        if (mask & SECTION_TAIL)
            finish(tailOf(file), form.tail);
        requireOrRaiseHeld(areLogFileFormSectionsUsable(mask, kind), *this);
        file.m_formIsBuiltIn = true;
    });
    if (!isSelfSatisfied())
        Zarn_TRACE(L"ZarnData::learnLogFileFormSectionsFinished (%lu, %d) [2] caught exception "
                   L"#%d.\n",
                   static_cast<unsigned long>(mask), static_cast<int>(kind), getSelfDX_Code());
    return isSelfSatisfied();
}

bool ZarnData::learnLogFileFormSectionFinished(unsigned int stringId, wchar_t** format,
                                               int& varCount, Zarn_FORM_VAR** vars, u64** values,
                                               bool* hasEntryId)
{
    runGuarded(*this, dx::SectionFinishUnexpected, [&] {
        require(format, dx::SectionArguments);
        const int length = loadStringCopy(m_selfResourceModule, stringId, m_scratchpad.m_a, format);
        require(length >= 0, dx::SectionNotLoaded);
        if (length == 0)
            freeArray(*format);
        else
            requireOrRaiseHeld(
                learnLogFileFormSectionFinishedBasic(format, varCount, vars, values, hasEntryId),
                *this);
    });
    if (!isSelfSatisfied() && format)
        freeArray(*format);
    return isSelfSatisfied();
}

bool ZarnData::learnLogFileFormSectionFinishedBasic(wchar_t** format, int& varCount,
                                                    Zarn_FORM_VAR** vars, u64** values,
                                                    bool* hasEntryId)
{
    bool found = false;
    runGuarded(*this, dx::SectionFinishUnexpected, [&] {
        requireOrRaiseHeld(composeLogFileFormSectionFormat(format, varCount, vars, values), *this);
        found = *vars && isVarInLogFileFormSection(Zarn_FORM_VAR_ENTRY_ID, varCount, *vars);
        // Nobody checks it again, and what the formatter refuses would cost every entry.
        const FormFlaw flaw = isEmpty(*format) ? FormFlaw{} : findRefused(*format, varCount, *vars);
        if (flaw.what) {
            m_formMistake.what = flaw.what;
            m_sectionOffset = flaw.offset;
            m_sectionIsCompiled = true;
            throw int{dx::SectionNotFormatted};
        }
    });
    if (hasEntryId)
        *hasEntryId = found && isSelfSatisfied();
    return isSelfSatisfied();
}

// ---- Freeing ---------------------------------------------------------------------------------------------

void ZarnData::freeLogFileFormData()
{
    freeInjectors();
    if (m_fileLog.m_varNames) {
        for (int i = 0; i < m_fileLog.m_varNamesQty; ++i)
            delete[] m_fileLog.m_varNames[i];
        freeArray(m_fileLog.m_varNames);
    }
    m_fileLog.m_varNamesQty = formVariablesQty;
    freeLogFileFormDataForSections();
}

void ZarnData::freeLogFileFormDataForSections()
{
    for (FormSection section : {headOf(m_fileLog), bodyOf(m_fileLog), tailOf(m_fileLog)})
        section.free();
    m_fileLog.m_formIsBuiltIn = false;
    m_fileLog.m_tailPosition = 0;
}

void ZarnData::freeLogFileFormSectionHeadData()
{
    headOf(m_fileLog).free();
    releaseUnusedInjectors();
}
