// Restores the engine's token separator: the parsers call each other, each with its own.
#pragma once

namespace zmu {

class SeparatorKeeper {
  public:
    explicit SeparatorKeeper(wchar_t (&separator)[2]) : m_separator(separator), m_kept(separator[0])
    {}
    SeparatorKeeper(wchar_t (&separator)[2], wchar_t present) : SeparatorKeeper(separator)
    {
        separator[0] = present;
    }
    ~SeparatorKeeper() { m_separator[0] = m_kept; }
    SeparatorKeeper(const SeparatorKeeper&) = delete;
    SeparatorKeeper& operator=(const SeparatorKeeper&) = delete;

  private:
    wchar_t (&m_separator)[2];
    wchar_t m_kept;
};

} // namespace zmu
