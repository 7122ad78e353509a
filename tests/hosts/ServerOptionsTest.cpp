#include <gtest/gtest.h>

#include "ServerOptions.h"

using host::ParseServerOptions;

// Values come as the next argument or after '='; a later option wins.
TEST(ServerHostOptions, ValuesAsNextArgumentOrAfterEquals) {
    host::ParseResult r =
        ParseServerOptions({"--ticks", "5", "--world", "moon-2", "--ticks=300", "--rate", "120.5", "--substeps=8",
                            "--modules", "a,b_c", "--content=", "--dir", "/tmp/x", "--progress", "0", "--unpaced",
                            "--poses=p.txt", "--autosave", "30"});
    ASSERT_EQ(r.error, "");
    EXPECT_EQ(r.options.world, "moon-2");
    EXPECT_EQ(r.options.ticks, 300u);
    EXPECT_EQ(r.options.rate, 120.5);
    EXPECT_EQ(r.options.substeps, 8);
    EXPECT_EQ(r.options.modules, (std::vector<std::string>{"a", "b_c"}));
    EXPECT_TRUE(r.options.content.empty());
    EXPECT_EQ(r.options.directory, "/tmp/x");
    EXPECT_EQ(r.options.progressInterval, 0.0);
    EXPECT_TRUE(r.options.unpaced);
    EXPECT_EQ(r.options.posesFile, "p.txt");
    EXPECT_EQ(r.options.autosaveInterval, 30.0);
}

TEST(ServerHostOptions, BadCommandLinesNameTheProblem) {
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"--bogus=1"}, "unknown option '--bogus'"},
        {{"world"}, "unexpected argument 'world'"},
        {{"--version=2"}, "option --version takes no value"},
        {{"--ticks"}, "option --ticks needs a value"},
        {{"--ticks", "-3"}, "option --ticks: '-3'"},
        {{"--ticks", "12x"}, "option --ticks: '12x'"},
        {{"--ticks", "99999999999999999999"}, "option --ticks"},
        {{"--rate", "0"}, "option --rate: '0'"},
        {{"--rate", "nan"}, "option --rate"},
        {{"--rate", "1e9"}, "option --rate"},
        {{"--substeps", "0"}, "option --substeps"},
        {{"--world", "../etc"}, "option --world: '../etc'"},
        {{"--world", ""}, "option --world"},
        {{"--modules", "demo,"}, "bad module name ''"},
        {{"--modules", "../../lib"}, "bad module name '../../lib'"},
        {{"--progress", "-1"}, "option --progress"},
        {{"--dir", ""}, "option --dir"},
        {{"--autosave", "-5"}, "option --autosave: '-5'"},
    };
    for (const auto& [args, expected] : cases) {
        host::ParseResult r = ParseServerOptions(args);
        EXPECT_NE(r.error.find(expected), std::string::npos) << "args[0]=" << args[0] << " error=" << r.error;
    }
}

TEST(ServerHostOptions, HelpDocumentsEveryOption) {
    std::string help = host::ServerUsage("zendola-server");
    for (const char* option : {"--world", "--ticks", "--rate", "--substeps", "--modules", "--content", "--dir",
                               "--progress", "--autosave", "--unpaced", "--poses", "--help", "--version"})
        EXPECT_NE(help.find(option), std::string::npos) << option;
    EXPECT_TRUE(ParseServerOptions({"-h"}).options.help);
    EXPECT_TRUE(ParseServerOptions({"--ticks", "1", "--help"}).options.help);
}

TEST(ServerHostOptions, SafeNamesStayInsideTheirFolder) {
    const std::string bad[] = {"..", ".hidden", "a/b", "a\\b", std::string(65, 'a')};
    for (const std::string& name : bad) EXPECT_FALSE(host::IsSafeName(name)) << name;
    EXPECT_TRUE(host::IsSafeName("AB_cd-1.2"));
    EXPECT_TRUE(host::IsSafeName(std::string(64, 'a')));
}
