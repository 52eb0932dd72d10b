// How each operation of the status dialog fails.
#include "Allocations.h"
#include "Dialogs.h"

#include <zmu/notify/StatusCodes.h>

#include <initializer_list>

namespace {

using namespace zmu_test;
namespace status = zmu::status;

class StatusCodes : public Dialogs {};

i64 ownProcedure(HWND, unsigned int, u64, i64)
{
    return 0;
}

TEST_F(StatusCodes, OfCreationFromAResource)
{
    const struct {
        const wchar_t* file;
        int dialog;
        int text;
        int code;
    } cases[] = {
        {nullptr, 100, 1000, status::ResourceBadArguments},
        {L"", 100, 1000, status::ResourceBadArguments},
        {program, 0, 1000, status::ResourceBadArguments},
        {program, 28672, 1000, status::ResourceBadArguments},
        {program, 100, 7, status::TextControlBad},
        {program, 100, 57344, status::TextControlBad},
        {L"no_such_module.dll", 100, 1000, status::ModuleNotLoaded},
        // Where dialogs are resources.
        {program, 28671, 1000, status::DialogNotCreated},
        {program, 100, 57343, status::TextControlNotFound},
    };
    for (const auto& [file, dialog, text, code] : cases) {
        if (!isWindows() && (dialog == 28671 || text == 57343))
            continue;
        EXPECT_EQ(ZarnStatusReporter::create(nullptr, 0, file, 0, dialog, text, nullptr, nullptr),
                  nullptr);
        EXPECT_EQ(ZarnStatusReporter::getDX_Code1(), code);
        EXPECT_EQ(ZarnStatusReporter::getLoneInstance(), nullptr);
    }
    EXPECT_NE(ZarnStatusReporter::create(nullptr, 0, program, 0, 100, textID, nullptr, nullptr),
              nullptr)
        << ZarnStatusReporter::getDX_Code1();
    EXPECT_EQ(ZarnStatusReporter::getDX_Code1(), 0);
}

TEST_F(StatusCodes, OfAdoption)
{
    /// The built-in procedure, which an adopted dialog must not have.
    struct BuiltIn : ZarnStatusReporter {
        static DLGPROC get() { return &BuiltIn::processDialogMessages; }
    };
    auto* const dialog = makeDialog(ownProcedure);
    ASSERT_NE(dialog, nullptr);
    const struct {
        HWND dialog;
        int text;
        DLGPROC procedure;
        const wchar_t* file;
        int code;
    } cases[] = {
        {nullptr, textID, ownProcedure, program, status::AdoptBadArguments},
        {dialog, textID, ownProcedure, L"", status::AdoptBadArguments},
        {dialog, textID, nullptr, program, status::AdoptBadProcedure},
        {dialog, textID, BuiltIn::get(), program, status::AdoptBadProcedure},
        {dialog, textID, ownProcedure, L"no_such_module.dll", status::ModuleNotLoaded},
        {dialog, 7, ownProcedure, program, status::TextControlBad},
        {reinterpret_cast<HWND>(u64{1}), textID, ownProcedure, program, status::TextControlBad},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(ZarnStatusReporter::create(row.dialog, row.text, row.procedure, row.file, 0),
                  nullptr);
        EXPECT_EQ(ZarnStatusReporter::getDX_Code1(), row.code);
    }
    EXPECT_TRUE(IsWindow(dialog));

    ZarnStatusReporter* const reporter =
        ZarnStatusReporter::create(dialog, textID, ownProcedure, program, 0);
    ASSERT_NE(reporter, nullptr);
    EXPECT_EQ(makeReporter(), nullptr);
    EXPECT_EQ(ZarnStatusReporter::getDX_Code1(), status::ResourceSecond);
    EXPECT_EQ(ZarnStatusReporter::create(dialog, textID, ownProcedure, program, 0), nullptr);
    EXPECT_EQ(ZarnStatusReporter::getDX_Code1(), status::AdoptSecond);
    EXPECT_EQ(ZarnStatusReporter::getLoneInstance(), reporter);
    EXPECT_TRUE(reporter->updateDisplay(L"unharmed"));
    EXPECT_EQ(shownText(), L"unharmed");
    EXPECT_TRUE(DestroyWindow(dialog));
}

TEST_F(StatusCodes, OfTextsAndStrings)
{
    strings()[8] = L"eight";
    strings()[9] = L"";
    strings()[57344] = L"beyond";
    ZarnStatusReporter* const reporter = makeReporter();
    ASSERT_NE(reporter, nullptr);
    const auto code = [](bool succeeded) {
        EXPECT_EQ(succeeded, ZarnStatusReporter::getDX_Code1() == 0);
        return ZarnStatusReporter::getDX_Code1();
    };
    EXPECT_EQ(code(reporter->composeTextMessage(nullptr)), status::ComposeNoFormat);
    EXPECT_EQ(code(reporter->updateDisplay(static_cast<const wchar_t*>(nullptr))),
              status::NotUsable);
    EXPECT_EQ(code(reporter->updateDisplay(7u, nullptr)), status::StringBadArguments);
    EXPECT_EQ(code(reporter->updateDisplay(57344u, nullptr)), status::StringBadArguments);
    EXPECT_EQ(code(reporter->updateDisplay(9u, nullptr)), status::StringNotLoaded);
    EXPECT_EQ(code(reporter->updateDisplay(10u, nullptr)), status::StringNotLoaded);
    EXPECT_EQ(ZarnStatusReporter::getDX_Code2(), 2u);
    EXPECT_EQ(code(reporter->updateDisplay(8u, nullptr)), 0);
    EXPECT_EQ(shownText(), L"eight");
    EXPECT_EQ(code(reporter->setDLL_Resources(static_cast<HINSTANCE>(nullptr))),
              status::ResourcesNoModule);
    EXPECT_EQ(code(reporter->setDLL_Resources(L"", 0)), status::ResourcesNoFile);
    EXPECT_EQ(code(reporter->setDLL_Resources(L"no_such_module.dll", 0)), status::ModuleNotLoaded);
    EXPECT_EQ(code(reporter->updateDisplay(8u, nullptr)), status::StringBadArguments);
    EXPECT_EQ(code(reporter->setDLL_Resources(GetModuleHandleW(nullptr))), 0);
    EXPECT_EQ(code(reporter->updateDisplay(8u, nullptr)), 0);
    EXPECT_EQ(code(ZarnStatusReporter::updateDisplay(static_cast<const Zarn*>(nullptr))),
              status::MonitorMissing);

    HINSTANCE module = GetModuleHandleW(nullptr);
    bool isLoaded = false;
    EXPECT_EQ(code(ZarnStatusReporter::obtainModuleHandle(program, 0, module, isLoaded)),
              status::ModuleTwice);
    module = nullptr;
    EXPECT_EQ(code(ZarnStatusReporter::obtainModuleHandle(nullptr, 0, module, isLoaded)),
              status::ModuleNoFile);

    // The dialog is destroyed from elsewhere.
    auto* const dialog = reporter->getDialogWindowHandle();
    EXPECT_EQ(code(ZarnStatusReporter::centerWindow(nullptr, nullptr)), status::CenterBadWindow);
    EXPECT_TRUE(DestroyWindow(dialog));
    EXPECT_FALSE(reporter->isViable());
    EXPECT_EQ(reporter->getDialogWindowHandle(), nullptr);
    EXPECT_EQ(code(reporter->updateDisplay(L"late")), status::NotUsable);
    EXPECT_EQ(code(ZarnStatusReporter::centerWindow(dialog, nullptr)), status::CenterBadWindow);
    EXPECT_TRUE(reporter->appear());
    EXPECT_FALSE(reporter->disappear());
    EXPECT_FALSE(reporter->isVisible());
    ZarnStatusReporter::destroy();
    EXPECT_NE(makeReporter(), nullptr);
}

TEST_F(StatusCodes, OfASubclassBesideAReporter)
{
    struct Second : ZarnStatusReporter {
        Second() : ZarnStatusReporter(L"", 0, program, 0, dialogID, textID, nullptr, nullptr) {}
        explicit Second(HWND dialog) : ZarnStatusReporter(dialog, textID, ownProcedure, program, 0)
        {}
        static bool canTakeFont(const ZarnStatusReporter& reporter)
        {
            return (reporter.*&Second::establishDlgBoxLogicalFont)();
        }
    };
    const ZarnStatusReporter* const reporter = makeReporter();
    ASSERT_NE(reporter, nullptr);
    const auto codeOf = [](auto... dialog) {
        try {
            const Second second(dialog...);
            return 0;
        } catch (int code) {
            return code;
        }
    };
    EXPECT_EQ(codeOf(), status::ResourceInstanceExists);
    EXPECT_EQ(codeOf(reporter->getDialogWindowHandle()), status::AdoptInstanceExists);
    EXPECT_EQ(ZarnStatusReporter::getDX_Code1(), status::AdoptInstanceExists);
    EXPECT_FALSE(Second::canTakeFont(*reporter)); // It still has its own.
    EXPECT_TRUE(reporter->updateDisplay(L"unharmed"));
}

TEST_F(StatusCodes, OfEachAllocationThatFails)
{
    if (!canFailAllocations)
        GTEST_SKIP() << cannotFail;
    for (const bool goesOn : {false, true}) {
        bool isFirst = true;
        failEachAllocation(goesOn, [&](const auto& failingIn) {
            const Traces traces;
            bool isShown = false;
            int code = 0;
            const bool hasFailed = failingIn([&] {
                const ZarnStatusReporter* const reporter = makeReporter();
                isShown = reporter && reporter->appear() &&
                          reporter->updateDisplay(L"as longer texts are");
                code = ZarnStatusReporter::getDX_Code1();
            });
            EXPECT_TRUE(!isFirst || code == status::ResourceUnexpected) << code;
            EXPECT_EQ(isShown, code == 0);
            EXPECT_TRUE(isShown || hasFailed);
            EXPECT_TRUE(!isShown || shownText() == L"as longer texts are");
            ZarnStatusReporter::destroy();
            isFirst = false;
            return hasFailed;
        });
    }
}

} // namespace
