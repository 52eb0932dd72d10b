// The file of positions of a collector from servers.
#include "Support.h"

#include <tools/collect/ServedPositions.h>

#include <gtest/gtest.h>

#include <stdexcept>

using zmu_tools::collect::ServedPositions;
using namespace zmu_test;

TEST(ServedPositionsTest, AreAsTheyWereSavedAndNotTakenFromAChangedFile)
{
    const Folder folder;
    const std::string path = QString::fromStdWString(folder.path("positions")).toStdString();
    constexpr zmu::i64 memory = 60;
    const std::vector<std::string> logs = {"/a b/c,d\n.html", "/\xC3\xA4 100%"};
    std::string id;
    {
        ServedPositions positions(path, memory);
        id = positions.id();
        positions.setLogs(logs);
        positions.setLast("h7.me.1.2", 12345);
        positions.save({5, 6, 7, 8}, 9);
        EXPECT_THROW(ServedPositions(path, memory), std::runtime_error); // it is in use
    }
    {
        const ServedPositions positions(path, memory);
        EXPECT_EQ(positions.id(), id);
        EXPECT_EQ(positions.logs(), logs);
        EXPECT_EQ(positions.lastOf("h7.me.1.2"), 12345U);
        EXPECT_EQ(positions.bookmark().place, 5U);
        EXPECT_EQ(positions.bookmark().time, 6);
        EXPECT_EQ(positions.bookmark().streamMade, 7);
        EXPECT_EQ(positions.bookmark().highest, 8U);
        EXPECT_EQ(positions.since(), 9);
    }
    const QByteArray sound = folder.read("positions");
    const auto whyNot = [&](QByteArray bytes, const char* from, const char* to) {
        folder.write("positions", bytes.replace(from, to));
        try {
            const ServedPositions positions(path, memory);
            return std::string("it was taken");
        } catch (const std::runtime_error& error) {
            return std::string(error.what());
        }
    };
    EXPECT_NE(whyNot(sound, "12345", "12346").find("the file is damaged"), std::string::npos);
    EXPECT_NE(whyNot(sound, "positions 2", "positions 3").find("of another version"),
              std::string::npos);
}
