// What a form asks for in comments: values that are no variables of its language. A data set that
// does not offer them leaves the comments as they stand.
#pragma once

#include <zmu/log/ZarnForm.h>

#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>

namespace zmu {

/// Numbered behind the variables, which share a section's arrays with them.
enum FormExtra {
    FORM_EXTRA_NEXT_LOG = Zarn_FORM_VAR_YEAR + 1, ///< Link to the log's successor, if it has one.
    FORM_EXTRA_PREVIOUS_LOG,                      ///< Link to its predecessor.
    FORM_EXTRA_TIME_ZONE,                         ///< That of the log's beginning: "UTC+01:00".
    FORM_EXTRA_EXPLANATIONS, ///< Link to the page that explains situations, if there is one.
};
inline constexpr int formExtrasQty = 4;
inline constexpr std::wstring_view formExtraNames[] = {L"NEXT_LOG", L"PREVIOUS_LOG", L"TIME_ZONE",
                                                       L"EXPLANATIONS"};
static_assert(std::size(formExtraNames) == formExtrasQty);

/// Writes every comment of `text` that names one, such as "<!--TIME_ZONE-->", as a variable between
/// the two brackets. The text becomes no longer.
void writeFormExtrasAsVariables(wchar_t* text, wchar_t open, wchar_t close);

/// By how many characters `text` has become shorter that way.
std::size_t charactersSavedByExtras(std::wstring_view text);

/// The extra called `name`, Zarn_FORM_VAR_UNKNOWN if there is none.
Zarn_FORM_VAR findFormExtra(const wchar_t* name);

/// A link, as markup, from the log `from` to the log `to`; both are paths. A relative one where
/// they are in one folder, which may move as a whole.
std::wstring linkToLog(const wchar_t* from, const wchar_t* to);

/// A link, as markup, to the page of explanations in the folder of `log`, "Codes/Situations.html";
/// empty where there is none. Its id is "explanations", by which a form's script finds it.
std::wstring linkToExplanations(const wchar_t* log);

/// The offset of local time at present.
std::wstring presentTimeZone();

} // namespace zmu
