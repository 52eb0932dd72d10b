// A view of the file system that nobody else has.
#pragma once

#include <QString>

namespace zmu_test {

/// Gives this process and its children mounts that nobody else sees. Why that cannot be, or empty.
QString enterOwnMounts();

} // namespace zmu_test
