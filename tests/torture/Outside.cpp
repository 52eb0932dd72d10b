// What others do to logs that are in use.
#include "Torture.h"

#include <linux/Refusals.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

using namespace zmu_test;
using namespace zmu_torture;

namespace {

/// Where the deed is done: the log that is written, the folder that it lies in, a place outside.
struct Scene {
    std::string log;
    std::string folder;
    std::string elsewhere;
};

constexpr const char* foreignText = "not ours";

long sizeOf(const Scene& scene)
{
    return static_cast<long>(std::filesystem::file_size(scene.log));
}

void cut(const Scene& scene, long size)
{
    if (truncate(scene.log.c_str(), size) != 0)
        std::_Exit(3);
}

/// What is done, and undone two seconds later.
struct Deed {
    const char* name;
    void (*commit)(const Scene& scene);
    void (*undo)(const Scene& scene) = [](const Scene&) {};
};

const Deed deeds[] = {
    {"log removed", [](const Scene& scene) { unlink(scene.log.c_str()); }},
    {"folder removed", [](const Scene& scene) { std::filesystem::remove_all(scene.folder); },
     [](const Scene& scene) { mkdir(scene.folder.c_str(), 0700); }},
    {"folder moved",
     [](const Scene& scene) { std::filesystem::rename(scene.folder, scene.elsewhere); },
     [](const Scene& scene) { mkdir(scene.folder.c_str(), 0700); }},
    {"rights taken away",
     [](const Scene& scene) {
         chmod(scene.log.c_str(), 0444);
         chmod(scene.folder.c_str(), 0555);
     },
     [](const Scene& scene) { chmod(scene.folder.c_str(), 0700); }},
    {"log replaced by another file",
     [](const Scene& scene) {
         std::ofstream(scene.elsewhere) << foreignText;
         std::filesystem::rename(scene.elsewhere, scene.log);
     },
     [](const Scene& scene) {
         std::string text;
         std::getline(std::ifstream(scene.log), text);
         if (text == foreignText)
             unlink(scene.log.c_str());
     }},
    {"log moved", [](const Scene& scene) { std::filesystem::rename(scene.log, scene.elsewhere); }},
    {"log moved, and an empty one made",
     [](const Scene& scene) {
         std::filesystem::rename(scene.log, scene.elsewhere);
         std::ofstream made(scene.log);
     },
     [](const Scene& scene) { std::filesystem::remove(scene.log); }},
    {"log emptied", [](const Scene& scene) { cut(scene, 0); }},
    {"log cut", [](const Scene& scene) { cut(scene, sizeOf(scene) / 2 & ~1L); }},
    {"log cut within a character", [](const Scene& scene) { cut(scene, sizeOf(scene) / 2 | 1); }},
    {"log cut within its tail", [](const Scene& scene) { cut(scene, sizeOf(scene) - 10); }},
};

/// How far the entries went, in a process that goes on in the meantime.
struct Story {
    std::atomic<long> kept; ///< Of what was reported before the deed: what the deed left.
    std::atomic<long> before;
    std::atomic<long> refused;
    std::atomic<bool> isBack;
};

LogReader readAll(const Place& place, const Scene& scene)
{
    LogReader logs;
    if (std::filesystem::is_directory(scene.elsewhere))
        logs.readFolder(scene.elsewhere, true);
    else if (std::filesystem::exists(scene.elsewhere))
        logs.readFile(scene.elsewhere, true);
    if (std::filesystem::exists(place.logs))
        logs.readFolder(place.logs, true);
    return logs;
}

int liveThrough(const Deed& deed, const Place& place, const Scene& scene, Story& story)
{
    constexpr int phaseMs = 2500; // a log is looked at once a second
    constexpr int paceMs = 4;
    obeyPermissions();
    Zarn* const monitor = openMonitor(place, 10000);
    for (int i = 0; i < 30; ++i)
        if (!place.ledger.report(monitor, 0))
            return 1;
    deed.commit(scene);
    story.before = place.ledger.done[0].load();
    story.kept =
        story.before - static_cast<long>(readAll(place, scene).missing(place.ledger, 0).size());
    for (int i = 0; i < phaseMs / paceMs; ++i, sleepMs(paceMs))
        story.refused += !place.ledger.report(monitor, 0);
    deed.undo(scene);
    for (int i = 0; i < phaseMs / paceMs; ++i, sleepMs(paceMs))
        story.isBack = place.ledger.report(monitor, 0);
    return 0;
}

} // namespace

void zmu_torture::meddleFromOutside(Run& run)
{
    std::vector<std::unique_ptr<Place>> places;
    std::vector<std::unique_ptr<Child>> children;
    std::vector<Story*> stories;
    std::vector<Scene> scenes;
    for (const Deed& deed : deeds) { // all at once: each takes its time
        const Place& place = *places.emplace_back(std::make_unique<Place>());
        const Scene& scene = scenes.emplace_back(
            Scene{place.logs + "/0-0.html", place.logs, place.root + "/elsewhere"});
        Story& story = *stories.emplace_back(&makeShared<Story>());
        children.push_back(
            std::make_unique<Child>([&] { return liveThrough(deed, place, scene, story); }));
    }
    for (std::size_t i = 0; i < std::size(deeds); ++i) {
        const std::string name = deeds[i].name;
        run.take(children[i]->wait(), name);
        const Story& story = *stories[i];
        const Ledger& ledger = places[i]->ledger;
        const LogReader logs = readAll(*places[i], scenes[i]);
        const std::vector<long> missing = logs.missing(ledger, 0);
        const long lost = std::count_if(missing.begin(), missing.end(), [&](long number) {
            return number < story.kept || number >= story.before;
        });
        run.count(ledger, logs, lost);
        if (lost > 0)
            run.flaw(name + ": lost " + std::to_string(lost));
        if (!story.isBack)
            run.flaw(name + ": no log came back");
        run.did << (i ? ", " : "") << name << " (" << story.before - story.kept << " destroyed, "
                << story.refused << " refused)";
    }
}
