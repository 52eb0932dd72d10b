// The tags of a form, and the product's brander.
#include "OwnerParts.h"

#include <QCoreApplication>
#include <QSysInfo>

#include <thread>

using namespace zmu;
using namespace zmu_test;

namespace {

constexpr char brand[] = "# the texts of a test\r\n"
                         "0 = kb\n1=\xC3\x84 \xF0\x9F\x98\x80 long\n2=short\n3=web\n;16=no\n\n"
                         "16=any\n18=cm\n19=logon\n20=pw\n29=  suite  ";

QString tagOf(const Owner& owner, Zarn_FORM_TAG tag)
{
    return QString::fromWCharArray(owner.data()->getTag(tag));
}

/// A tag with nothing but a tag to go by; `code` receives code 1.
std::wstring freshTag(Zarn_FORM_TAG tag, int& code, wchar_t* buffer = nullptr, u64 capacity = 0)
{
    ulong32 code2 = 99;
    UTL_String value(L"left over");
    const bool found = ZarnDataZGW::obtainLogTagValue(value, tag, 0, nullptr, nullptr, code, code2,
                                                      buffer, capacity);
    EXPECT_EQ(found, value.length() > 0);
    return value.wideText();
}

class Tags : public testing::Test {
  protected:
    void SetUp() override
    {
        folder.makeFolder("logs");
        setLogDirectory(folder.path("logs"));
    }
    const Folder folder;
};

} // namespace

TEST_F(Tags, OfEachOwner)
{
    ASSERT_TRUE(useBrander(folder, brand));
    const struct {
        i64 id;
        const char* name;
    } rows[] = {{ZGW_OWNER_CM, "cm"},
                {ZGW_OWNER_LOGON, "logon"},
                {ZGW_OWNER_PW, "pw"},
                {ZGW_OWNER_APS, "any"},
                {12345, "any"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.id);
        const Owner owner(row.id, false);
        EXPECT_EQ(tagOf(owner, Zarn_FORM_TAG_MODULE_NAME), row.name);
        EXPECT_EQ(tagOf(owner, Zarn_FORM_TAG_PRODUCT_NAME), row.name);
        EXPECT_EQ(QString::fromWCharArray(owner.data()->getDisplayDlgBoxCaption()), row.name);
    }
    qputenv("USERDOMAIN", "a domain");
    const Owner owner;
    const QString user = userName();
    ASSERT_FALSE(user.isEmpty());
    const std::pair<Zarn_FORM_TAG, QString> tags[] = {
        {Zarn_FORM_TAG_COMPANY_KNOW_BASE, "kb"},
        {Zarn_FORM_TAG_COMPANY_NAME_LONG, QString::fromUtf8("\xC3\x84 \xF0\x9F\x98\x80 long")},
        {Zarn_FORM_TAG_COMPANY_NAME_SHORT, "short"},
        {Zarn_FORM_TAG_COMPANY_WEBSITE, "web"},
        {Zarn_FORM_TAG_FILE_VERSION, "3.1"},
        {Zarn_FORM_TAG_HOME_DIRECTORY, QFileInfo(BRANDER_FILE).absolutePath()},
        {Zarn_FORM_TAG_MODULE_FILE_NAME, "owner&original"},
        {Zarn_FORM_TAG_NAME_OF_DOMAIN, "a domain"},
        {Zarn_FORM_TAG_NAME_OF_SESSION, "Unknown"},
        {Zarn_FORM_TAG_NAME_OF_USER, user},
        {Zarn_FORM_TAG_PRODUCT_VERSION, "3.2"},
        {Zarn_FORM_TAG_SUITE_NAME, "suite"}};
    for (const auto& [tag, value] : tags)
        EXPECT_EQ(tagOf(owner, tag), value) << tag;
    EXPECT_EQ(tagOf(owner, Zarn_FORM_TAG_NAME_OF_HOST).toUpper(),
              QSysInfo::machineHostName().toUpper());
}

TEST_F(Tags, EmptyTextsAreUnknown)
{
    ASSERT_TRUE(useBrander(folder, "1=\n18=\n29="));
    const Owner owner;
    for (const Zarn_FORM_TAG tag :
         {Zarn_FORM_TAG_COMPANY_NAME_LONG, Zarn_FORM_TAG_MODULE_NAME, Zarn_FORM_TAG_SUITE_NAME})
        EXPECT_EQ(tagOf(owner, tag), "Unknown") << tag;
    EXPECT_EQ(tagOf(owner, Zarn_FORM_TAG_PRODUCT_NAME), "owner&original");
    EXPECT_EQ(tagOf(owner, Zarn_FORM_TAG_COMPANY_NAME_SHORT), "Quorvane");
}

TEST_F(Tags, WithoutABrander)
{
    int code = 0;
    for (const Zarn_FORM_TAG tag :
         {Zarn_FORM_TAG_COMPANY_KNOW_BASE, Zarn_FORM_TAG_MODULE_NAME, Zarn_FORM_TAG_SUITE_NAME}) {
        EXPECT_EQ(freshTag(tag, code), L"");
        EXPECT_EQ(code, zgw::BrandTextNoBrander);
    }
    EXPECT_NE(freshTag(Zarn_FORM_TAG_NAME_OF_USER, code), L"");
    EXPECT_EQ(code, 0);
    for (const int tag : {int{Zarn_FORM_TAG_NAME_OF_SESSION}, Zarn_FORM_TAGS_QTY}) {
        Traces traces;
        EXPECT_EQ(freshTag(Zarn_FORM_TAG(tag), code), L"") << tag;
        EXPECT_EQ(code, 0);
        EXPECT_EQ(traces.take(), "") << tag;
    }
    wchar_t small[3];
    EXPECT_EQ(freshTag(Zarn_FORM_TAG_NAME_OF_USER, code, small, 0), L"");
    EXPECT_EQ(code, zgw::TagBufferEmpty);
    EXPECT_EQ(freshTag(Zarn_FORM_TAG_NAME_OF_USER, code, small, 1), L"");
    EXPECT_EQ(code, zgw::TagSourceFailed);

    UTL_String* values = nullptr;
    int quantity = 0;
    ulong32 code2 = 0;
    EXPECT_FALSE(
        ZarnDataZGW::obtainLogTagValues(values, quantity, 0, nullptr, nullptr, code, code2));
    EXPECT_EQ(code, zgw::TagValuesNoBrander);
    EXPECT_EQ(values, nullptr);
}

TEST_F(Tags, LookUpPrefersWhatIsRecorded)
{
    Owner owner;
    Zarn* monitor = owner.createZarnMonitor();
    ASSERT_TRUE(monitor);
    UTL_String values[Zarn_FORM_TAGS_QTY];
    values[Zarn_FORM_TAG_NAME_OF_SESSION] = UTL_String(L"of the values");
    const auto look = [&](Zarn_FORM_TAG tag, int quantity, Zarn* from) {
        UTL_String value;
        EXPECT_TRUE(
            ZarnDataZGW::getLogTagValue(value, tag, 0, nullptr, nullptr, values, quantity, from));
        return std::wstring(value.wideText());
    };
    EXPECT_EQ(look(Zarn_FORM_TAG_COMPANY_NAME_SHORT, 15, monitor), L"Quorvane");
    EXPECT_EQ(look(Zarn_FORM_TAG_NAME_OF_SESSION, 15, monitor), L"Unknown"); // as recorded
    EXPECT_EQ(look(Zarn_FORM_TAG_NAME_OF_SESSION, 11, nullptr), L"of the values");
    EXPECT_EQ(look(Zarn_FORM_TAG_NAME_OF_SESSION, 10, nullptr), L"Unknown");
    EXPECT_EQ(look(Zarn_FORM_TAG_COMPANY_NAME_SHORT, 15, nullptr), L"Unknown"); // no brander
    EXPECT_EQ(ZarnDataZGW::getDX_Code1(), 0);
    EXPECT_TRUE(ZarnDataZGW::destroyZarnMonitor(monitor));
}

TEST_F(Tags, HomeDirectoryWithAndWithoutAnApplication)
{
    int code = 0;
    const std::wstring without = freshTag(Zarn_FORM_TAG_HOME_DIRECTORY, code);
    int argc = 1;
    char name[] = "owner_test";
    char* argv[] = {name, nullptr};
    const QCoreApplication application(argc, argv);
    EXPECT_EQ(freshTag(Zarn_FORM_TAG_HOME_DIRECTORY, code), without);
    EXPECT_EQ(QString::fromStdWString(without), QFileInfo(BRANDER_FILE).absolutePath());
}

// ---- The brander -----------------------------------------------------------------------------------------

TEST_F(Tags, BranderStaysWithItsMaker)
{
    ZRpbr* brander = nullptr;
    {
        Owner maker;
        Owner user;
        EXPECT_TRUE(maker.hasMadeBrander());
        EXPECT_FALSE(user.hasMadeBrander());
        EXPECT_EQ(user.brander(), maker.brander());

        UTL_String* name = nullptr;
        user.relinquishProductBrander(brander, &name);
        EXPECT_EQ(brander, maker.brander());
        EXPECT_EQ(user.brander(), nullptr);
        EXPECT_STREQ(name->wideText(), L"zbr4");
        delete name;
        user.relinquishProductBrander(brander, nullptr);
        EXPECT_EQ(brander, nullptr);
    }
    UTL_String* name = nullptr;
    bool isMade = false;
    EXPECT_TRUE(ZarnDataZGW::obtainProductBrander(brander, name, isMade));
    EXPECT_TRUE(isMade); // that of the owner is gone
    wchar_t text[8];
    EXPECT_STREQ(brander->getBrandText(2, text, 9 - 1), L""); // one element short
    EXPECT_STREQ(brander->getBrandText(17, text, 8), L"");
    ZarnDataZGW::destroyProductBrander(brander, &name);
    EXPECT_EQ(brander, nullptr);
    EXPECT_EQ(name, nullptr);
}

TEST_F(Tags, OfTheSystemAreNoMarkupInALog)
{
    ASSERT_TRUE(useBrander(folder, QByteArray(brand) + "\n2=<i>short</i>\n18="));
    qputenv("USERDOMAIN", "<script>%1[DAY]");
    folder.makeFolder("a&b/Templates");
    setLogDirectory(folder.path("a&b"));
    folder.write(
        "a&b/Templates/bpw_template.html",
        "^HEAD\n[NAME_OF_DOMAIN]|[COMPANY_NAME_SHORT]|[LOGFILE_NAME]|[PRODUCT_NAME]|\n^BODY\n"
        "[SITUATION_DSCRP]\n^TAIL\n-\n");
    Owner owner;
    const std::wstring log = owner.logPath();
    Zarn* monitor = owner.createZarnMonitor();
    ASSERT_TRUE(monitor);
    EXPECT_TRUE(ZarnDataZGW::destroyZarnMonitor(monitor));
    const QStringList shown = logText(log).split('|');
    ASSERT_EQ(shown.size(), 5);
    EXPECT_EQ(shown[0], "&lt;script&gt;%1[DAY]");
    EXPECT_EQ(shown[1], "<i>short</i>"); // the product's own
    EXPECT_TRUE(shown[2].contains("a&amp;b"));
    EXPECT_EQ(shown[3], "owner&amp;original"); // which is the module's
}

class BrokenBrander : public Tags,
                      public testing::WithParamInterface<std::pair<const char*, int>> {};

TEST_P(BrokenBrander, StopsTheOwner)
{
    const auto& [texts, code2] = GetParam();
    ASSERT_TRUE(useBrander(folder, texts));
    EXPECT_EQ(codeOfConstruction(), zgw::BranderMissing);
    EXPECT_EQ(ZarnDataZGW::getDX_Code2(), ulong32(code2));
    EXPECT_TRUE(QDir(QString::fromStdWString(folder.path("logs"))).isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Files, BrokenBrander,
                         testing::Values(std::pair{"1", 1001}, std::pair{"# so far\n\nx=1\n", 1003},
                                         std::pair{"17=unknown", 1001}, std::pair{"2 3=x", 1001},
                                         std::pair{"1=\xC3", 1001},
                                         std::pair{"1=ok\n2=\xC0\xAF", 1002},
                                         std::pair{"1=\xED\xA0\x80", 1001},
                                         std::pair{"1=\xF4\x90\x80\x80", 1001}));

TEST_F(Tags, OfAProcessOutliveAMistakeInItsTexts)
{
    ASSERT_TRUE(useBrander(folder, brand));
    EXPECT_EQ(codeOfConstruction(), 0);
    folder.write("zbr4u.ini", "2=other\nbroken\n");
    Traces traces;
    const Owner owner;
    EXPECT_TRUE(traces.take().contains("keeps its earlier texts, since it cannot use the new ones "
                                       "(status 1002)"));
    EXPECT_EQ(tagOf(owner, Zarn_FORM_TAG_COMPANY_NAME_SHORT), "short");
}

TEST_F(Tags, ModuleThatIsNoBrander)
{
    ASSERT_TRUE(useBrander(folder, {}, PLAIN_MODULE));
    EXPECT_EQ(codeOfConstruction(), zgw::BranderMissing);
    EXPECT_EQ(ZarnDataZGW::getDX_Code2(), DWORD{ERROR_PROC_NOT_FOUND});
}
