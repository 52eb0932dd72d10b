// From the constructor to the monitor, and on to the successors of its log.
#include "OwnerParts.h"

#include <QDir>

#include <QRegularExpression>

#include <stdexcept>

using namespace zmu;
using namespace zmu_test;

namespace {

class LifeCycle : public testing::Test {
  protected:
    void SetUp() override { setLogDirectory(folder.path(".")); }
    const Folder folder;
};

/// An owner whose last stage refuses.
class Refusing : public Owner {
  public:
    explicit Refusing(int code) : m_code(code) {}
    bool customizeForOwner() override
    {
        if (m_code < 0)
            throw std::runtime_error("not today");
        code1() = m_code;
        return false;
    }

  private:
    int m_code;
};

std::wstring presentLog(Zarn* monitor)
{
    wchar_t name[512] = {};
    EXPECT_TRUE(monitor->getFileLogName(name, 512));
    return name;
}

} // namespace

TEST_F(LifeCycle, OneCallGivesAMonitor)
{
    std::wstring path;
    Zarn* monitor = nullptr;
    {
        Owner owner;
        EXPECT_TRUE(owner.isOwnerRunningStandalone());
        EXPECT_EQ(owner.external(), GetModuleHandleW(nullptr));
        EXPECT_EQ(Owner::internal(), GetModuleHandleW(L"zmu.dll"));
        EXPECT_EQ(owner.data()->getLogFileByteCountLimit(), 20971520U); // 20 is no limit
        EXPECT_EQ(owner.data()->getDescriptionFillersQty(), 20);
        EXPECT_EQ(owner.data()->getArgsStrQty(), 10);
        path = owner.logPath();
        monitor = owner.createZarnMonitor();
        ASSERT_TRUE(monitor) << owner.getDX_Code1() << '/' << owner.getDX_Code2();
        EXPECT_EQ(owner.data(), nullptr);

        Traces traces;
        EXPECT_EQ(owner.createZarnMonitor(), nullptr);
        EXPECT_EQ(owner.getDX_Code1(), zgw::NothingToHandOver);
        EXPECT_FALSE(owner.customizeForOwner());
        EXPECT_EQ(owner.getDX_Code1(), zgw::CustomizeNoDataSet);
        EXPECT_EQ(traces.take(),
                  "ZarnDataZGW::createZarnMonitor () failed (ZGW status codes 7/0).\n"
                  "ZarnDataZGW::customizeForOwner () failed (ZGW9/0).\n");
    }
    EXPECT_EQ(reportText(monitor, L"entry"), 0); // the monitor does without its owner
    EXPECT_EQ(presentLog(monitor), path);
    EXPECT_TRUE(logText(path).contains("entry<br>\n"));
    Zarn* stranger = reinterpret_cast<Zarn*>(this);
    EXPECT_FALSE(ZarnDataZGW::destroyZarnMonitor(stranger));
    EXPECT_NE(stranger, nullptr);
    EXPECT_TRUE(ZarnDataZGW::destroyZarnMonitor(monitor));
    EXPECT_TRUE(ZarnDataZGW::destroyZarnMonitor(monitor)); // null by now
}

TEST_F(LifeCycle, StagesOfASubclass)
{
    Refusing silent(0);
    EXPECT_EQ(silent.createZarnMonitor(), nullptr);
    EXPECT_EQ(silent.getDX_Code1(), zgw::CustomizeRefused);
    Refusing throwing(-1);
    {
        Traces traces;
        EXPECT_EQ(throwing.createZarnMonitor(), nullptr);
        EXPECT_EQ(throwing.getDX_Code1(), zgw::CustomizeRefused);
        EXPECT_TRUE(traces.take().contains("customizeForOwner () has thrown an exception"));
    }
    Refusing speaking(40);
    EXPECT_EQ(speaking.createZarnMonitor(), nullptr);
    EXPECT_EQ(speaking.getDX_Code1(), 40);
    EXPECT_NE(speaking.data(), nullptr);

    EXPECT_FALSE(speaking.setMemberVarsToDefaults(0, 6));
    EXPECT_EQ(speaking.getDX_Code1(), 40);
    EXPECT_NE(speaking.data(), nullptr);
    EXPECT_FALSE(speaking.initialize());
    EXPECT_EQ(speaking.getDX_Code1(), zgw::InitializedTwice);
    EXPECT_EQ(speaking.data(), nullptr); // that failure frees everything
}

TEST_F(LifeCycle, OwnerWithoutALogOfItsOwn)
{
    Owner owner(ZGW_OWNER_PW, false);
    EXPECT_EQ(owner.data()->getNonnativeInstantiatorID(), ZGW_OWNER_PW);
    EXPECT_EQ(folder.files(), QStringList());
    EXPECT_EQ(Owner(ZGW_OWNER_PW).data()->getNonnativeInstantiatorID(), 0);
}

TEST_F(LifeCycle, ModulesThatAreGiven)
{
    // Texts of the program in place of the library's: the first owner decides for all.
    auto* const program = GetModuleHandleW(nullptr);
    const auto code = [&] {
        try {
            const ZarnDataZGW owner(0, true, program, nullptr, Zarn_LOG_HTML);
            return 0;
        } catch (int raised) {
            return raised;
        }
    };
    strings() = {{10009, L"form"}, {10011, L"Forms"}};
    EXPECT_EQ(code(), zgw::UnknownTextEmpty);
    strings()[10007] = L"unbekannt";
    strings()[10011] = L"";
    EXPECT_EQ(code(), zgw::LogFormFolderEmpty); // said to be ignored, and is not
    strings()[10011] = L"Forms";
    strings()[10009] = L"";
    EXPECT_EQ(code(), zgw::LogFormNameEmpty);
    strings().erase(10009);
    EXPECT_EQ(code(), zgw::LogFormNameNotLoaded);
    strings().erase(10011);
    EXPECT_EQ(code(), zgw::TextNotLoaded);
    EXPECT_EQ(folder.files(), QStringList()); // whatever fails leaves no file

    strings()[10009] = L"form";
    strings()[10011] = L"Forms";
    Owner owner;
    EXPECT_EQ(Owner::internal(), program);
    EXPECT_TRUE(
        QString::fromStdWString(owner.formPath()).endsWith(QDir::toNativeSeparators("Forms/form")));
    EXPECT_STREQ(owner.data()->getTag(Zarn_FORM_TAG_NAME_OF_SESSION), L"unbekannt");
}

TEST_F(LifeCycle, SuccessorsHaveFreshNames)
{
    Owner owner(ZGW_OWNER_LOGON);
    Zarn* monitor = owner.createZarnMonitor();
    ASSERT_TRUE(monitor);
    const std::wstring first = presentLog(monitor);
    for (int number = 2; number <= 6; ++number) {
        EXPECT_TRUE(monitor->reestablishLogFile(false)) << monitor->getSelfDX_Code();
        EXPECT_EQ(folder.files().size(), number);
        const std::wstring present = presentLog(monitor);
        // Neither a user nor anything else but program and time.
        EXPECT_TRUE(QRegularExpression("/owner_test_[-_0-9]{23}\\.html$")
                        .match(QDir::fromNativeSeparators(QString::fromStdWString(present)))
                        .hasMatch())
            << qPrintable(QString::fromStdWString(present));
        EXPECT_TRUE(logText(present).contains(
            QString("This log file is #%1 in a series that began with %2.")
                .arg(number)
                .arg(QString::fromStdWString(first))));
    }
    EXPECT_TRUE(owner.brander()); // which the successors' makers have left alone
    wchar_t text[64];
    EXPECT_STREQ(owner.brander()->getBrandText(2, text, 64), L"Quorvane");
    EXPECT_TRUE(ZarnDataZGW::destroyZarnMonitor(monitor));
}
