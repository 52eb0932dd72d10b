// A data set's settings, its hand-over to another, and its engines.
#include "Reporter.h"

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <thread>

using namespace zmu_test;

TEST(DataSet, SettersHaveRangesAndEndWithInitialize)
{
    using Setter = bool (ZarnData::*)(int);
    const struct {
        const char* what;
        Setter set;
        int lowest;
        int highest;
        bool endsWithInitialize;
    } rows[] = {
        {"args int", &ZarnData::setArgsIntQty, 0, 99, true},
        {"args str", &ZarnData::setArgsStrQty, 0, 99, true},
        {"args uint", &ZarnData::setArgsUIntQty, 0, 99, true},
        {"fillers", &ZarnData::setDescriptionFillersQty, 5, 99, true},
        {"character set", &ZarnData::setCharSetExternal, 0, 2, true},
        {"affix min", &ZarnData::setDescriptionAffixID_Min, 1, 32767, false},
        {"affixes", &ZarnData::setDescriptionAffixIDsQty, -1, 32767, false},
    };
    const Folder folder;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        ZarnData data;
        makeReady(data, folder.path("log.html"));
        EXPECT_FALSE((data.*row.set)(row.highest + 1));
        EXPECT_EQ((data.*row.set)(row.lowest - 1), row.lowest < 0);
        EXPECT_TRUE((data.*row.set)(row.lowest));
        EXPECT_TRUE((data.*row.set)(row.highest));
        EXPECT_TRUE(data.initialize());
        EXPECT_EQ((data.*row.set)(row.highest), !row.endsWithInitialize);
    }

    ZarnData data;
    makeReady(data, folder.path("log.html"));
    EXPECT_EQ(data.setSelfDX_FaultTolerance(Zarn_TOLERANCE_FORGIVING), Zarn_TOLERANCE_NONE);
    EXPECT_EQ(data.setSelfDX_FaultTolerance(Zarn_TOLERANCE_RESERVED), Zarn_TOLERANCE_FORGIVING);
    EXPECT_EQ(data.setSelfDX_FaultTolerance(Zarn_TOLERANCE_UNSET), Zarn_TOLERANCE_FORGIVING);
    EXPECT_EQ(data.getSelfDX_FaultTolerance(), Zarn_TOLERANCE_FORGIVING);
    EXPECT_EQ(data.sizeMapOfDataForThreads(0), 17U);
    EXPECT_EQ(data.sizeMapOfDataForThreads(3), 17U); // the 0 was not stored
}

TEST(DataSet, TextsAreCopiedAndCut)
{
    ZarnData data;
    std::wstring text = L"K\u00f6ln";
    constexpr auto tag = static_cast<Zarn_FORM_TAG>(3);
    EXPECT_TRUE(data.recordTag(text.c_str(), tag));
    text[0] = L'M';
    EXPECT_STREQ(data.getTag(tag), L"K\u00f6ln");

    wchar_t wide[4];
    EXPECT_EQ(data.getTag(wide, 4, tag), wide);
    EXPECT_STREQ(wide, L"K\u00f6l");
    char narrow[16];
    data.getTag(narrow, 16, tag);
    EXPECT_STREQ(UTL_String(narrow).wideText(), L"K\u00f6ln");
    // All of the buffer is written, and of one without room the first element.
    std::wstring filled(8, L'#');
    data.getTag(filled.data(), 7, tag);
    EXPECT_EQ(filled, std::wstring(L"K\u00f6ln\0\0\0#", 8));
    data.getTag(filled.data(), 7, static_cast<Zarn_FORM_TAG>(4)); // has no value
    EXPECT_EQ(filled, std::wstring(7, L'\0') + L"#");
    for (const auto size : {std::size_t{0}, std::size_t{1}}) {
        wide[0] = wide[1] = L'#';
        narrow[0] = narrow[1] = '#';
        data.getTag(wide, size, tag);
        data.getTag(narrow, size, tag);
        EXPECT_EQ(std::wstring(wide, 2), std::wstring(L"\0#", 2));
        EXPECT_EQ(std::string(narrow, 2), std::string("\0#", 2));
    }

    for (const int unknown : {-1, 15}) {
        EXPECT_FALSE(data.recordTag(L"x", static_cast<Zarn_FORM_TAG>(unknown)));
        EXPECT_EQ(data.getTag(static_cast<Zarn_FORM_TAG>(unknown)), nullptr);
    }
}

TEST(DataSet, CountersSaturate)
{
    ZarnData data;
    EXPECT_EQ(data.decrementSituationsCount(1), 0U);
    EXPECT_EQ(data.incrementSituationsCount(0xFFFFFFFE), 0xFFFFFFFE);
    EXPECT_EQ(data.incrementSituationsCount(5), 0xFFFFFFFF);
    EXPECT_EQ(data.decrementSituationsCount(0xFFFFFFFE), 1U);
    EXPECT_EQ(data.getSituationsQty(), 0U);
}

TEST(DataSet, HandsEverythingOver)
{
    const Folder folder;
    strings()[100] = L"2~0~1~u0~|~``Shown %1!u!.`|``Number %1!u!.`";
    OpenData heir;
    {
        OpenData source;
        makeReady(source, folder.path("log.html"));
        source.recordDialogBoxCaption(L"Caption");
        source.recordTag(L"tag", static_cast<Zarn_FORM_TAG>(0));
        source.setDescriptionFillersQty(7);
        source.createPlugIns(2)[1] = [](const Zarn*) { return true; };
        source.setBehaviorCriteria(ZARN_RESPOND_MASK);
        ASSERT_TRUE(source.establishLogFile(true)) << source.getSelfDX_Code();
        source.recordSituationID(100);
        source.recordArgument(42U, 0);

        // A lock or an open log is in the way, and so is nothing to take.
        EXPECT_FALSE(source.assimilateDataSetContents(&heir));
        EXPECT_EQ(source.getSelfDX_Code(), dx::AssimilateRefused);
        source.forgetSelfDX_Code();
        EXPECT_EQ(source.getSituationID(), 100); // still at work
        EXPECT_FALSE(heir.assimilateDataSetContents(nullptr));
        EXPECT_EQ(heir.getSelfDX_Code(), dx::AssimilateRefused);
        heir.forgetSelfDX_Code();

        ASSERT_TRUE(heir.assimilateDataSetContents(&source)) << heir.getSelfDX_Code();

        EXPECT_EQ(source.obtainDataForCurrentThread(true), nullptr);
        EXPECT_FALSE(source.respondToSituation());
        EXPECT_FALSE(source.isValid());
    }
    // The engine has moved with its situation and works for its new data set.
    EXPECT_EQ(heir.getSituationID(), 100);
    EXPECT_EQ(heir.getDescriptionFillersQty(), 7);
    EXPECT_EQ(heir.getPlugInsQty(), 2);
    EXPECT_STREQ(heir.getTag(static_cast<Zarn_FORM_TAG>(0)), L"tag");
    EXPECT_TRUE(heir.respondToSituation()) << heir.getSelfDX_Code();
    EXPECT_EQ(entriesOf(folder.path("log.html")), QStringList{"Number 42."});
    EXPECT_EQ(shown().text, L"Shown 42.");
    EXPECT_EQ(shown().caption, L"Caption");
}

TEST(DataSet, HeldCodeStopsOrIsForgiven)
{
    strings()[100] = L"2~0||``Fine.`";
    strings()[200] = L"3~0||``Of no kind.`";
    for (const bool isForgiving : {false, true}) {
        SCOPED_TRACE(isForgiving ? "forgiving" : "strict");
        const Reporter reporter([&](OpenData& data) {
            data.setSelfDX_FaultTolerance(isForgiving ? Zarn_TOLERANCE_FORGIVING
                                                      : Zarn_TOLERANCE_NONE);
        });
        ASSERT_TRUE(reporter.get());
        char* noArguments = nullptr;
        EXPECT_FALSE(reporter->respondToSituation(200, &noArguments, nullptr));
        EXPECT_EQ(reporter->getSelfDX_Code(), dx::KindOutOfRange);
        EXPECT_EQ(reporter->respondToSituation(100, &noArguments, nullptr), isForgiving);
        EXPECT_EQ(reporter->getSelfDX_Code(), isForgiving ? 0 : dx::KindOutOfRange);
        // A missing spec would give another code if it were looked for.
        reporter.report(999);
        EXPECT_EQ(reporter->getSelfDX_Code(), isForgiving ? dx::SpecNotLoaded : dx::KindOutOfRange);
        reporter.recover();
        EXPECT_TRUE(reporter->respondToSituation(100, &noArguments, nullptr));
        EXPECT_EQ(reporter.entries().size(), isForgiving ? 2 : 1);
    }
}

TEST(DataSet, CodeOfTheDataSetHidesItsEngines)
{
    Established data;
    data.recordSituationID(7);
    data.recordArgument(1U, 0);

    data.setSelfDX_Code(dx::NoMap);
    EXPECT_EQ(data.obtainDataForCurrentThread(true), nullptr);
    EXPECT_EQ(data.getSituationID(), 0);
    EXPECT_TRUE(data.isSituationNormal());
    EXPECT_EQ(data.getArg_UInt(0), 0U);
    EXPECT_EQ(data.getDescriptionFillers(), nullptr);
    EXPECT_EQ(data.recordArgument(2U, 0), -1);
    EXPECT_FALSE(data.forgetSituation());
    EXPECT_FALSE(data.removeThread());
    EXPECT_EQ(data.getSelfDX_Code(), dx::NoMap);

    data.forgetSelfDX_Code();
    EXPECT_EQ(data.getSituationID(), 7); // hidden, not lost
    EXPECT_EQ(data.getArg_UInt(0), 1U);
}

TEST(DataSet, OnlyWhoBeginsWorkIsForgiven)
{
    strings()[100] = L"2~0~1~u0||``Number %1!u!.`";
    Established data;
    data.setSelfDX_FaultTolerance(Zarn_TOLERANCE_FORGIVING);
    data.recordSituationID(100);
    data.setSelfDX_Code(dx::NoMap);
    EXPECT_EQ(data.getSituationID(), 0);
    EXPECT_FALSE(data.forgetSituation());
    EXPECT_EQ(data.getSelfDX_Code(), dx::NoMap); // nobody who asked has erased it

    EXPECT_EQ(data.recordArgument(5U, ZARN_ARG_NEXT), 0);
    EXPECT_EQ(data.getSelfDX_Code(), 0);
    data.setSelfDX_Code(dx::NoMap);
    EXPECT_TRUE(data.respondToSituation());
    EXPECT_EQ(data.entries(), QStringList{"Number 5."});
}

TEST(DataSet, LockThatThrowsEndsTheOperation)
{
    struct Throwing : OpenData {
        bool enterCriticalSection() const override
        {
            if (throwsAtEntering)
                throw std::runtime_error("enter");
            return OpenData::enterCriticalSection();
        }
        bool leaveCriticalSection() const override
        {
            OpenData::leaveCriticalSection();
            if (throwsAtLeaving)
                throw std::runtime_error("leave");
            return true;
        }
        bool throwsAtEntering = false;
        bool throwsAtLeaving = false;
    };
    struct Front : Zarn {
        explicit Front(ZarnData* data) : Zarn(data) {}
    };
    strings()[100] = L"2~0||``t`";
    const Folder folder;
    auto owned = std::make_unique<Throwing>();
    Throwing& data = *owned;
    makeReady(data, folder.path("log.html"));
    data.throwsAtEntering = true;
    EXPECT_FALSE(data.initialize());
    EXPECT_EQ(data.getSelfDX_Code(), dx::ObtainEngineUnexpected);
    data.throwsAtEntering = false;
    data.forgetSelfDX_Code();
    ASSERT_TRUE(data.establishLogFile(true)) << data.getSelfDX_Code();

    Front monitor(owned.release());
    void* const module = GetModuleHandleW(nullptr);
    char* none = nullptr;
    const auto reports = [&] {
        const bool answers[] = {data.respondToSituation(), data.respondToSituation(&none),
                                monitor.respondToSituation(100, &none, module)};
        return std::count(std::begin(answers), std::end(answers), true);
    };
    data.throwsAtEntering = true;
    EXPECT_EQ(reports(), 0);
    EXPECT_EQ(data.getSelfDX_Code(), dx::RespondUnexpected);
    EXPECT_FALSE(monitor.respondToSituation(100, module)); // though this form forgives the rest
    EXPECT_EQ(data.setResourceModule(module), nullptr);
    std::thread([&] {
        EXPECT_FALSE(data.respondToSituation()); // there is no engine to be had
        EXPECT_EQ(data.getSelfDX_Code(), dx::ObtainEngineUnexpected);
        data.setSelfDX_Code(0);
    }).join();
    data.throwsAtEntering = false;
    data.throwsAtLeaving = true;
    data.forgetSelfDX_Code();
    EXPECT_EQ(reports(), 0);
    EXPECT_EQ(data.getSelfDX_Code(), dx::LockNotLeft);
    EXPECT_EQ(data.setResourceModule(module), module);

    data.throwsAtLeaving = false;
    data.forgetSelfDX_Code();
    data.recordSituationID(100);
    EXPECT_TRUE(data.respondToSituation());
}

TEST(DataSet, EngineGoesIfTheDataSetFailsMeanwhile)
{
    static OpenData* failing = nullptr;
    static int engines = 0;
    struct Counted : ZarnDataForThread {
        Counted() { ++engines; }
        ~Counted() override { --engines; }
    };
    Established data;
    failing = &data;
    data.setEngineFactory([]() -> ZarnDataForThread* {
        failing->setSelfDX_Code(dx::NoMap); // as another thread would
        return new Counted;
    });
    std::thread([&] {
        EXPECT_EQ(data.obtainDataForCurrentThread(true), nullptr);
        EXPECT_EQ(engines, 0);
        EXPECT_EQ(data.getSelfDX_Code(), dx::NoMap);
        data.setSelfDX_Code(0);
        EXPECT_EQ(data.obtainDataForCurrentThread(false), nullptr);
    }).join();
    failing = nullptr;
}

TEST(DataSet, EngineThatCannotBeMadeLeavesItsCode)
{
    const struct {
        int code;
        Reporter::Change change;
        Reporter::Change mend;
    } rows[] = {
        {dx::NoDescriptionFillers, [](OpenData& data) { data.m_descriptionFillersQty = 100; },
         [](OpenData& data) { data.setDescriptionFillersQty(5); }},
        {dx::MapSizeZero, [](OpenData& data) { data.m_sizeMapOfDataForThreads = 0; },
         [](OpenData& data) { data.sizeMapOfDataForThreads(1); }},
        {dx::NoEngine,
         [](OpenData& data) {
             data.setEngineFactory([]() -> ZarnDataForThread* { return nullptr; });
         },
         [](OpenData& data) { data.setEngineFactory([] { return new ZarnDataForThread; }); }},
        {dx::LockRefused, [](OpenData& data) { data.refusesToEnter = true; },
         [](OpenData& data) { data.refusesToEnter = false; }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.code);
        const Folder folder;
        OpenData data;
        makeReady(data, folder.path("log.html"));
        row.change(data);
        EXPECT_FALSE(data.establishLogFile(true));
        EXPECT_EQ(data.getSelfDX_Code(), row.code);
        EXPECT_EQ(folder.files(), QStringList());
        // Still configurable, and as good as new.
        row.mend(data);
        data.forgetSelfDX_Code();
        EXPECT_TRUE(data.establishLogFile(true)) << data.getSelfDX_Code();
    }

    ZarnData data; // no character set, hence no place for strings
    EXPECT_TRUE(data.setArgsStrQty(1));
    EXPECT_FALSE(data.initialize());
    EXPECT_EQ(data.getSelfDX_Code(), dx::NoArgsStr);
    ZarnDataForThread engine;
    EXPECT_FALSE(engine.initialize(nullptr));
    EXPECT_EQ(engine.getSelfDX_Code(), dx::NoDataSet);
}

TEST(DataSet, RemovedThreadBeginsAnew)
{
    OpenData unset;
    EXPECT_FALSE(unset.removeThread());
    EXPECT_EQ(unset.getSelfDX_Code(), dx::RemoveThreadNoMap);
    Established data;

    data.recordSituationID(7);
    data.recordArgument(1, 0);
    EXPECT_TRUE(data.removeThread());
    EXPECT_EQ(data.obtainDataForCurrentThread(false), nullptr);
    EXPECT_TRUE(data.removeThread()); // nothing to remove is a success
    EXPECT_TRUE(data.isSituationNormal());
    EXPECT_EQ(data.recordArgument(1, ZARN_ARG_NEXT), 0);

    // A code that is held is in the way, and the engine stays.
    data.recordSituationID(999);
    EXPECT_FALSE(data.respondToSituation());
    EXPECT_FALSE(data.removeThread());
    EXPECT_EQ(data.getSelfDX_Code(), dx::SpecNotLoaded);
    EXPECT_NE(data.obtainDataForCurrentThread(false), nullptr);
}
