// game::Config: the YAML forms a module writes, the lookup rules modules rely on (a miss returns
// the node asked), the conversions and classifiers, and what bad text leaves behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include <yaml-cpp/exceptions.h>

#include "game/Config.h"
#include "game/Game.h"

using game::Config;

namespace {

constexpr size_t npos = Config::Node::npos;

void Parse(Config& config, std::string text) { config.Parse(text.data()); }

// The children of a node, front to back, as "key=value" (or "value" without a key).
std::vector<std::string> Members(const Config::Node& node) {
    std::vector<std::string> out;
    for (auto it = node.begin(); it != node.end(); ++it) {
        Config::Node child = *it;
        out.push_back(child.HasKey() ? child.Key() + "=" + child.AsString() : child.AsString());
    }
    return out;
}

// A sequence of the cases' texts (the first member of each), each a double-quoted scalar, so that
// blanks and signs stay as written.
template <class Case>
std::string QuotedList(const std::vector<Case>& cases) {
    std::string doc;
    for (const Case& c : cases) doc += "- \"" + std::string(c.first) + "\"\n";
    return doc;
}

}  // namespace

TEST(Config, NothingParsedReadsAsNeutralValues) {
    Config config;
    for (const char* text : {static_cast<const char*>(nullptr), "", "# a comment only\n\n"}) {
        std::string copy = text ? text : "";
        config.Parse(text ? copy.data() : nullptr);
        EXPECT_FALSE(config["x"]);
        EXPECT_EQ(config["x"].AsInt(), 0);
        EXPECT_EQ(config["x"].AsString(), "");
        EXPECT_EQ(config["x"]["y"][2].Size(), 0u);
        EXPECT_EQ(config["x"].Index(), npos);
        EXPECT_TRUE(config["x"].begin() == config["x"].end());
    }
}

TEST(Config, AMissOnAContainerReturnsTheContainerItself) {
    Config config;
    Parse(config, "a: 1\nb: {c: 2}\nlist: [x, y]\n");
    Config::Node root = config["nope"];
    EXPECT_TRUE(root.IsMap());
    EXPECT_EQ(root.Id(), 0u);
    // So a chain through a missing key goes on looking in the root.
    EXPECT_EQ(config["nope"]["a"].AsInt(), 1);
    EXPECT_EQ(config["b"]["nope"].Key(), "b");
    // An index past the end of a sequence gives the sequence; the wrong kind of lookup is invalid,
    // and so is all below it (both also checked on every node of the fuzz corpus).
    EXPECT_EQ(config["list"][5].Id(), config["list"].Id());
    EXPECT_FALSE(config["a"]["x"]);
    EXPECT_FALSE(config["list"]["x"][0]["y"]);

    Parse(config, "- a\n- b\n");
    EXPECT_FALSE(config["a"]);
    EXPECT_EQ(config[2].Id(), 0u);
    Parse(config, "[]");
    EXPECT_TRUE(config[0].IsArray());
    EXPECT_EQ(config[0].Id(), 0u);
}

TEST(Config, IntegersTakeBasesAndGiveZeroForAnyStrayCharacter) {
    struct Case {
        const char* first;
        int32_t asInt;
        int64_t asInt64;
        uint64_t asUInt64;
    };
    const std::vector<Case> cases = {
        {"42", 42, 42, 42},
        {"-0x10", -16, -16, 0},
        {"0x1fF", 511, 511, 511},
        {"0b101", 5, 5, 5},
        {"0o17", 15, 15, 15},
        {"012", 12, 12, 12},
        {"0x", 0, 0, 0},
        {"12a", 0, 0, 0},
        {"+5", 0, 0, 0},
        {" 5", 0, 0, 0},
        {"1.0", 0, 0, 0},
        {"-1", -1, -1, 0},
        {"4294967296", 0, 4294967296, 4294967296},
        {"2147483648", INT32_MIN, 2147483648, 2147483648},
        {"18446744073709551615", -1, -1, UINT64_MAX},
        {"18446744073709551616", 0, 0, 0},
    };
    Config config;
    Parse(config, QuotedList(cases));
    for (size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(cases[i].first);
        EXPECT_EQ(config[i].AsInt(), cases[i].asInt);
        EXPECT_EQ(config[i].AsInt64(), cases[i].asInt64);
        EXPECT_EQ(config[i].AsUInt64(), cases[i].asUInt64);
    }
}

TEST(Config, RealsReadHexadecimalAndTheLeadingNumberOfDecimalText) {
    // Exactly half way between 1 and the next double rounds to even; a bit beyond rounds up.
    const std::vector<std::pair<std::string, double>> cases = {
        {"1.5abc", 1.5},   {"+2.5", 2.5},  {"0x1.8p1", 3.0}, {"-0X10", -16.0},
        {"0x1.00000000000008p0", 1.0},     {"0x1.000000000000080001p0", 1.0 + 0x1p-52},
        {"0x1g", 0.0},     {"abc", 0.0},   {"0.1", 0.1},     {"+-1", 0.0}};
    Config config;
    Parse(config, QuotedList(cases) + "- \"0x1p-2\"\n- inf\n");
    for (size_t i = 0; i < cases.size(); ++i) EXPECT_EQ(config[i].AsDouble(), cases[i].second) << cases[i].first;
    EXPECT_EQ(config[8].AsFloat(), 0.1f);
    EXPECT_EQ(config[cases.size()].AsFloat(), 0.25f);
    EXPECT_TRUE(std::isinf(config[cases.size() + 1].AsDouble()));
    // A container has no value to read.
    Parse(config, "a: [1]");
    EXPECT_EQ(config["a"].AsDouble(), 0.0);
}

TEST(Config, ClassifiersNeedTheWholeScalarToBeOneNumber) {
    // 'i': an integer (and so a real too), 'f': a real only, 's': a string.
    const std::vector<std::pair<std::string, char>> cases = {
        {"-12", 'i'},   {"+12", 'i'},   {"0x1F", 'i'},    {"0b10", 'i'},   {"007", 'i'},   {"-.5", 'f'},
        {"5.", 'f'},    {"2.5E-3", 'f'}, {"-infinity", 'f'}, {"nan", 'f'}, {"0x1.8p1", 'f'}, {"0o7p2", 'f'},
        {" 12", 's'},   {"1 2", 's'},   {"0x", 's'},      {".", 's'},      {"1e", 's'},    {"1.5abc", 's'},
        {"Inf", 's'},   {"--1", 's'},   {"0x1.8q1", 's'}, {"1_000", 's'},  {"", 's'}};
    Config config;
    Parse(config, QuotedList(cases) + "- \n- [1]\n");
    for (size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE("'" + cases[i].first + "'");
        const char kind = cases[i].second;
        EXPECT_EQ(config[i].IsInt(), kind == 'i');
        EXPECT_EQ(config[i].IsFloat(), kind != 's');
        EXPECT_EQ(config[i].IsNumeric(), kind != 's');
        EXPECT_EQ(config[i].IsString(), kind == 's');
    }
    // A null is a string; a sequence is neither.
    EXPECT_TRUE(config[cases.size()].IsString());
    Config::Node list = config[cases.size() + 1];
    ASSERT_TRUE(list.IsArray());
    EXPECT_FALSE(list.IsString() || list.IsNumeric());
}

// Iteration both ways, positions, sizes and equality with the value's text are checked on every
// node of the fuzz corpus (fuzz/config.cpp); here, that scalars outlive the caller's text.
TEST(Config, ScalarsAreCopiedAndCompareWhole) {
    Config config;
    std::string text = "first: one\nsecond: two\n";
    config.Parse(text.data());
    // The scalars live in the document: the caller's buffer may change afterwards.
    std::memset(text.data(), 'x', text.size());
    EXPECT_EQ(Members(config["nope"]), (std::vector<std::string>{"first=one", "second=two"}));
    Config::Node second = config["second"];
    EXPECT_TRUE(second == "two" && second != "tw" && second != std::string("two2"));
}

TEST(Config, BlockAndFlowFormsCommentsAndQuotes) {
    Config config;
    Parse(config,
          "# the scene\n"
          "name: \"Demo \\\"world\\\"\\t\\u00e9\"  # trailing comment\n"
          "flow: {x: 1, y: [2, 3, {z: 4}], 'q k': \"v\"}\n"
          "block:\n"
          "  - a\n"
          "  - - nested\n"
          "    - list\n"
          "  - key: value\n"
          "    other: 5\n"
          "dup: first\n"
          "dup: second\n");
    EXPECT_EQ(config["name"].AsString(), "Demo \"world\"\t\xc3\xa9");
    Config::Node flow = config["flow"];
    EXPECT_EQ(Members(flow), (std::vector<std::string>{"x=1", "y=", "q k=v"}));
    EXPECT_EQ(flow["y"][2]["z"].AsInt(), 4);
    Config::Node block = config["block"];
    EXPECT_EQ(block[1][1].AsString(), "list");
    EXPECT_EQ(block[2]["other"].AsInt(), 5);
    // The first of two equal keys is found, and both are kept in order.
    EXPECT_EQ(config["dup"].AsString(), "first");
    EXPECT_EQ(config["dup"].Index(), 3u);
    EXPECT_EQ(Members(config["nope"]).back(), "dup=second");
}

TEST(Config, NullsKeepTheirTextAndEmptyValuesAreEmpty) {
    Config config;
    Parse(config, "a:\nnull: 1\nb: ~\nc: &n NULL\nd: *n\ne: [~, null, , x]\nf: {g: , h: ~}\n~: tilde key\n");
    EXPECT_EQ(Members(config["nope"]),
              (std::vector<std::string>{"a=", "null=1", "b=~", "c=NULL", "d=NULL", "e=", "f=", "~=tilde key"}));
    EXPECT_TRUE(config["a"].IsValue());
    EXPECT_TRUE(config["a"].IsString());
    EXPECT_EQ(Members(config["e"]), (std::vector<std::string>{"~", "null", "", "x"}));
    EXPECT_EQ(Members(config["f"]), (std::vector<std::string>{"g=", "h=~"}));
}

TEST(Config, AliasesCopyTheAnchoredNode) {
    Config config;
    Parse(config,
          "base: &base {mass: 2, size: [1, 2]}\n"
          "copy: *base\n"
          "name: &n box\n"
          "again: *n\n"
          "&k key: keyed\n"
          "*k : by alias\n");
    Config::Node copy = config["copy"];
    EXPECT_EQ(copy.Key(), "copy");
    EXPECT_EQ(Members(copy), (std::vector<std::string>{"mass=2", "size="}));
    EXPECT_EQ(Members(copy["size"]), (std::vector<std::string>{"1", "2"}));
    EXPECT_NE(copy["size"].Id(), config["base"]["size"].Id());
    EXPECT_EQ(config["again"].AsString(), "box");
    EXPECT_EQ(config["key"].AsString(), "keyed");
    EXPECT_EQ(Members(config["nope"]).back(), "key=by alias");
}

TEST(Config, MergeKeysBringInMembersTheMapDoesNotWrite) {
    Config config;
    Parse(config,
          "base: &b {x: 1, y: 2}\n"
          "more: &m {y: 3, z: 4}\n"
          "item:\n"
          "  a: 0\n"
          "  <<: [*b, *m]\n"
          "  x: 9\n"
          "one: {<<: *b, q: 1}\n"
          "'<<': *b\n");
    // In place of the merge key; the map's own x and the first map's y win.
    EXPECT_EQ(Members(config["item"]), (std::vector<std::string>{"a=0", "y=2", "z=4", "x=9"}));
    EXPECT_EQ(Members(config["one"]), (std::vector<std::string>{"x=1", "y=2", "q=1"}));
    EXPECT_EQ(config["one"]["y"].Index(), 1u);
    // A quoted "<<" is an ordinary key.
    EXPECT_EQ(config["<<"]["x"].AsInt(), 1);
    std::string bad = "b: &b {x: 1}\nc: {<<: [*b, {y: 1}]}\n";
    EXPECT_THROW(config.Parse(bad.data()), YAML::ParserException);
}

TEST(Config, SeveralDocumentsReadAsASequenceOfThem) {
    Config config;
    Parse(config, "---\na: &x 1\n...\n---\n- b\n---\nplain\n");
    EXPECT_EQ(Members(config[5]), (std::vector<std::string>{"", "", "plain"}));
    EXPECT_EQ(config[0]["a"].AsInt(), 1);
    EXPECT_EQ(config[1][0].AsString(), "b");
    // Anchors don't reach into the next document.
    std::string text = "a: &x 1\n---\n- *x\n";
    EXPECT_THROW(config.Parse(text.data()), YAML::Exception);
}

TEST(Config, ASyntaxErrorReachesTheCallerWithTheOldDocumentGone) {
    Config config;
    for (const char* bad : {"a: [1, 2\n", "a: 'open", "a: {b: 1\n", "a: *nowhere\n", "{a: 1}}", "a: b: c\n"}) {
        SCOPED_TRACE(bad);
        Parse(config, "a: 1\n");
        ASSERT_EQ(config["a"].AsInt(), 1);
        EXPECT_THAT([&] { Parse(config, bad); }, testing::ThrowsMessage<YAML::Exception>(testing::HasSubstr("line")));
        EXPECT_FALSE(config["a"]);
        EXPECT_EQ(config["a"].Size(), 0u);
    }
}

TEST(Config, WhatTheTreeCannotHoldIsRefusedWithAReason) {
    Config config;
    auto refusal = [&](std::string text) -> std::string {
        try {
            config.Parse(text.data());
        } catch (const YAML::ParserException& e) {
            EXPECT_FALSE(config["x"]);
            return e.msg;
        }
        return "accepted";
    };
    EXPECT_EQ(refusal("? [a, b]\n: c\n"), "a map key must be a scalar");
    EXPECT_EQ(refusal("base: &b {x: 1}\n*b : c\n"), "a map key must be a scalar");
    EXPECT_EQ(refusal("a: &a [1, *a]\n"), "an alias can't stand inside the node it names");
    // Each level doubles: 2^30 nodes from a few hundred bytes.
    std::string laughs = "l0: &l0 [x, x]\n";
    for (int i = 1; i <= 30; ++i)
        laughs += "l" + std::to_string(i) + ": &l" + std::to_string(i) + " [*l" + std::to_string(i - 1) + ", *l" +
                  std::to_string(i - 1) + "]\n";
    EXPECT_NE(refusal(laughs).find("aliases expand the document past"), std::string::npos);
    // A Config that refused a text parses the next one.
    EXPECT_EQ(refusal("a: [1]\n"), "accepted");
    EXPECT_EQ(config["a"][0].AsInt(), 1);
}

TEST(Config, GameStopClearsTheGlobalDocument) {
    std::string text = "module: demo\n";
    game::Game::config.Parse(text.data());
    ASSERT_EQ(game::Game::config["module"].AsString(), "demo");
    game::Game::Stop();
    EXPECT_FALSE(game::Game::config["module"]);
}
