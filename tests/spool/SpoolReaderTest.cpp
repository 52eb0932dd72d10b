// What a reader gives of spool files, in which order, and what it passes over.
#include "MadeSpools.h"
#include "Spools.h"
#include "Sweep.h"

using namespace zmu_test;
using zmu_spool::Positions;
using zmu_spool::SpoolItem;
using zmu_spool::SpoolReader;

using SpoolReading = MadeSpools;

TEST_F(SpoolReading, GivesTheLinesOfAProcessInTheirOrder)
{
    write(spoolName(2), spoolLine(3, "c"));
    write(spoolName(1), spoolLine(1, "a") + spoolLine(2, "b"));
    write(spoolName(10), spoolLine(7, "later"));
    write("something.else", "not looked at");
    Positions positions(path("positions"));
    EXPECT_EQ(readAll(positions, true),
              (Items{"1 a", "2 b", "ended " + spoolName(1), "3 c", "ended " + spoolName(2),
                     "3 missing, 7 later", "ended " + spoolName(10)}));
    EXPECT_EQ(folder.files(), (QStringList{"positions.lock", "something.else"}));

    // Numbers go on where they were, although the files have gone.
    positions.save();
    write(spoolName(11), spoolLine(9));
    write(spoolName(3, 44), spoolLine(5, "of another", 44));
    Items items = readAll(positions);
    std::sort(items.begin(), items.end());
    EXPECT_EQ(items, (Items{"1 missing, 9 text", "ended " + spoolName(3, 44),
                            "ended " + spoolName(11), "perhaps 4 missing, 5 of another"}));
}

TEST_F(SpoolReading, PassesOverWhatIsNoLine)
{
    const std::string sound = spoolLine(2);
    write(spoolName(), spoolLine(1) + "\n{}\nnot json\n" + sound + sound + spoolLine(1) +
                           spoolLine(3, "of another", 44) + "\xFF\xFE\n" + spoolLine(3) +
                           sound.substr(0, 40));
    write("odd.spool", sound);
    write("h_p_1_2_x.spool", sound);
    write("h7_pw_812_7_1.spool", sound); // the same numbers, in another spelling
    write("h_p_a_1_2_3.spool", sound);
    Positions positions(path("positions"));
    Items items = readAll(positions);
    ASSERT_EQ(items.size(), 11);
    std::sort(items.begin(), items.begin() + 4);
    EXPECT_NE(items.front().find("h7_pw_812_7_1.spool: it is not read"), items.front().npos);
    items.erase(items.begin());
    const std::string refusal = ": it is not read: no spool file has such a name";
    ASSERT_EQ(items.size(), 10);
    EXPECT_TRUE(items[0].ends_with("h_p_1_2_x.spool" + refusal)) << items[0];
    EXPECT_TRUE(items[1].ends_with("h_p_a_1_2_3.spool" + refusal)) << items[1];
    EXPECT_TRUE(items[2].ends_with("odd.spool" + refusal)) << items[2];
    EXPECT_EQ(Items(items.begin() + 3, items.end()),
              (Items{"1 text", "3 faults: byte 0: it ends too soon", "2 text",
                     "4 faults: its number, 2, is not above the one before it, 2", "3 text",
                     "torn " + sound.substr(0, 40), "ended " + spoolName()}));
}

TEST_F(SpoolReading, KeepsNoLineThatIsTooLong)
{
    const std::string huge(zmu_spool::longestLine, 'h');
    const std::string tight(zmu_spool::longestLine - spoolLine(2, "").size(), 't');
    write(spoolName(), spoolLine(1) + huge + huge + "\n" + spoolLine(2, tight) + spoolLine(3));
    write(spoolName(1, 44), spoolLine(1, "of another", 44) + huge + "end");
    Positions positions(path("positions"));
    SpoolReader reader({place()}, positions);
    Items items = readAll(reader, positions);
    std::sort(items.begin(), items.end());
    ASSERT_EQ(items.size(), 8);
    EXPECT_TRUE(items[3] == "2 " + tight);
    items.erase(items.begin() + 3);
    EXPECT_EQ(items,
              (Items{"1 faults: a line is longer than 16 MiB", "1 of another", "1 text", "3 text",
                     "ended " + spoolName(1, 44), "ended " + spoolName(), "torn "}));
    EXPECT_EQ(readAll(reader, positions), Items());
}

TEST_F(SpoolReading, GivesAgainWhatWasNotConfirmed)
{
    std::string bytes;
    for (u64 number = 1; number <= 5000; ++number)
        bytes += spoolLine(number + (number > 2500 ? 1 : 0), std::to_string(number));
    write(spoolName(), bytes);
    u64 last = 0;
    for (int round = 0; last < 5001; ++round) { // each ends without a word after 700 lines
        ASSERT_LT(round, 20);
        Positions positions(path("positions"));
        SpoolReader reader({place()}, positions);
        SpoolItem item;
        u64 given = last;
        for (int i = 0; i < 700 && reader.next(item) && item.kind == SpoolItem::Kind::Line; ++i) {
            ASSERT_EQ(item.line->sequence, given + 1 + item.missing);
            ASSERT_EQ(item.missing, given == 2500 ? 1 : 0);
            given = item.line->sequence;
            ASSERT_EQ(item.raw, bytes.substr(item.begin, item.mark.position - item.begin - 1));
            if (i >= 500)
                continue;
            last = given;
            positions.confirm(item.mark);
        }
        positions.save();
    }
}

TEST_F(SpoolReading, FollowsAProcessThatLives)
{
    qputenv("ZMU_SPOOL", QDir::toNativeSeparators(QString::fromStdString(place())).toUtf8());
    Positions positions(path("positions"));
    SpoolReader reader({place()}, positions, {.sweep = followingSweep});
    EXPECT_EQ(readAll(reader, positions), Items());
    for (int round = 1; round <= 3; ++round) {
        ASSERT_TRUE(hand(L"text"));
        Items items;
        ASSERT_TRUE(becomesTrue([&] {
            reader.wait(60'000);
            items = readAll(reader, positions);
            return !items.empty();
        }));
        EXPECT_EQ(items, Items{std::to_string(round) + " text"});
    }
    // A sweep finds what nobody has told of, although files that rest are not opened.
    Positions others;
    SpoolReader sweeping({place()}, others, {.sweep = 0});
    EXPECT_EQ(readAll(sweeping, others).size(), 3);
    EXPECT_EQ(readAll(sweeping, others), Items());
    ASSERT_TRUE(hand(L"more"));
    EXPECT_EQ(readAll(sweeping, others), Items{"4 more"});
    ASSERT_TRUE(becomesTrue([&] {
        reader.wait(60'000);
        return readAll(reader, positions) == Items{"4 more"};
    }));
    std::jthread waker([&reader] { reader.wake(); });
    reader.wait(-1);
    EXPECT_EQ(readAll(reader, positions), Items());
    EXPECT_EQ(Spools(QString::fromStdString(place())).files.size(), 1);
}

TEST_F(SpoolReading, RemovesNothingThatIsNotDone)
{
    write(spoolName(), spoolLine(1));
    Positions positions(path("positions"));
    SpoolReader reader({place()}, positions);
    SpoolItem item;
    std::string why;
    ASSERT_TRUE(reader.next(item));
    const zmu_spool::Mark mark = item.mark;
    EXPECT_FALSE(reader.remove(*mark.file, why));
    EXPECT_NE(why.find("it has not ended"), why.npos) << why;
    ASSERT_TRUE(reader.next(item));
    EXPECT_FALSE(reader.remove(*mark.file, why));
    EXPECT_NE(why.find("not confirmed"), why.npos) << why;
    positions.confirm(mark);
    write(spoolName(), spoolLine(1) + spoolLine(2)); // by somebody else
    EXPECT_FALSE(reader.remove(*mark.file, why));
    EXPECT_NE(why.find("another size"), why.npos) << why;
    // As after a loss of power: what it had was read.
    write(spoolName(), "x");
    const Items items = readAll(positions, true);
    ASSERT_EQ(items.size(), 2);
    EXPECT_NE(items[0].find("it has 1 bytes, and was read up to byte"), why.npos) << items[0];
    EXPECT_EQ(items[1], "ended " + spoolName());
    EXPECT_FALSE(folder.files().contains(QString::fromStdString(spoolName())));
    EXPECT_THROW(SpoolReader({path("missing")}, positions), std::runtime_error);
}

TEST_F(SpoolReading, RemovesLaterWhatCouldNotBeRemoved)
{
    write(spoolName(1), spoolLine(1));
    write(spoolName(1, 44), spoolLine(1, "kept", 44));
    Positions positions(path("positions"));
    SpoolReader reader({place()}, positions, {.sweep = 0});
    zmu_spool::Removals removals(reader, std::chrono::milliseconds(0));
    std::vector<zmu_spool::Mark> ends;
    SpoolItem item;
    while (reader.next(item)) {
        if (item.kind == SpoolItem::Kind::Ended)
            ends.push_back(item.mark);
    }
    ASSERT_EQ(ends.size(), 2);
    int told = 0;
    const auto attempt = [&] { removals.attempt([&](const std::string&) { ++told; }); };
    for (const zmu_spool::Mark& end : ends)
        removals.add(end.file);
    attempt(); // nothing is confirmed
    attempt();
    EXPECT_EQ(told, 2);
    for (const zmu_spool::Mark& end : ends)
        positions.confirm(end);
    QFile::remove(QString::fromStdString(ends[0].file->path())); // somebody else is quicker
    EXPECT_EQ(readAll(reader, positions), Items());
    EXPECT_EQ(positions.positionOf(*ends[0].file), 0);
    attempt();
    EXPECT_EQ(told, 2);
    EXPECT_EQ(folder.files(), QStringList{"positions.lock"});
}

TEST_F(SpoolReading, TakesTurnsWhereThereAreTooManyFiles)
{
    constexpr int junkQty = 300;
    Items expected;
    for (int number = 1; number <= 7; ++number) {
        write(spoolName(number), spoolLine(static_cast<u64>(number)));
        expected.push_back(std::to_string(number) + " text");
    }
    for (int i = 0; i < junkQty; ++i)
        write('x' + std::to_string(i) + ".spool", "");
    Positions positions;
    SpoolReader reader({place()}, positions, {.sweep = 0, .filesMax = 2});
    Items items = readAll(reader, positions);
    EXPECT_EQ(
        std::erase_if(items, [](const auto& item) { return item.ends_with("has such a name"); }),
        256);
    EXPECT_EQ(std::erase_if(items, [](const auto& item) { return item.starts_with("ended"); }), 7);
    ASSERT_EQ(items.size(), 9);
    EXPECT_EQ(Items(items.begin() + 2, items.end()), expected);
    EXPECT_EQ(readAll(reader, positions), Items()); // and nothing is told again
    EXPECT_EQ(reader.heldBack(), Items());
}
