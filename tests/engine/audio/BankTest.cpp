#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "TestFiles.h"
#include "quorl/audio/Bank.h"

using quorl::audio::Bank;

namespace {

std::string ErrorOf(const std::string& text) {
    try {
        Bank::Parse(text, "t.bank");
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return "(parsed)";
}

}  // namespace

TEST(AudioBank, ReadsEventsParametersAndGlobals) {
    const Bank b = Bank::Parse(
        "# comment\n"
        "global \"under water\" min 0 max 1 seek 2.5   # trailing comment\n"
        "\n"
        "event \"event:/a b\"\n"
        "\tsound wind\r\n"
        "    bus \"bus:/env\"\n"
        "    loop\n"
        "    parameter \"wind speed\" default 3 max 10 min -1\n"
        "end\n"
        "event event:/tick\n"
        "    sound click\n"
        "end",
        "t.bank");
    ASSERT_EQ(b.globals.size(), 1u);
    EXPECT_EQ(b.globals[0].name, "under water");
    EXPECT_EQ(b.globals[0].initial, 0.0f);  // min when no default is given
    EXPECT_EQ(b.globals[0].seek, 2.5f);
    ASSERT_EQ(b.events.size(), 2u);
    const Bank::Event& a = b.events[0];
    EXPECT_EQ(a.path, "event:/a b");
    EXPECT_EQ(a.sound, "wind");  // its line is tab-indented and ends in CR LF
    EXPECT_EQ(a.bus, "bus:/env");
    EXPECT_TRUE(a.loop);
    ASSERT_EQ(a.parameters.size(), 1u);
    EXPECT_EQ(a.parameters[0].name, "wind speed");
    EXPECT_EQ(a.parameters[0].minimum, -1.0f);
    EXPECT_EQ(a.parameters[0].maximum, 10.0f);
    EXPECT_EQ(a.parameters[0].initial, 3.0f);
    EXPECT_EQ(b.events[1].bus, "bus:/");
}

// Every fault names the file and the line.
TEST(AudioBank, MalformedTextIsRefusedWithFileAndLine) {
    const std::string ev = "event \"event:/e\"\n sound click\n";
    const std::pair<std::string, std::string> cases[] = {
        {"volume 1\n", "t.bank:1: unknown statement 'volume'"},
        {ev + " pitch 2\nend\n", "t.bank:3: unknown statement 'pitch' in an event"},
        {"event \"event:/e\"\n sound boom\nend\n", "t.bank:2: unknown sound 'boom' (known: wind, click)"},
        {"event \"event:/e\"\nend\n", "t.bank:2: event event:/e names no sound"},
        {"\n" + ev, "t.bank:2: event event:/e has no 'end'"},
        {"end\n", "t.bank:1: 'end' without an event"},
        {ev + "event \"event:/f\"\n", "t.bank:3: 'event' inside the event that starts on line 1"},
        {ev + "end\n" + ev + "end\n", "t.bank:4: event event:/e is given twice"},
        {"event \"game/e\"\n", "t.bank:1: an event path starts with \"event:/\""},
        {ev + " bus music\nend\n", "t.bank:3: a bus name starts with \"bus:/\""},
        {ev + " loop forever\nend\n", "t.bank:3: expected 'loop'"},
        {"global \"u min 0 max 1\n", "t.bank:1: a quoted word has no closing quote"},
        {"global u\"x min 0 max 1\n", "t.bank:1: a quote inside a word"},
        {"global u min 0 max 1x\n", "t.bank:1: 'max' needs a number, not '1x'"},
        {"global u min 0 max nan\n", "t.bank:1: 'max' needs a number, not 'nan'"},
        {"global u min 0\n", "t.bank:1: parameter \"u\" needs both min and max"},
        {"global u min 0 max\n", "t.bank:1: expected 'global NAME min A max B [default C] [seek S]'"},
        {"global u min 2 max 1\n", "t.bank:1: parameter \"u\" has min above max"},
        {"global u min 0 max 1 default 2\n", "t.bank:1: the default of parameter \"u\" lies outside min..max"},
        {"global u min 0 max 1 seek -1\n", "t.bank:1: the seek speed of parameter \"u\" is negative"},
        {"global u min 0 max 1 min 0\n", "t.bank:1: 'min' is given twice for parameter \"u\""},
        {"global u min 0 max 1 step 1\n", "t.bank:1: unknown key 'step' of parameter \"u\""},
        {"global u min 0 max 1\nglobal u min 0 max 1\n", "t.bank:2: parameter \"u\" is given twice"},
        {ev + "global u min 0 max 1\n", "t.bank:3: 'global' inside an event"},
    };
    for (const auto& [text, expected] : cases) {
        const std::string error = ErrorOf(text);
        EXPECT_EQ(error.substr(0, expected.size()), expected) << text;
    }
}

TEST(AudioBank, FilesThatAreNoBanksAreRefused) {
    testfiles::TempFolder folder("zendola-bankfile");
    const std::filesystem::path dir = folder.path;
    const std::string missing = (dir / "none.bank").string(), binary = (dir / "bin.bank").string(),
                      huge = (dir / "huge.bank").string();
    std::ofstream(binary, std::ios::binary) << std::string("event\0x", 7);
    std::ofstream(huge) << std::string(Bank::kMaxFileSize + 1, '#');
    for (const auto& [path, what] : {std::pair{missing, "cannot open"}, {binary, "not a text file"}, {huge, "larger"}}) {
        try {
            Bank::Load(path);
            ADD_FAILURE() << path << " loaded";
        } catch (const std::runtime_error& e) {
            EXPECT_EQ(std::string(e.what()).rfind(path + ": " + what, 0), 0u) << e.what();
        }
    }
}
