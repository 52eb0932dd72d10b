// The language that calls take by themselves: the user's.
#include "calls.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <string>

TEST(CallsLanguage, IsTheUsersWhereNobodyTellsOne)
{
    using Variables = std::map<std::string, std::string>;
    const std::pair<Variables, const char*> cases[] = {
        {{}, "en"},
        {{{"LANG", "de_AT.UTF-8"}}, "de"},
        {{{"LANG", "de_DE"}, {"LC_MESSAGES", "fr_FR"}}, "en"},
        {{{"LANG", "fr_FR"}, {"LC_MESSAGES", "fr_FR"}, {"LC_ALL", "de_DE@euro"}}, "de"},
        {{{"LANG", "fr_FR.UTF-8"}, {"LANGUAGE", "pl:de"}}, "de"},
        {{{"LANG", "de_DE"}, {"LANGUAGE", ""}}, "de"},
        {{{"LC_ALL", "C"}, {"LANG", "de_DE"}, {"LANGUAGE", "de"}}, "en"},
        {{{"LANG", "C.UTF-8"}, {"LANGUAGE", "de"}}, "en"},
        {{{"LANG", "POSIX"}, {"LANGUAGE", "de"}}, "en"},
        {{{"LANG", "fr_FR"}, {"LANGUAGE", std::string(300, 'x') + ":de"}}, "en"}, // is cut
    };
    Variables before;
    const char* const names[] = {"LC_ALL", "LC_MESSAGES", "LANG", "LANGUAGE"};
    for (const char* const name : names)
        if (const char* const value = std::getenv(name))
            before[name] = value;
    const auto set = [&](const Variables& variables) {
        for (const char* const name : names)
            unsetenv(name);
        for (const auto& [name, value] : variables)
            setenv(name.c_str(), value.c_str(), 1);
    };
    int number = 0;
    for (const auto& [variables, language] : cases) {
        set(variables);
        EXPECT_EQ(calls::load(), calls::load(language)) << "case " << number++;
    }
    set(before);
}
