// The system's language, which a locale's name tells.
#include "Walk.h"

using namespace zmu_test;

TEST(Walk, LanguagesOfLocales)
{
    const std::pair<const char*, QString> cases[] = {{"de_DE.UTF-8", "0x0407"},
                                                     {"de_XX", "0x0407"},
                                                     {"pt_BR.ISO-8859-1", "0x0416"},
                                                     {"fr", "0x040C"},
                                                     {"sr_RS.UTF-8@latin", "0x241A"},
                                                     {"sr_RS@other", "0x281A"},
                                                     {"C.UTF-8", "0x007F"},
                                                     {"POSIX", "0x007F"},
                                                     {"eo", "0x1000"},
                                                     {"_", "0x1000"}};
    for (const auto& [locale, number] : cases) {
        qputenv("LC_ALL", locale);
        EXPECT_TRUE(walk<ZarnSysInfoEnvOp>().contains("\nSystem Language ID=" + number + '\n'))
            << locale;
    }
    qunsetenv("LC_ALL");
    qputenv("LC_MESSAGES", "");
    qputenv("LANG", "cs_CZ");
    EXPECT_TRUE(walk<ZarnSysInfoEnvOp>().contains("\nSystem Language ID=0x0405\n"));
}
