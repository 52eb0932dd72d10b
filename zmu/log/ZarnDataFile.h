// The record of a log file and its form: plain data, owned by the data set that embeds it.
#pragma once

#include <zmu/foundation/Export.h>
#include <zmu/foundation/Types.h>
#include <zmu/log/ZarnForm.h>

class QTemporaryFile;
class QTextStream;

/// Copied bytewise: a copy shares the pointers, whose owner is the data set. Not locked; touch it
/// under the data set's lock.
struct ZMU_API ZarnDataFile {
    // The log file.
    zmu::u64 m_logByteCount = 0;        ///< Bytes counted toward the limit; saturates.
    QTextStream* m_logStream = nullptr; ///< The open log; owns its file through its device.
    wchar_t* m_logName = nullptr;       ///< Full path.
    Zarn_LOG m_logKind = Zarn_LOG_HTML;

    // The form and what it injects.
    QTextStream* m_formStream = nullptr;
    QTemporaryFile* m_injectorFiles = nullptr; ///< Array of 3; proof that the folder is usable.
    QTextStream** m_injectorStreams = nullptr; ///< Array of 3, on memory; an entry may be null.
    bool m_formIsBuiltIn = false;              ///< The sections came from the string table.
    wchar_t* m_formName = nullptr;             ///< Full path.
    wchar_t m_formMarker = 0;                  ///< First character of a section marker line.

    // The compiled sections: a format, and for insert n+1 its variable n and its value n.
    int m_bodyVarCount = 0;
    Zarn_FORM_VAR* m_bodyVars = nullptr;
    zmu::u64* m_bodyValues = nullptr;
    unsigned int m_entryColorEven = 0; ///< ENTRY_COLOR while the situations count is even.
    unsigned int m_entryColorOdd = 0;
    wchar_t* m_bodyFormat = nullptr;
    int m_tailPosition = 0; ///< Byte position at which the next entry is written.
    int m_headVarCount = 0;
    Zarn_FORM_VAR* m_headVars = nullptr;
    zmu::u64* m_headValues = nullptr;
    wchar_t* m_headFormat = nullptr;
    bool m_headHasEntryId = false;
    int m_tailVarCount = 0;
    Zarn_FORM_VAR* m_tailVars = nullptr;
    zmu::u64* m_tailValues = nullptr;
    bool m_tailCountsBytes = true; ///< The next tail adds to m_logByteCount.
    wchar_t* m_tailFormat = nullptr;
    bool m_tailHasEntryId = false;

    // The variables' names.
    wchar_t m_varCloseBracket = 0;
    wchar_t m_varOpenBracket = 0;
    wchar_t** m_varNames = nullptr; ///< Sorted; m_varNamesQty owned texts.
    int m_varNamesQty = 0;
};
