// Compiles a section of a form: variables in brackets become numbered inserts of a message format,
// so that writing an entry needs no parsing.
#include <zmu/monitor/ZarnData.h>

#include <zmu/log/internal/FormVariable.h>
#include <zmu/log/internal/LoadStringCopy.h>
#include <zmu/monitor/internal/Guards.h>

#include <algorithm>
#include <cwchar>
#include <memory>
#include <new>
#include <string>
#include <utility>

using namespace zmu;

namespace {

constexpr unsigned int firstVarName = 12001;

/// Collects a section's format: in the scratch buffer where that is sure to hold it, else on the
/// heap.
class FormatOutput {
  public:
    FormatOutput(ZarnScratchpad::Buffer& scratch, std::size_t textLength, int varCount)
    {
        constexpr double headroom = 1.05;
        constexpr std::size_t scratchBytes = 2048;
        constexpr std::size_t longestInsert = 16; // "%2147483647!02d!"

        // Capacities count units of 16 bits, whatever an element takes here.
        const auto bytesNeeded =
            static_cast<std::size_t>(static_cast<double>(2 * textLength + 2) * headroom);
        m_plainLimit = bytesNeeded <= scratchBytes ? scratch.capacity : textLength + 1;
        // Inserts can be longer than the names they replace, and pass the limit.
        const std::size_t longest =
            textLength + static_cast<std::size_t>(varCount) * longestInsert + 1;
        if (longest <= scratch.capacity) {
            m_text = scratch.writable();
        } else {
            m_heap.reset(new (std::nothrow) wchar_t[longest]);
            require(m_heap != nullptr, dx::ReformatNoSpace);
            m_text = m_heap.get();
        }
    }

    /// Plain characters, and only these, are held to the limit.
    void addPlain(wchar_t character)
    {
        require(m_length < m_plainLimit - 1, dx::ReformatTooLong);
        m_text[m_length++] = character;
    }

    void addInsert(int number, const wchar_t* format)
    {
        for (const std::wstring& part :
             {std::wstring(L"%"), std::to_wstring(number), std::wstring(L"!"), std::wstring(format),
              std::wstring(L"!")}) {
            part.copy(m_text + m_length, part.size());
            m_length += part.size();
        }
    }

    const wchar_t* finish()
    {
        m_text[m_length] = L'\0';
        return m_text;
    }

  private:
    std::size_t m_plainLimit = 0;
    std::size_t m_length = 0;
    std::unique_ptr<wchar_t[]> m_heap;
    wchar_t* m_text = nullptr;
};

template <class T>
void createArgV(int count, T** array, int present, int noMemory)
{
    require(!*array, present);
    if (count > 0) {
        *array = new (std::nothrow) T[static_cast<std::size_t>(count)]();
        require(*array, noMemory);
    }
}

} // namespace

// ---- Names -----------------------------------------------------------------------------------------------

bool ZarnData::learnLogFileFormVarNames()
{
    wchar_t**& names = m_fileLog.m_varNames;
    const int qty = m_fileLog.m_varNamesQty;
    runGuarded(*this, dx::VarNamesUnexpected, [&] {
        requireOrRaiseHeld(isSelfApproving(), *this);
        if (!m_selfResourceModule)
            requireOrRaiseHeld(learnSelfResourceModule(), *this);
        names = new wchar_t*[static_cast<std::size_t>(qty)]();
        for (int i = 0; i < qty; ++i)
            require(loadStringCopy(m_selfResourceModule, firstVarName + static_cast<unsigned>(i),
                                   m_scratchpad.m_a, &names[i]) >= 1,
                    dx::VarNameNotLoaded);
    });
    if (!isSelfSatisfied() && names) {
        std::for_each(names, names + qty, [](wchar_t* name) { delete[] name; });
        delete[] std::exchange(names, nullptr);
    }
    m_scratchpad.clear();
    return isSelfSatisfied();
}

int ZarnData::convertLogFileFormVarNameToIndex(wchar_t* name)
{
    wchar_t** const names = m_fileLog.m_varNames;
    if (!name || !*name || !names)
        return -1;
    int lowest = 0;
    int highest = m_fileLog.m_varNamesQty - 1;
    while (lowest <= highest) {
        const int middle = (lowest + highest) / 2;
        const int order = std::wcscmp(name, names[middle]);
        if (order == 0)
            return middle;
        if (order < 0)
            highest = middle - 1;
        else
            lowest = middle + 1;
    }
    return -1;
}

Zarn_FORM_VAR ZarnData::convertLogFileFormVarNameToEnum(wchar_t* name)
{
    return static_cast<Zarn_FORM_VAR>(convertLogFileFormVarNameToIndex(name));
}

bool ZarnData::isVarInLogFileFormSection(Zarn_FORM_VAR var, int count, const Zarn_FORM_VAR* vars)
{
    return var != Zarn_FORM_VAR_UNKNOWN && count >= 1 && vars &&
           std::find(vars, vars + count, var) != vars + count;
}

// ---- Compiling a section ---------------------------------------------------------------------------------

bool ZarnData::composeLogFileFormSectionFormat(wchar_t** format, int& count, Zarn_FORM_VAR** vars,
                                               u64** values)
{
    count = 0;
    runGuarded(*this, dx::ComposeFormatUnexpected, [&] {
        requireOrRaiseHeld(isSelfApproving(), *this);
        requireOrRaiseHeld(countLogFileFormSectionVarNames(*format, count), *this);
        if (count == 0)
            return; // the text is the format as it stands
        requireOrRaiseHeld(createLogFileFormSectionArgV_Enums(count, vars), *this);
        requireOrRaiseHeld(createLogFileFormSectionArgV_Values(count, values), *this);
        requireOrRaiseHeld(reformatLogFileFormSection(format, count, *vars), *this);
    });
    return isSelfSatisfied();
}

bool ZarnData::countLogFileFormSectionVarNames(wchar_t* text, int& count)
{
    count = 0;
    runGuarded(*this, dx::CountVarsUnexpected, [&] {
        requireOrRaiseHeld(isSelfApproving(), *this);
        bool inName = false;
        for (const wchar_t* position = text; position && *position; ++position) {
            if (!inName)
                m_sectionOffset = static_cast<std::size_t>(position - text);
            if (*position == m_fileLog.m_varOpenBracket) {
                require(!inName, dx::BracketNested);
                inName = true;
            } else if (*position == m_fileLog.m_varCloseBracket) {
                require(inName, dx::BracketClosed);
                inName = false;
                ++count;
            }
        }
    });
    return isSelfSatisfied();
}

bool ZarnData::createLogFileFormSectionArgV_Enums(int count, Zarn_FORM_VAR** vars)
{
    runGuarded(*this, dx::ArgVEnumsUnexpected, [&] {
        requireOrRaiseHeld(isSelfApproving(), *this);
        createArgV(count, vars, dx::ArgVEnumsPresent, dx::ArgVEnumsNoMemory);
    });
    if (!isSelfSatisfied() && vars)
        delete[] std::exchange(*vars, nullptr);
    return isSelfSatisfied();
}

bool ZarnData::createLogFileFormSectionArgV_Values(int count, u64** values)
{
    runGuarded(*this, dx::ArgVValuesUnexpected, [&] {
        requireOrRaiseHeld(isSelfApproving(), *this);
        createArgV(count, values, dx::ArgVValuesPresent, dx::ArgVValuesNoMemory);
    });
    if (!isSelfSatisfied() && values)
        delete[] std::exchange(*values, nullptr);
    return isSelfSatisfied();
}

bool ZarnData::reformatLogFileFormSection(wchar_t** format, int count, Zarn_FORM_VAR* vars)
{
    if (!format || !*format || (count == 0 && !vars))
        return isSelfSatisfied();

    constexpr std::size_t nameMax = ZarnScratchpad::Buffer::capacity - 1;
    runGuarded(*this, dx::ReformatUnexpected, [&] {
        requireOrRaiseHeld(isSelfApproving(), *this);
        m_scratchpad.clear();
        FormatOutput output(m_scratchpad.m_a, std::wcslen(*format), count);
        wchar_t* const name = m_scratchpad.m_b.writable();
        std::size_t nameLength = 0;
        int insert = 0;
        bool inName = false;
        for (const wchar_t* position = *format; *position; ++position) {
            if (!inName)
                m_sectionOffset = static_cast<std::size_t>(position - *format);
            if (*position == m_fileLog.m_varOpenBracket) {
                require(!inName, dx::ReformatBracketNested);
                inName = true;
                nameLength = 0;
            } else if (*position != m_fileLog.m_varCloseBracket) {
                if (!inName) {
                    output.addPlain(*position);
                    continue;
                }
                require(nameLength < nameMax - 1, dx::VarNameTooLong);
                name[nameLength++] = *position;
            } else {
                require(inName, dx::ReformatBracketClosed);
                inName = false;
                require(insert < count, dx::VarCountDisagrees);
                require(nameLength > 0, dx::VarNameEmpty);
                name[nameLength] = L'\0';
                Zarn_FORM_VAR var = convertLogFileFormVarNameToEnum(name);
                require(var < formVariablesQty, dx::VarWithoutInsert);
                if (var == Zarn_FORM_VAR_UNKNOWN && m_offersFormExtras)
                    var = findFormExtra(name);
                require(var != Zarn_FORM_VAR_UNKNOWN, dx::VarNameUnknown);
                vars[insert] = var;
                output.addInsert(++insert, formVariables[var].insert);
            }
        }
        require(insert == count, dx::VarCountDisagrees);
        require(duplicate_String(format, output.finish(), true), dx::ReformatNoMemory);
    });
    m_scratchpad.clear();
    return isSelfSatisfied();
}
