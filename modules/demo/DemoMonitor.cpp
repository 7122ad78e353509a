#include "DemoMonitor.h"

#include <chrono>
#include <cstdio>
#include <ctime>

#include "game/Game.h"
#include "game/entity/ClientSideEntity.h"

namespace demo {

namespace {
constexpr uint32_t kBackground = 0xFF102030;
constexpr uint32_t kFrame = 0xFF40A0FF;
constexpr uint32_t kText = 0xFFE0F0FF;
}  // namespace

DemoMonitor::DemoMonitor() : screen(kWidth, kHeight, kBackground) {}

std::string DemoMonitor::Text(double unixSeconds, double tickRate, size_t bodies) {
    std::time_t t = std::time_t(unixSeconds);
    std::tm utc{};
    gmtime_r(&t, &utc);
    char text[160];
    std::snprintf(text, sizeof text, "ZENDOLA DEMO\n%02d:%02d:%02d UTC\n%.1f ticks/s\n%zu bodies", utc.tm_hour,
                  utc.tm_min, utc.tm_sec, tickRate, bodies);
    return text;
}

bool DemoMonitor::Update(double now) {
    if (now - _last < kInterval) return false;
    const double unix = std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
    return Update(now, unix, game::Game::serverFramerate.GetFPS());
}

bool DemoMonitor::Update(double now, double unixSeconds, double tickRate) {
    if (now - _last < kInterval) return false;
    _last = now;
    size_t bodies = 0;
    game::entity::ClientSideEntity::ForEach([&](std::shared_ptr<game::entity::ClientSideEntity>) { ++bodies; });
    std::string text = Text(unixSeconds, tickRate, bodies);
    screen.Blank(kBackground);
    screen.DrawRect(1, 1, int32_t(kWidth) - 2, int32_t(kHeight) - 2, kFrame, 0);
    screen.textSize = 1;
    screen.Write(8, 8, kText, text);
    screen.Update(false);
    game::Game::SetIMC("demo.monitor", text);
    ++drawings;
    return true;
}

std::vector<uint8_t> DemoMonitor::Rgba() const {
    std::vector<uint8_t> rgba(screen.pixels.size() * 4);
    for (size_t i = 0; i < screen.pixels.size(); ++i) {
        uint32_t argb = screen.pixels[i];
        rgba[4 * i + 0] = uint8_t(argb >> 16);
        rgba[4 * i + 1] = uint8_t(argb >> 8);
        rgba[4 * i + 2] = uint8_t(argb);
        rgba[4 * i + 3] = uint8_t(argb >> 24);
    }
    return rgba;
}

bool DemoMonitor::Update() {
    return Update(std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count());
}

}  // namespace demo
