// The file of positions: what it keeps, and what becomes of a damaged one.
#include "MadeSpools.h"

using namespace zmu_test;
using zmu_spool::Positions;
using zmu_spool::SpoolFile;

using KeptPositions = MadeSpools;

namespace {

std::shared_ptr<const SpoolFile> spoolFile(const std::string& name)
{
    SpoolFile file;
    file.folder = "/a folder\nof spöols";
    file.user = "1000";
    file.source = "1000/" + name.substr(0, name.rfind('_'));
    EXPECT_TRUE(zmu_spool::parseSpoolName(name, file));
    return std::make_shared<const SpoolFile>(file);
}

} // namespace

TEST_F(KeptPositions, ComeBack)
{
    const auto first = spoolFile(spoolName(1));
    const auto second = spoolFile(spoolName(2));
    {
        Positions positions(path("positions"));
        EXPECT_FALSE(positions.isKept());
        positions.setNote("100 % of\na log");
        positions.confirm({first, 1000, 7});
        positions.confirm({second, 20, 9});
        positions.forget(*first);
        positions.save();
        EXPECT_THROW(Positions(path("positions")), std::runtime_error); // it has it
        positions.confirm({second, 30, 10});                            // and never saves that
    }
    const Positions positions(path("positions"));
    EXPECT_TRUE(positions.isKept());
    EXPECT_EQ(positions.note(), "100 % of\na log");
    EXPECT_EQ(positions.positionOf(*first), 0);
    EXPECT_EQ(positions.positionOf(*second), 20);
    EXPECT_EQ(positions.sequenceOf(*first), 9);
    EXPECT_FALSE(folder.files().contains("positions.new"));
}

TEST_F(KeptPositions, AreNotTakenFromADamagedFile)
{
    {
        Positions positions(path("positions"));
        positions.confirm({spoolFile(spoolName(1)), 1000, 7});
        positions.save();
    }
    const QByteArray sound = folder.read("positions");
    std::vector<QByteArray> damaged = {"", sound + "\n", sound + sound,
                                       QByteArray(sound.size(), '\0')};
    for (qsizetype i = 0; i < sound.size(); i += 3) {
        damaged.push_back(sound.left(i));
        damaged.push_back(sound);
        damaged.back()[i] = static_cast<char>(sound[i] ^ 4);
    }
    for (const QByteArray& bytes : damaged) {
        folder.write("positions", bytes);
        try {
            const Positions positions(path("positions"));
            ADD_FAILURE() << bytes.toStdString();
        } catch (const std::runtime_error& error) {
            EXPECT_NE(std::string(error.what()).find("positions: the file is damaged"),
                      std::string::npos)
                << error.what();
        }
    }
    folder.write("positions", QByteArray(sound).replace("positions 2", "positions 1"));
    try {
        const Positions positions(path("positions"));
        ADD_FAILURE();
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find("of another version"), std::string::npos);
    }
    EXPECT_THROW(Positions(path("missing/positions")), std::runtime_error);
}

TEST_F(KeptPositions, StayAsTheyWereIfTheyCannotBeSaved)
{
    Positions positions(path("positions"));
    positions.confirm({spoolFile(spoolName(1)), 1000, 7});
    positions.save();
    const QByteArray saved = folder.read("positions");
    folder.makeFolder("positions.new"); // where the next ones would be written
    positions.confirm({spoolFile(spoolName(1)), 2000, 8});
    EXPECT_THROW(positions.save(), std::runtime_error);
    EXPECT_EQ(folder.read("positions"), saved);
    QDir(QString::fromStdString(path("positions.new"))).removeRecursively();
    positions.save();
    EXPECT_NE(folder.read("positions"), saved);
}
