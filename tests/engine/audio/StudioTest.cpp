#include <gtest/gtest.h>

#include "quorl/audio/Studio.h"

TEST(AudioStudio, KeepsVolumesListenerAndUpdates) {
    quorl::audio::Studio s;
    EXPECT_EQ(s.GetVolume("bus:/"), 1.0f);
    s.SetVolume(0.25f, "bus:/");
    s.SetVolume(0.75f, "bus:/music");
    EXPECT_EQ(s.GetVolume("bus:/"), 0.25f);
    EXPECT_EQ(s.GetVolume("bus:/music"), 0.75f);
    s.SetListenerAttributes(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12);
    auto l = s.GetListenerAttributes();
    EXPECT_EQ(l.position[2], 3);
    EXPECT_EQ(l.velocity[0], 4);
    EXPECT_EQ(l.forward[1], 8);
    EXPECT_EQ(l.up[2], 12);
    EXPECT_EQ(s.GetUpdateCount(), 0u);
    s.Update();
    s.Update();
    EXPECT_EQ(s.GetUpdateCount(), 2u);
}
