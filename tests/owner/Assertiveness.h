// The setting of the machine that an owner reads.
#pragma once

#include "MachineSettings.h"
#include "OwnerParts.h"

namespace zmu_test {

/// The level, negated code as the trace tells it on failure.
inline int level(Owner& owner)
{
    Traces traces;
    owner.code1() = 77;
    Zarn_DX_MODE mode = 99;
    const bool succeeded = owner.obtainAssertivenessLevel(mode);
    const QString trace = traces.take();
    if (owner.code1() != 77 || (!succeeded && mode != 0))
        return 1000;
    return succeeded ? mode : -trace.section("(ZGW", 1).section('/', 0, 0).toInt();
}

class Assertiveness : public testing::Test {
  protected:
    Assertiveness() { setLogDirectory(folder.path(".")); }

    const Folder folder;
    MachineSettings settings;
};

} // namespace zmu_test
