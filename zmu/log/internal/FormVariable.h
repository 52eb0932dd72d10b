// The variables of a form: how each is inserted, and what fills it.
#pragma once

#include <zmu/log/ZarnForm.h>
#include <zmu/log/internal/FormExtras.h>
#include <zmu/platform/Win32.h>

#include <iterator>

namespace zmu {

struct FormVariable {
    const wchar_t* insert;                ///< Format between the exclamation marks of an insert.
    int tag = -1;                         ///< The Zarn_FORM_TAG that fills it, -1 for none.
    WORD SYSTEMTIME::*timePart = nullptr; ///< The part of the local time that fills it, or null.
};

/// A variable that a part of the local time fills.
constexpr FormVariable timeVariable(const wchar_t* insert, WORD SYSTEMTIME::*part)
{
    return {insert, -1, part};
}

/// By Zarn_FORM_VAR; behind the last one, by FormExtra.
inline constexpr FormVariable formVariables[] = {
    {L"s", Zarn_FORM_TAG_COMPANY_KNOW_BASE},
    {L"s", Zarn_FORM_TAG_COMPANY_NAME_LONG},
    {L"s", Zarn_FORM_TAG_COMPANY_NAME_SHORT},
    {L"s", Zarn_FORM_TAG_COMPANY_WEBSITE},
    timeVariable(L"02d", &SYSTEMTIME::wDay),
    {L"X"}, // ENTRY_COLOR
    {L"d"}, // ENTRY_ID
    {L"s", Zarn_FORM_TAG_FILE_VERSION},
    {L"s", Zarn_FORM_TAG_HOME_DIRECTORY},
    timeVariable(L"02d", &SYSTEMTIME::wHour),
    {L"s"}, // LOGFILE_NAME
    timeVariable(L"03d", &SYSTEMTIME::wMilliseconds),
    timeVariable(L"02d", &SYSTEMTIME::wMinute),
    {L"s", Zarn_FORM_TAG_MODULE_FILE_NAME},
    {L"s", Zarn_FORM_TAG_MODULE_NAME},
    timeVariable(L"02d", &SYSTEMTIME::wMonth),
    {L"s", Zarn_FORM_TAG_NAME_OF_DOMAIN},
    {L"s", Zarn_FORM_TAG_NAME_OF_HOST},
    {L"s", Zarn_FORM_TAG_NAME_OF_SESSION},
    {L"s", Zarn_FORM_TAG_NAME_OF_USER},
    {L"lu"}, // PROCESS_ID
    {L"s", Zarn_FORM_TAG_PRODUCT_NAME},
    {L"s", Zarn_FORM_TAG_PRODUCT_VERSION},
    timeVariable(L"02d", &SYSTEMTIME::wSecond),
    {L"s"}, // SITUATION_DSCRP
    {L"d"}, // SITUATION_ID
    {L"s", Zarn_FORM_TAG_SUITE_NAME},
    {L"s"}, // SYS_INFO_ENV_APP
    {L"s"}, // SYS_INFO_ENV_OP
    {L"s"}, // SYS_INFO_VARS_ENV
    timeVariable(L"d", &SYSTEMTIME::wYear),
    {L"s"}, // NEXT_LOG
    {L"s"}, // PREVIOUS_LOG
    {L"s"}, // TIME_ZONE
    {L"s"}, // EXPLANATIONS
};

inline constexpr int formVariablesQty = Zarn_FORM_VAR_YEAR + 1;
static_assert(std::size(formVariables) == formVariablesQty + formExtrasQty);

/// Reports that a form can inject: the variables from SYS_INFO_ENV_APP on.
inline constexpr int injectorsQty = 3;

} // namespace zmu
