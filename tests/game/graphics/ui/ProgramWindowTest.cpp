// The admin panel's program buttons and the program window they open, driven headlessly.
#include <gtest/gtest.h>

#include <filesystem>

#include "TestFiles.h"
#include "ScriptedUi.h"
#include "game/QuorlProgramWindow.h"
#include "game/graphics/ui/AdminPanel.h"

namespace fs = std::filesystem;
using game::QuorlProgramWindow;
using game::graphics::ui::AdminPanel;
using game::graphics::ui::testing::ScriptedUi;

namespace {

const std::string kDoor = std::string(ZENDOLA_SOURCE_DIR) + "/data/nodes/door.main.qc";

class ProgramWindowTest : public ::testing::Test {
protected:
    void SetUp() override { testfiles::WriteAll(file, testfiles::ReadAll(kDoor)); }
    void TearDown() override { AdminPanel::WithdrawPrograms(); }
    testfiles::TempFolder temp{"zendola-programs"};
    const fs::path folder = temp.path;
    const std::string file = (folder / "demo.main.qc").string();
};

TEST_F(ProgramWindowTest, TheAdminPanelOpensTheProgramAndSaveWritesTheEditedGraphBack) {
    AdminPanel::OfferProgram(file);
    AdminPanel::OfferProgram(file);
    EXPECT_EQ(AdminPanel::OfferedPrograms(), std::vector<std::string>{file});
    ScriptedUi ui(AdminPanel::Draw);
    EXPECT_EQ(AdminPanel::ProgramWindow(file), nullptr);
    ui.Click("admin.edit demo.main.qc");
    QuorlProgramWindow* window = AdminPanel::ProgramWindow(file);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->error(), "");
    // The text is made again under the file's own name.
    EXPECT_NE(window->editor.textEditor.GetText().find("$_demo_delay1"), std::string::npos);
    const size_t nodes = window->editor.nodes.size();

    // Taking the constant away changes the program; the text follows on the next frame.
    auto constant = std::find_if(window->editor.nodes.begin(), window->editor.nodes.end(),
                                 [](auto* n) { return n->title.rfind("const $k", 0) == 0; });
    ASSERT_NE(constant, window->editor.nodes.end());
    window->editor.DestroyNode(*constant);
    window->editor.nodes.erase(constant);
    ui.Frame();
    EXPECT_TRUE(window->unsaved());
    EXPECT_EQ(window->editor.textEditor.GetText().find("const $k"), std::string::npos);
    ui.Click("program.save");
    EXPECT_FALSE(window->unsaved());
    EXPECT_EQ(testfiles::ReadAll(file), window->editor.textEditor.GetText());
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);  // no temporary left

    // Reload reads back what was saved.
    ui.Click("program.reload");
    EXPECT_EQ(window->error(), "");
    EXPECT_EQ(window->editor.nodes.size(), nodes - 1);

    // Closed and opened again from the panel: the same window.
    window->open = false;
    ui.Click("admin.edit demo.main.qc");
    EXPECT_EQ(AdminPanel::ProgramWindow(file), window);
    EXPECT_TRUE(window->open);
}

TEST_F(ProgramWindowTest, AFileThatHoldsNoProgramIsReportedAndNeverWrittenOver) {
    testfiles::WriteAll(file, "#NODES {not json\nupdate\n");
    QuorlProgramWindow window(file);
    EXPECT_NE(window.error().find("holds no program"), std::string::npos) << window.error();
    EXPECT_TRUE(window.editor.nodes.empty());
    EXPECT_FALSE(window.Save());
    EXPECT_NE(window.error().find("nothing is saved"), std::string::npos) << window.error();
    EXPECT_EQ(testfiles::ReadAll(file), "#NODES {not json\nupdate\n");

    fs::remove(file);
    EXPECT_FALSE(window.Reload());
    EXPECT_NE(window.error().find("cannot read " + file), std::string::npos) << window.error();
    EXPECT_FALSE(window.Save());
    EXPECT_FALSE(fs::exists(file));

    // A program that can't be written (its folder is a file): the reason is shown, nothing changes.
    testfiles::WriteAll(file, testfiles::ReadAll(kDoor));
    ASSERT_TRUE(window.Reload()) << window.error();
    fs::remove_all(folder);
    testfiles::WriteAll(folder.string(), "in the way");
    EXPECT_FALSE(window.Save());
    EXPECT_NE(window.error().find("not saved"), std::string::npos) << window.error();
    EXPECT_EQ(testfiles::ReadAll(folder.string()), "in the way");
}

}  // namespace
