// One section of a form, wherever the record of the log keeps it.
#pragma once

#include <zmu/log/ZarnDataFile.h>

#include <utility>

namespace zmu {

/// A view of a section over the record, which must outlive it.
struct FormSection {
    wchar_t*& format;
    int& varCount;
    Zarn_FORM_VAR*& vars; ///< What fills insert n+1, at n.
    u64*& values;         ///< The value of insert n+1, at n.
    bool* hasEntryId;     ///< Null for the body, where nobody asks.

    /// Whether a section without a format has something to fill it with.
    bool hasRemains() const { return varCount || vars || values; }

    void free()
    {
        delete[] std::exchange(format, nullptr);
        delete[] std::exchange(vars, nullptr);
        delete[] std::exchange(values, nullptr);
        varCount = 0;
        if (hasEntryId)
            *hasEntryId = false;
    }
};

inline FormSection headOf(ZarnDataFile& file)
{
    return {file.m_headFormat, file.m_headVarCount, file.m_headVars, file.m_headValues,
            &file.m_headHasEntryId};
}

inline FormSection bodyOf(ZarnDataFile& file)
{
    return {file.m_bodyFormat, file.m_bodyVarCount, file.m_bodyVars, file.m_bodyValues, nullptr};
}

inline FormSection tailOf(ZarnDataFile& file)
{
    return {file.m_tailFormat, file.m_tailVarCount, file.m_tailVars, file.m_tailValues,
            &file.m_tailHasEntryId};
}

} // namespace zmu
