// ZarnSysInfoEnvVars: the environment variables of the process, a pair for each.
#pragma once

#include <zmu/foundation/Export.h>
#include <zmu/sysinfo/ZarnSysInfo.h>

#include <string>
#include <vector>

/// The environment as it is at construction, which may throw std::bad_alloc. The caption is a
/// variable's name, and the datum its value, up to an equals sign in it. A walk moves on even if it
/// was told not to.
class ZMU_API ZarnSysInfoEnvVars : public ZarnSysInfo {
  public:
    ZarnSysInfoEnvVars();
    ~ZarnSysInfoEnvVars() override;

    /// Goes on from `position`, so that a second first pair is the first one again.
    bool getDataPair(int position, wchar_t* caption, wchar_t* datum, int captionSize,
                     int datumSize) override;

  protected:
    bool learnNextPosition() override;

  private:
    std::vector<std::wstring> m_variables; ///< "NAME=VALUE"
};
