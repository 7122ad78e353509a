// The server program end to end: it runs the demo world in a temporary folder, is stopped by
// signals, and is started again on the same save folder.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "../TestFiles.h"
#include "HostProcess.h"

namespace fs = std::filesystem;

namespace {

using testfiles::ReadAll;
using ::testing::HasSubstr;
using ::testing::Not;

// Entity id -> "module type x y z qw qx qy qz" (exact, in hexadecimal floating point).
using Poses = std::map<std::string, std::string>;

class ServerProcess : public HostProcess {
protected:
    ServerProcess() : HostProcess(ZENDOLA_SERVER_PROGRAM, "zendola-server-test") {}

    // The poses written under `label` ("loaded" or "saved") in a --poses file.
    static Poses ReadPoses(const fs::path& file, const std::string& label) {
        Poses poses;
        std::istringstream lines(ReadAll(file));
        for (std::string line; std::getline(lines, line);) {
            std::istringstream words(line);
            std::string what, id, rest;
            words >> what >> id;
            if (what == label && std::getline(words, rest)) poses[id] = rest;
        }
        return poses;
    }
};

TEST_F(ServerProcess, SigtermSavesTheWorldAndARestartRestoresEveryPose) {
    const std::string poses1 = (root / "poses1.txt").string(), poses2 = (root / "poses2.txt").string();
    pid_t pid = Start("first", {"--rate", "200", "--progress", "0.25", "--poses", poses1});
    ASSERT_TRUE(WaitForTicks("first", 300)) << Out("first") << Err("first");
    ASSERT_EQ(kill(pid, SIGTERM), 0);
    ASSERT_EQ(Wait(pid), 0) << Err("first");
    EXPECT_THAT(Out("first"), HasSubstr("new world"));
    EXPECT_THAT(Out("first"), HasSubstr("Stopping on signal 15"));

    Poses saved = ReadPoses(poses1, "saved");
    EXPECT_TRUE(ReadPoses(poses1, "loaded").empty());
    ASSERT_EQ(saved.size(), 13u) << ReadAll(poses1);  // slab, 9 boxes, buoy, vehicle, glider
    std::map<std::string, std::string> files = SaveFiles();
    ASSERT_EQ(files.size(), saved.size());
    for (const auto& [id, pose] : saved) EXPECT_TRUE(files.count(id + ".entitystate")) << id;
    EXPECT_THAT(Out("first"), HasSubstr("Saved 13 entities of world 'demo' to " + fs::canonical(saves).string()));

    ASSERT_EQ(RunToEnd("second", {"--ticks", "3", "--unpaced", "--poses", poses2}), 0) << Err("second");
    EXPECT_THAT(Out("second"), HasSubstr("13 entities restored"));
    Poses loaded = ReadPoses(poses2, "loaded");
    EXPECT_EQ(loaded, saved);  // same ids, kinds and bit-identical positions and rotations
}

// A kill never tears a save: a new world killed after its first autosave has every entity file
// whole, and a kill between saves leaves the last save as it was.
TEST_F(ServerProcess, SigkillLeavesTheLastSaveLoadable) {
    const std::string poses1 = (root / "poses1.txt").string(), poses2 = (root / "poses2.txt").string();
    pid_t pid = Start("autosaved", {"--rate", "200", "--progress", "0.25", "--autosave", "0.5"});
    auto autosaved = [](const std::string& line) { return line.find("Autosaved 13 entities") != line.npos; };
    ASSERT_TRUE(WaitForLine("autosaved", autosaved)) << Out("autosaved") << Err("autosaved");
    ASSERT_EQ(kill(pid, SIGKILL), 0);
    EXPECT_EQ(Wait(pid), 128 + SIGKILL);
    ASSERT_EQ(SaveFiles().size(), 13u);

    ASSERT_EQ(RunToEnd("saved", {"--ticks", "50", "--unpaced", "--poses", poses1}), 0) << Err("saved");
    EXPECT_EQ(ReadPoses(poses1, "loaded").size(), 13u) << ReadAll(poses1);
    std::map<std::string, std::string> before = SaveFiles();
    pid = Start("killed", {"--rate", "200", "--progress", "0.25"});
    ASSERT_TRUE(WaitForTicks("killed", 200)) << Out("killed") << Err("killed");
    ASSERT_EQ(kill(pid, SIGKILL), 0);
    EXPECT_EQ(Wait(pid), 128 + SIGKILL);
    EXPECT_EQ(SaveFiles(), before);

    ASSERT_EQ(RunToEnd("again", {"--ticks", "1", "--unpaced", "--poses", poses2}), 0) << Err("again");
    EXPECT_EQ(ReadPoses(poses2, "loaded"), ReadPoses(poses1, "saved"));
}

TEST_F(ServerProcess, AWorldThatCannotBeLoadedTouchesNoFile) {
    const std::string poses1 = (root / "poses1.txt").string(), poses3 = (root / "poses3.txt").string();
    ASSERT_EQ(RunToEnd("first", {"--ticks", "5", "--unpaced", "--poses", poses1}), 0) << Err("first");
    std::map<std::string, std::string> files = SaveFiles();
    ASSERT_EQ(files.size(), 13u);

    // The entity kinds are unknown without the content module: nothing is restored, no scene is
    // made over the old world, and the files stay as they were for a later run.
    ASSERT_EQ(RunToEnd("bare", {"--ticks", "5", "--unpaced", "--content="}), 0) << Err("bare");
    EXPECT_THAT(Err("bare"), HasSubstr("demo.ZENDOLA_Mod is not loaded"));
    EXPECT_EQ(SaveFiles(), files);
    ASSERT_EQ(RunToEnd("third", {"--ticks", "1", "--unpaced", "--poses", poses3}), 0) << Err("third");
    EXPECT_EQ(ReadPoses(poses3, "loaded"), ReadPoses(poses1, "saved"));

    // One entity's file loses its version and everything after it: the run stops.
    files = SaveFiles();
    const std::string victim = files.begin()->first;
    { std::ofstream(saves / victim, std::ios::binary | std::ios::trunc) << "ZENDOLA!ENTITY !"; }
    files = SaveFiles();
    EXPECT_EQ(RunToEnd("broken", {"--ticks", "5", "--unpaced"}), 1);
    EXPECT_THAT(Err("broken"), HasSubstr("cannot load world 'demo'"));
    EXPECT_THAT(Out("broken"), Not(HasSubstr("Saved")));
    EXPECT_EQ(SaveFiles(), files);

    // A stray file whose name is no entity id is an error of the same kind.
    { std::ofstream(saves / "notes.entitystate") << "x"; }
    files = SaveFiles();
    fs::remove(saves / victim);
    files.erase(victim);
    EXPECT_EQ(RunToEnd("stray", {"--ticks", "5", "--unpaced"}), 1);
    EXPECT_THAT(Err("stray"), HasSubstr("UniqueId string length should be 28"));
    EXPECT_EQ(SaveFiles(), files);
}

TEST_F(ServerProcess, AWorldThatCannotBeSavedEndsWithAnError) {
    // A file where the save folder should be: no entity file can be written.
    fs::create_directories(saves.parent_path());
    { std::ofstream(saves) << "in the way"; }
    EXPECT_EQ(RunToEnd("blocked", {"--ticks", "3", "--unpaced"}), 1);
    EXPECT_THAT(Err("blocked"), HasSubstr("could not save 13 of 13 entities of world 'demo'"));
    EXPECT_THAT(Out("blocked"), Not(HasSubstr("Saved")));
    EXPECT_EQ(ReadAll(saves), "in the way");
}

TEST_F(ServerProcess, BadCommandLinesAndMissingModulesFailBeforeAnySave) {
    EXPECT_EQ(RunToEnd("option", {"--ticks", "ten"}), 2);
    EXPECT_THAT(Err("option"), HasSubstr("option --ticks: 'ten'"));

    fs::path empty = root / "empty";
    fs::create_directories(empty);
    EXPECT_EQ(RunToEnd("nomods", {"--dir", empty.string(), "--ticks", "1"}), 1);
    EXPECT_THAT(Err("nomods"), HasSubstr("no modules folder"));

    EXPECT_EQ(RunToEnd("missing", {"--modules", "nosuch", "--ticks", "1"}), 1);
    EXPECT_THAT(Err("missing"), HasSubstr("server module 'nosuch' not found"));
    EXPECT_EQ(RunToEnd("content", {"--content", "demo,nosuch", "--ticks", "1"}), 1);
    EXPECT_THAT(Err("content"), HasSubstr("content module 'nosuch' not found"));
    EXPECT_FALSE(fs::exists(root / "Zendola-data"));
}

}  // namespace
