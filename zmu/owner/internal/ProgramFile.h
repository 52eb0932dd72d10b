// Where the program is.
#pragma once

#include <QString>

namespace zmu {

/// Full path of the program's file; empty if nobody knows it. Needs no QCoreApplication.
QString programFilePath();
/// The directory that it lies in.
QString programDirPath();

} // namespace zmu
