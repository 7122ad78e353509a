#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <thread>

#include "TestFiles.h"

#include "quorl/filesystem/ConfigFile.h"

using quorl::filesystem::ConfigFile;
using Binding = ConfigFile::InputBinding;

namespace {

using namespace testfiles;

// A file with one value of each type, read and written through rows.
struct Sample : ConfigFile {
    std::string name = "default";
    bool flag = false;
    int32_t count = 7;
    float ratio = 0.5f;
    Binding action;

    explicit Sample(const std::string& path, std::optional<int> option = std::nullopt) : ConfigFile(path, option) {}
    ~Sample() override { StopAutoReloadThread(); }

    std::vector<Conf> Rows() {
        return {Conf(this, "name", &name, CONF_STRING), Conf(this, "flag", &flag, CONF_BOOL),
                Conf(this, "count", &count, CONF_INT), Conf(this, "ratio", &ratio, CONF_FLOAT),
                Conf(this, "action", &action, CONF_INPUT_BINDING)};
    }
    void ReadConfig() override { ReadFromINI("main", Rows(), true); }
    void WriteConfig() override { WriteToINI("main", Rows()); }
};

class ConfigFileTest : public ::testing::Test {
protected:
    TempFolder folder{"quorl_config"};
    std::string dir = folder.path, path = dir + "/settings.ini";
};

}  // namespace

TEST_F(ConfigFileTest, LineSyntaxCommentsSeparatorsAndSections) {
    WriteAll(path,
             "# comment\n; another\n"
             "count = 1\n\n"  // before any section: not in [main]
             "[ main ]\r\n  name   =   two words  \r\nflag true\ncount=42\n"
             "[other]\nratio = 9\n"
             "[main]\nratio 0.25\n");
    Sample s(path, 0);
    s.ReadConfig();
    EXPECT_EQ(s.name, "two words");
    EXPECT_TRUE(s.flag);
    EXPECT_EQ(s.count, 42);
    EXPECT_EQ(s.ratio, 0.25f);  // from the second [main] block, not from [other]
}

TEST_F(ConfigFileTest, EveryTypeRoundTripsThroughTheFile) {
    const std::string names[] = {"", "plain", "  padded  ", "\"quoted\" start", "tab\tnew\nline\\back", "a=b ; # c"};
    const float ratios[] = {0.1f, -0.0f, 1e-38f, 3.4028235e38f, 0.675f, 2.4f};
    const Binding full{348, 7, "pad with spaces \"and\" quotes", 2, 14, 5, -1, "03000000de280000ff11000001000000",
                       1,   15, 8, -1};
    Binding minimal;
    minimal.key = 87;
    for (size_t i = 0; i < std::size(names); ++i) {
        Sample out(path, 0);
        out.name = names[i];
        out.flag = i % 2;
        out.count = i == 0 ? INT32_MIN : (i == 1 ? INT32_MAX : static_cast<int32_t>(i) * -13);
        out.ratio = ratios[i];
        out.action = i % 3 == 0 ? full : (i % 3 == 1 ? minimal : Binding{});
        ASSERT_TRUE(out.WriteToINI("main", out.Rows()));
        Sample in(path, 0);
        in.ReadConfig();
        EXPECT_EQ(in.name, out.name) << ReadAll(path);
        EXPECT_EQ(in.flag, out.flag);
        EXPECT_EQ(in.count, out.count);
        EXPECT_EQ(std::memcmp(&in.ratio, &out.ratio, sizeof(float)), 0) << ReadAll(path);
        EXPECT_EQ(in.action, out.action) << ReadAll(path);
        EXPECT_EQ(CountLines(ReadAll(path)), 6u) << "each value stays on one line";
    }
}

TEST_F(ConfigFileTest, BindingTextForm) {
    Binding b;
    EXPECT_EQ(ConfigFile::FormatBinding(b), "none");
    b.key = 87;
    b.gamepadAxis = 1;
    b.gamepadAxisDirection = -1;
    EXPECT_EQ(ConfigFile::FormatBinding(b), "key:87 gamepad_axis:1 gamepad_dir:-1");
    Binding parsed;
    parsed.mouseButton = 3;  // a parsed text starts from a fresh binding
    std::string error;
    ASSERT_TRUE(ConfigFile::ParseBinding("  gamepad_dir:-1   key:87 gamepad_axis:+1 ", parsed, &error)) << error;
    EXPECT_EQ(parsed, b);
    ASSERT_TRUE(ConfigFile::ParseBinding("NONE", parsed, &error));
    EXPECT_EQ(parsed, Binding{});

    const char* bad[] = {"key:", "key:abc", "key 87", "keys:1", "gamepad_axis:40000", "joystick_guid:\"open",
                         "gamepad_id:\"x\\q\""};
    for (const char* text : bad) {
        Binding keep;
        keep.key = 5;
        error.clear();
        EXPECT_FALSE(ConfigFile::ParseBinding(text, keep, &error)) << text;
        EXPECT_FALSE(error.empty()) << text;
        EXPECT_EQ(keep.key, 5) << text;
    }
}

TEST_F(ConfigFileTest, MalformedValuesKeepTheFieldAndReportOnce) {
    WriteAll(path,
             "[main]\n"
             "ratio = wide\n"
             "count = 99999999999\n"
             "flag = maybe\n"
             "name = \"unterminated\n"
             "action = key:W\n"
             "count = 12abc\n"
             "ratio = 1e39\n"
             "ratio = nan\n");
    Sample s(path, 0);
    testing::internal::CaptureStderr();
    s.ReadConfig();
    s.ReadConfig();  // the same version of the file is not reported twice
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(s.ratio, 0.5f);
    EXPECT_EQ(s.count, 7);
    EXPECT_FALSE(s.flag);
    EXPECT_EQ(s.name, "default");
    EXPECT_EQ(s.action, Binding{});
    EXPECT_EQ(CountLines(err), 8u) << err;
    EXPECT_NE(err.find(path + ":2: [main] ratio: \"wide\" is not a number"), std::string::npos) << err;
    EXPECT_NE(err.find(":3: [main] count:"), std::string::npos) << err;
}

TEST_F(ConfigFileTest, InvalidLinesAreSkippedWithOneReport) {
    WriteAll(path, "[main]\ncount = 3\n" + std::string(5000, 'x') + "\n[broken\nflag = true\n= 4\n[main]\nname = ok\n");
    Sample s(path, 0);
    testing::internal::CaptureStderr();
    s.ReadConfig();
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(s.count, 3);
    EXPECT_FALSE(s.flag) << "keys below a broken header belong to no section";
    EXPECT_EQ(s.name, "ok");
    EXPECT_EQ(CountLines(err), 3u) << err;
    EXPECT_NE(err.find(":3: line longer than 4096 characters"), std::string::npos) << err;
    EXPECT_NE(err.find(":4: section header without closing ']'"), std::string::npos) << err;
}

TEST_F(ConfigFileTest, MissingFilesAndFoldersLeaveValuesAndAreNeverOverwritten) {
    Sample missing(path, 0);
    testing::internal::CaptureStderr();
    EXPECT_FALSE(missing.ReadFromINI("main", missing.Rows()));
    EXPECT_FALSE(missing.ReadFromINI("main", missing.Rows()));
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(CountLines(err), 1u) << err;
    EXPECT_NE(err.find("cannot open"), std::string::npos);
    EXPECT_EQ(missing.count, 7);
    // Saving creates the file.
    EXPECT_TRUE(missing.WriteToINI("main", missing.Rows()));
    EXPECT_EQ(ReadAll(path), "[main]\nname = default\nflag = false\ncount = 7\nratio = 0.5\naction = none\n");

    // A folder in place of the file is neither read nor replaced.
    std::filesystem::create_directory(dir + "/folder.ini");
    Sample folder(dir + "/folder.ini", 0);
    testing::internal::CaptureStderr();
    EXPECT_FALSE(folder.ReadFromINI("main", folder.Rows()));
    EXPECT_FALSE(folder.WriteToINI("main", folder.Rows()));
    testing::internal::GetCapturedStderr();
    EXPECT_TRUE(std::filesystem::is_directory(dir + "/folder.ini"));
}

TEST_F(ConfigFileTest, WriteKeepsEveryOtherLine) {
    WriteAll(path,
             "# user notes\n"
             "[main]\nname = old\n; keep this\nunknown_key = 5\ncount 1\n\n"
             "[other]\ncount = 100\n"
             "[main]\ncount = 2\n\n"
             "# trailing\n");
    Sample s(path, 0);
    s.name = "new";
    s.count = 3;
    ASSERT_TRUE(s.WriteToINI("main", s.Rows()));
    EXPECT_EQ(ReadAll(path),
              "# user notes\n"
              "[main]\nname = new\n; keep this\nunknown_key = 5\ncount = 3\n\n"
              "[other]\ncount = 100\n"
              "[main]\ncount = 3\nflag = false\nratio = 0.5\naction = none\n\n"
              "# trailing\n");
    // Another section is appended (that no temporary file stays is the atomic file's test).
    ASSERT_TRUE(s.WriteToINI("extra", {ConfigFile::Conf(&s, "count", &s.count, ConfigFile::CONF_INT)}));
    EXPECT_NE(ReadAll(path).find("# trailing\n\n[extra]\ncount = 3\n"), std::string::npos);
}

TEST_F(ConfigFileTest, WriteKeepsWindowsLineEndingsAndByteOrderMark) {
    WriteAll(path, "\xEF\xBB\xBF[main]\r\ncount = 1\r\n");
    Sample s(path, 0);
    s.ReadConfig();
    EXPECT_EQ(s.count, 1);
    s.count = 2;
    ASSERT_TRUE(s.WriteToINI("main", {ConfigFile::Conf(&s, "count", &s.count, ConfigFile::CONF_INT)}));
    EXPECT_EQ(ReadAll(path), "\xEF\xBB\xBF[main]\r\ncount = 2\r\n");
}

TEST_F(ConfigFileTest, ReloadThreadPicksUpFinishedWritesOnly) {
    WriteAll(path, "[main]\ncount = 1\nratio = 1\n");
    Sample s(path);
    s.ReadConfig();
    s.StartAutoReloadThread();
    ASSERT_TRUE(s.IsAutoReloadThreadRunning());

    ReplaceFile(path, "[main]\ncount = 2\nratio = 2\n");
    ASSERT_TRUE(WaitFor([&] { return s.GetReloadCount() >= 1; }));
    s.StopAutoReloadThread();  // the fields are read here with no reload running
    EXPECT_EQ(s.count, 2);
    s.StartAutoReloadThread();

    // Written in place in two parts: nothing is read before the writer closes the file.
    const uint64_t before = s.GetReloadCount();
    {
        std::FILE* f = std::fopen(path.c_str(), "w");
        ASSERT_NE(f, nullptr);
        std::fputs("[main]\ncount = 3\n", f);
        std::fflush(f);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        std::fputs("ratio = 3\n", f);
        std::fclose(f);
    }
    ASSERT_TRUE(WaitFor([&] { return s.GetReloadCount() > before; }));
    s.StopAutoReloadThread();
    EXPECT_EQ(s.GetReloadCount(), before + 1);
    EXPECT_EQ(s.count, 3);
    EXPECT_EQ(s.ratio, 3.0f);
    EXPECT_FALSE(s.IsAutoReloadThreadRunning());
}

TEST_F(ConfigFileTest, OwnSavesDoNotReloadAndOptionZeroDisablesWatching) {
    WriteAll(path, "[main]\ncount = 1\n");
    Sample s(path);
    s.ReadConfig();
    s.StartAutoReloadThread();
    s.count = 5;
    s.WriteConfig();
    s.count = 6;  // not saved yet: a reload of the own save would bring back 5
    ReplaceFile(path, "[main]\nname = external\n");
    ASSERT_TRUE(WaitFor([&] { return s.GetReloadCount() >= 1; }));
    s.StopAutoReloadThread();
    EXPECT_EQ(s.GetReloadCount(), 1u);
    EXPECT_EQ(s.name, "external");
    EXPECT_EQ(s.count, 6);

    Sample off(path, 0);
    off.StartAutoReloadThread();
    EXPECT_FALSE(off.IsAutoReloadThreadRunning());
}

TEST_F(ConfigFileTest, PollsWhenTheFolderCannotBeWatched) {
    // The folder doesn't exist when watching begins, so the file's identity is polled.
    const std::string later = dir + "/later/settings.ini";
    Sample s(later);
    testing::internal::CaptureStderr();
    s.ReadConfig();
    testing::internal::GetCapturedStderr();
    s.StartAutoReloadThread();
    std::filesystem::create_directory(dir + "/later");
    ReplaceFile(later, "[main]\ncount = 11\n");
    ASSERT_TRUE(WaitFor([&] { return s.GetReloadCount() >= 1; }));
    s.StopAutoReloadThread();
    EXPECT_EQ(s.count, 11);
    EXPECT_EQ(s.GetReloadCount(), 1u);
}
