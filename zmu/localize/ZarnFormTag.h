// The tags: what a log says of product, module, machine and user.
#pragma once

/// Values of a data set that a form shows.
enum Zarn_FORM_TAG : int {
    Zarn_FORM_TAG_COMPANY_KNOW_BASE = 0,
    Zarn_FORM_TAG_COMPANY_NAME_LONG,
    Zarn_FORM_TAG_COMPANY_NAME_SHORT,
    Zarn_FORM_TAG_COMPANY_WEBSITE,
    Zarn_FORM_TAG_FILE_VERSION,
    Zarn_FORM_TAG_HOME_DIRECTORY,
    Zarn_FORM_TAG_MODULE_FILE_NAME,
    Zarn_FORM_TAG_MODULE_NAME,
    Zarn_FORM_TAG_NAME_OF_DOMAIN,
    Zarn_FORM_TAG_NAME_OF_HOST,
    Zarn_FORM_TAG_NAME_OF_SESSION,
    Zarn_FORM_TAG_NAME_OF_USER,
    Zarn_FORM_TAG_PRODUCT_NAME,
    Zarn_FORM_TAG_PRODUCT_VERSION,
    Zarn_FORM_TAG_SUITE_NAME,
};
inline constexpr int Zarn_FORM_TAGS_QTY = 15;
