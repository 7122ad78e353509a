#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <stdexcept>

#include "quorl/Assert.h"
#include "quorl/DebugAssert.h"
#include "quorl/Base16.h"
#include "quorl/String.h"
#include "quorl/Timer.h"

#define ZENDOLA_TEST_LIMIT 3
TEST(Assert, PrintsUnexpandedExpressionRelativePathAndLine) {
    int n = 4;
    EXPECT_DEATH(QUORL_ASSERT(n < ZENDOLA_TEST_LIMIT), "\\(n < ZENDOLA_TEST_LIMIT\\)");
    EXPECT_DEATH(QUORL_ASSERT(1 + 1 == 3),
                 "ASSERTION FAILED: \\(1 \\+ 1 == 3\\) in tests/engine/CoreTest.cpp:[0-9]+");
    EXPECT_DEATH(QUORL_ASSERT_AT(false, "src/game/input/Controller", 443),
                 "ASSERTION FAILED: \\(false\\) in src/game/input/Controller:443");
    QUORL_ASSERT(true);
}

// The debug tier checks in dev and sanitizer builds and is compiled out of release builds,
// where its expression is not even evaluated.
TEST(Assert, DebugTierOnlyOutsideReleaseBuilds) {
    int evaluated = 0;
    QUORL_DEBUG_ASSERT(++evaluated > 0);
#ifdef NDEBUG
    EXPECT_EQ(evaluated, 0);
#else
    EXPECT_EQ(evaluated, 1);
    EXPECT_DEATH(QUORL_DEBUG_ASSERT(evaluated == 2), "ASSERTION FAILED: \\(evaluated == 2\\)");
#endif
}

TEST(Base16, RoundTripAndErrors) {
    const std::vector<uint8_t> bytes = {0x00, 0x7F, 0xA5, 0xFF};
    EXPECT_EQ(quorl::Base16::Encode(bytes.data(), 4), "007FA5FF");
    EXPECT_EQ(quorl::Base16::Decode("007FA5FF"), bytes);
    EXPECT_THROW(quorl::Base16::Decode("7f"), std::invalid_argument);
    EXPECT_THAT([] { (void)quorl::Base16::Decode("0G"); },
                testing::ThrowsMessage<std::invalid_argument>(testing::StrEq("not a hex digit")));
}

TEST(String, FromDoubleShortestReadsBack) {
    for (double v : {0.1, 1.0 / 3.0, -2.0, 1e300, 5e-324, 123456.789}) {
        std::string s = quorl::String::FromDouble(v, -1);
        EXPECT_EQ(std::atof(s.c_str()), v) << s;
    }
    EXPECT_EQ(quorl::String::FromDouble(0.1, -1), "0.1");
    EXPECT_EQ(quorl::String::FromDouble(2.5, 3), "2.500");
    EXPECT_EQ(quorl::String::Trim(" \t\v\f\r\nab c \n"), "ab c");
    EXPECT_EQ(quorl::String::TrimLeft("  x "), "x ");
}

static double fakeNow = 0;
TEST(Timer, RunsStopsAndFreezes) {
    quorl::Timer t([] { return fakeNow; });
    EXPECT_FALSE(t.IsRunning());
    fakeNow = 10;
    t.Start();
    fakeNow = 10.25;
    EXPECT_TRUE(t.IsRunning());
    EXPECT_DOUBLE_EQ(t.GetElapsedMilliseconds(), 250.0);
    t.Stop();
    fakeNow = 20;
    EXPECT_DOUBLE_EQ(t.GetElapsedMilliseconds(), 250.0);
}
