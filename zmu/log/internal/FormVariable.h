// The variables of a form: how each is inserted, and which tag fills it.
#pragma once

#include <zmu/log/ZarnForm.h>

#include <iterator>

namespace zmu {

struct FormVariable {
    const wchar_t* insert;   ///< Format between the exclamation marks of an insert.
    int tag = -1;            ///< The Zarn_FORM_TAG that fills it, -1 for none.
    bool isOfSystem = false; ///< The system or a user has chosen the text, and not the product.
};

/// By Zarn_FORM_VAR.
inline constexpr FormVariable formVariables[] = {
    {L"s", Zarn_FORM_TAG_COMPANY_KNOW_BASE},
    {L"s", Zarn_FORM_TAG_COMPANY_NAME_LONG},
    {L"s", Zarn_FORM_TAG_COMPANY_NAME_SHORT},
    {L"s", Zarn_FORM_TAG_COMPANY_WEBSITE},
    {L"02d"}, // DAY
    {L"X"},   // ENTRY_COLOR
    {L"d"},   // ENTRY_ID
    {L"s", Zarn_FORM_TAG_FILE_VERSION, true},
    {L"s", Zarn_FORM_TAG_HOME_DIRECTORY, true},
    {L"02d"},         // HOURS
    {L"s", -1, true}, // LOGFILE_NAME
    {L"03d"},         // MILLISECONDS
    {L"02d"},         // MINUTES
    {L"s", Zarn_FORM_TAG_MODULE_FILE_NAME, true},
    {L"s", Zarn_FORM_TAG_MODULE_NAME},
    {L"02d"}, // MONTH
    {L"s", Zarn_FORM_TAG_NAME_OF_DOMAIN, true},
    {L"s", Zarn_FORM_TAG_NAME_OF_HOST, true},
    {L"s", Zarn_FORM_TAG_NAME_OF_SESSION, true},
    {L"s", Zarn_FORM_TAG_NAME_OF_USER, true},
    {L"lu"}, // PROCESS_ID
    {L"s", Zarn_FORM_TAG_PRODUCT_NAME},
    {L"s", Zarn_FORM_TAG_PRODUCT_VERSION, true},
    {L"02d"}, // SECONDS
    {L"s"},   // SITUATION_DSCRP
    {L"d"},   // SITUATION_ID
    {L"s", Zarn_FORM_TAG_SUITE_NAME},
    {L"s"}, // SYS_INFO_ENV_APP
    {L"s"}, // SYS_INFO_ENV_OP
    {L"s"}, // SYS_INFO_VARS_ENV
    {L"d"}, // YEAR
};

inline constexpr int formVariablesQty = std::size(formVariables);
static_assert(formVariablesQty == Zarn_FORM_VAR_YEAR + 1);

/// Reports that a form can inject: the variables from SYS_INFO_ENV_APP on.
inline constexpr int injectorsQty = 3;

} // namespace zmu
