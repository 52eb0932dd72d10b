#include <zmu/sysinfo/ZarnSysInfoEnvVars.h>

#include <zmu/platform/Machine.h>

#include <algorithm>

ZarnSysInfoEnvVars::ZarnSysInfoEnvVars() : m_variables(zmu::machine::environment())
{
    setCategory(L"Environment Variables");
}

ZarnSysInfoEnvVars::~ZarnSysInfoEnvVars() = default;

bool ZarnSysInfoEnvVars::getDataPair(int position, wchar_t* caption, wchar_t* datum,
                                     int captionSize, int datumSize)
{
    if (position < 0 || position >= static_cast<int>(m_variables.size()))
        return false;
    m_position = position;
    std::wstring& variable = m_variables[static_cast<std::size_t>(position)];
    // Cut in place, and put together again.
    const std::size_t nameEnd = std::min(variable.find(L'='), variable.size());
    const std::size_t valueStart = std::min(nameEnd + 1, variable.size());
    const std::size_t valueEnd = std::min(variable.find(L'=', valueStart), variable.size());
    const auto cut = [&](std::size_t at) {
        if (at < variable.size())
            variable[at] = L'\0';
    };
    cut(nameEnd);
    cut(valueEnd);
    const bool succeeded = formatDataPair(caption, datum, captionSize, datumSize, variable.c_str(),
                                          variable.c_str() + valueStart);
    for (const std::size_t at : {nameEnd, valueEnd}) {
        if (at < variable.size())
            variable[at] = L'=';
    }
    return succeeded;
}

bool ZarnSysInfoEnvVars::learnNextPosition()
{
    ++m_position;
    return true;
}
