#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "ProgressMeter.h"
#include "StopSignal.h"
#include "TickPacer.h"

TEST(ServerHostPacing, WaitsForTheNextSlotOfTheSchedule) {
    host::TickPacer pacer(50.0);  // 20 ms per tick
    pacer.Start(100.0);
    EXPECT_NEAR(pacer.Next(100.005), 0.015, 1e-9);  // tick 0 took 5 ms
    // Slots stay on the schedule start + k / rate, whatever each tick took.
    EXPECT_NEAR(pacer.Next(100.031), 0.009, 1e-9);
    EXPECT_NEAR(pacer.Next(100.060), 0.0, 1e-9);
    EXPECT_EQ(pacer.DroppedTicks(), 0u);
}

// A small delay is made up without waiting; a long stall drops ticks instead of bursting.
TEST(ServerHostPacing, SmallDelaysAreMadeUpLongStallsDropTicks) {
    host::TickPacer pacer(100.0, 0.25);
    pacer.Start(0.0);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(pacer.Next(0.05), 0.0) << i;  // 40 ms late: the next ticks follow at once
    EXPECT_NEAR(pacer.Next(0.05), 0.0, 1e-9);
    EXPECT_NEAR(pacer.Next(0.05), 0.01, 1e-9);  // back on the schedule
    EXPECT_EQ(pacer.DroppedTicks(), 0u);
    pacer.Start(0.0);
    EXPECT_EQ(pacer.Next(2.0), 0.0);  // 1.99 s behind
    EXPECT_EQ(pacer.DroppedTicks(), 199u);
    EXPECT_NEAR(pacer.Next(2.001), 0.009, 1e-9);  // the schedule restarted at 2.0
}

TEST(ServerHostProgress, LineEveryIntervalWithTheRateOfThatInterval) {
    host::ProgressMeter meter(1.0);
    meter.Start(10.0, 0);
    EXPECT_FALSE(meter.Due(10.5));
    EXPECT_TRUE(meter.Due(11.0));
    host::WorldSample s{120, 9, 7, 3, 0.25};  // ticks, entities, bodies, resting, physics ms
    EXPECT_EQ(meter.Line(12.0, s),
              "tick 120 | 60.0 ticks/s | bodies 7 | resting 3 | entities 9 | physics 0.250 ms/tick");
    EXPECT_FALSE(meter.Due(12.5));  // the line started a new interval
    s.ticks = 150;
    EXPECT_NE(meter.Line(13.0, s).find("30.0 ticks/s"), std::string::npos);
}

// SIGTERM's flag and a clean stop are seen end to end in the server process tests.
TEST(ServerHostStopSignal, ASecondSignalWhileStoppingEndsTheProcess) {
#if defined(__SANITIZE_THREAD__)
    // ThreadSanitizer holds a raised signal back until its next safe point, so the handler has not
    // run when raise() returns; the sequence this test checks can't be observed under it.
    GTEST_SKIP() << "signals are delivered late under ThreadSanitizer";
#endif
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        host::InstallStopHandlers();
        std::raise(SIGINT);
        if (!host::StopRequested()) _exit(3);
        std::raise(SIGINT);
        _exit(4);  // not reached when the second signal ends the process
    }
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFSIGNALED(status)) << "exit status " << WEXITSTATUS(status);
    EXPECT_EQ(WTERMSIG(status), SIGINT);
}
