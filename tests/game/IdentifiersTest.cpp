#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <unordered_set>
#include <vector>

#include "game/UniqueId.h"
#include "quorl/modular/ModuleID.h"

using game::UniqueId;
using quorl::modular::ModuleID;

TEST(UniqueId, GeneratedTextRoundTrips) {
    UniqueId::_this_owner = 0xA1B2C3D4;
    UniqueId id = UniqueId::Generate("ENTT");
    UniqueId::_this_owner = 0;
    std::string text = id;
    ASSERT_EQ(text.size(), 28u);
    EXPECT_EQ(text.substr(0, 4), "ENTT");
    EXPECT_EQ(text.substr(4, 8), "D4C3B2A1");  // owner bytes in memory order
    EXPECT_EQ(UniqueId(text), id);
    EXPECT_GE(id.random, 1u);
    EXPECT_FALSE(id.IsNull());
}

TEST(UniqueId, LayoutIsTwoWords) {
    UniqueId id;
    std::memcpy(id.prefix, "NODE", 4);
    id.owner = 2;
    id.timestamp = 5;
    id.random = 3;
    EXPECT_EQ(id.Word0(), 0x0000000245444F4Eull);
    EXPECT_EQ(id.Word1(), (3ull << 50) | 5);
    EXPECT_EQ(std::string(id), "NODE02000000" "0500000000000C00");
}

TEST(UniqueId, ParseErrorsAndNullValues) {
    using testing::StrEq;
    EXPECT_THAT([] { UniqueId("ENTT1234"); },
                testing::ThrowsMessage<std::runtime_error>(StrEq("UniqueId string length should be 28")));
    EXPECT_THAT([] { UniqueId("ENTT" "0000000a" "0000000000000001"); },
                testing::ThrowsMessage<std::invalid_argument>(StrEq("not a hex digit")));

    UniqueId id = UniqueId::Generate("ENTT");
    UniqueId half = id;
    half.timestamp = 0;
    half.random = 0;
    EXPECT_TRUE(half.IsNull());
    EXPECT_EQ(std::string(half), "");
    UniqueId back("");
    EXPECT_EQ(back.Word0(), 0u);  // not the word 0 that `half` had
    EXPECT_EQ(back.Word1(), 0u);
}

TEST(UniqueId, UniqueAcrossThreads) {
    constexpr int kThreads = 4, kPer = 20000;
    std::vector<std::vector<UniqueId>> made(kThreads);
    std::vector<std::thread> ts;
    for (int t = 0; t < kThreads; ++t) {
        ts.emplace_back([&, t] {
            made[t].reserve(kPer);
            for (int i = 0; i < kPer; ++i) made[t].push_back(UniqueId::Generate("ENTT"));
        });
    }
    for (auto& t : ts) t.join();
    std::unordered_set<UniqueId> all;
    for (auto& v : made) {
        for (auto& id : v) {
            EXPECT_NE(id.random, 0u);
            all.insert(id);
        }
    }
    EXPECT_EQ(all.size(), size_t(kThreads * kPer));
}

TEST(ModuleID, PackingAndText) {
    ModuleID a("ab_CD"), b("AB_cd");
    EXPECT_EQ(a.vendor, 455u);
    EXPECT_EQ(a.name, 531u);
    EXPECT_EQ(a, b);
    EXPECT_EQ(a.String(), "AB_cd");
    EXPECT_EQ(ModuleID("AB _cd").String(), "AB_cd");  // trailing blank vanishes
    EXPECT_EQ(ModuleID("ZZZZZZZZZZZZ_zzzzzzzzzzzz").String(), "ZZZZZZZZZZZZ_zzzzzzzzzzzz");
}

TEST(ModuleID, RejectedTextsStayNull) {
    for (const char* t : {"", "nounderscore", "AAAAAAAAAAAAA_b", "A_1b", "1A_b", "_b", "A_",
                          "A_bbbbbbbbbbbbb"}) {
        ModuleID id(t);
        EXPECT_EQ(id.vendor, 0u) << t;
        EXPECT_EQ(id.name, 0u) << t;
        EXPECT_EQ(id.String(), "") << t;
    }
    for (const char* t : {"A_b_c", "A_b!"}) {  // the vendor part is kept, the name is not
        EXPECT_EQ(ModuleID(t).vendor, 11u) << t;
        EXPECT_EQ(ModuleID(t).name, 0u) << t;
    }
}
