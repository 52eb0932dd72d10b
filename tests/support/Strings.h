// The strings that a test program serves as a resource module.
#pragma once

#include <zmu/localize/ResourceModule.h>
#include <zmu/monitor/Zarn.h>

#include <map>
#include <string>

namespace zmu_test {

/// What the program serves. An ID that is not here is unknown; an empty text exists and is empty.
/// That of textSituation is always here.
std::map<unsigned int, std::wstring>& strings();

/// Situation of reportText: its entry is the text that it is given.
inline constexpr int textSituation = 100;

/// Reports and answers the code that the report left.
int reportText(Zarn* monitor, const wchar_t* text);

} // namespace zmu_test
