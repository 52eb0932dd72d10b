// The locale of the user that runs the tests: no test changes it.
#pragma once

#include <zmu/platform/Win32.h>

#include <QString>

#include <string>

namespace zmu_test {

class Locales {
  public:
    /// Empty if the locale is "fr_FR.UTF-8", or why it is not.
    std::string enter(const std::string& name)
    {
        wchar_t user[LOCALE_NAME_MAX_LENGTH] = {};
        GetUserDefaultLocaleName(user, LOCALE_NAME_MAX_LENGTH);
        const QString present = QString::fromWCharArray(user).replace('-', '_');
        return present == QString::fromStdString(name).section('.', 0, 0)
                   ? ""
                   : "this user's locale is " + present.toStdString();
    }
};

} // namespace zmu_test
