#include <gtest/gtest.h>

#include "quorl/audio/Studio.h"

// Each bus keeps its own volume; an unset bus plays at full volume.
TEST(AudioStudio, VolumesPerBus) {
    quorl::audio::Studio s;
    EXPECT_EQ(s.GetVolume("bus:/"), 1.0f);
    s.SetVolume(0.25f, "bus:/");
    s.SetVolume(0.75f, "bus:/music");
    EXPECT_EQ(s.GetVolume("bus:/"), 0.25f);
    EXPECT_EQ(s.GetVolume("bus:/music"), 0.75f);
}
