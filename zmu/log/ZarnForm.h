// Enumerations of the log: its kinds, the variables of a form, the sections.
#pragma once

#include <zmu/foundation/Types.h>
#include <zmu/localize/ZarnFormTag.h>

/// Kind of log. Only HTML is served.
enum Zarn_LOG : int { Zarn_LOG_UNSET = -1, Zarn_LOG_HTML = 0, Zarn_LOG_TEXT = 1 };

/// Variables of a form, by their place in the sorted table of names.
enum Zarn_FORM_VAR : int {
    Zarn_FORM_VAR_UNKNOWN = -1,
    Zarn_FORM_VAR_COMPANY_KNOW_BASE = 0,
    Zarn_FORM_VAR_COMPANY_NAME_LONG,
    Zarn_FORM_VAR_COMPANY_NAME_SHORT,
    Zarn_FORM_VAR_COMPANY_WEBSITE,
    Zarn_FORM_VAR_DAY,
    Zarn_FORM_VAR_ENTRY_COLOR,
    Zarn_FORM_VAR_ENTRY_ID,
    Zarn_FORM_VAR_FILE_VERSION,
    Zarn_FORM_VAR_HOME_DIRECTORY,
    Zarn_FORM_VAR_HOURS,
    Zarn_FORM_VAR_LOGFILE_NAME,
    Zarn_FORM_VAR_MILLISECONDS,
    Zarn_FORM_VAR_MINUTES,
    Zarn_FORM_VAR_MODULE_FILE_NAME,
    Zarn_FORM_VAR_MODULE_NAME,
    Zarn_FORM_VAR_MONTH,
    Zarn_FORM_VAR_NAME_OF_DOMAIN,
    Zarn_FORM_VAR_NAME_OF_HOST,
    Zarn_FORM_VAR_NAME_OF_SESSION,
    Zarn_FORM_VAR_NAME_OF_USER,
    Zarn_FORM_VAR_PROCESS_ID,
    Zarn_FORM_VAR_PRODUCT_NAME,
    Zarn_FORM_VAR_PRODUCT_VERSION,
    Zarn_FORM_VAR_SECONDS,
    Zarn_FORM_VAR_SITUATION_DSCRP,
    Zarn_FORM_VAR_SITUATION_ID,
    Zarn_FORM_VAR_SUITE_NAME,
    Zarn_FORM_VAR_SYS_INFO_ENV_APP,
    Zarn_FORM_VAR_SYS_INFO_ENV_OP,
    Zarn_FORM_VAR_SYS_INFO_VARS_ENV,
    Zarn_FORM_VAR_YEAR,
};

/// Bits of a mask of sections.
inline constexpr zmu::ulong32 SECTION_HEAD = 1;
inline constexpr zmu::ulong32 SECTION_BODY = 2;
inline constexpr zmu::ulong32 SECTION_TAIL = 4;
inline constexpr zmu::ulong32 SECTIONS_ALL = SECTION_HEAD | SECTION_BODY | SECTION_TAIL;
