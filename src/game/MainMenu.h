#pragma once
#include <memory>

#include "game/graphics/ui/Box.h"
#include "game/graphics/ui/Button.h"

namespace game {

// The menu shown before play: a dark box behind the buttons PLAY (Game::Play) and QUIT
// (Game::Quit), drawn by the renderer's overlay pass and clicked through the window's mouse
// (see GameRenderer).
class MainMenu {
public:
    // Makes, in this order, the background, PLAY and QUIT.
    void Init();
    void Show();
    // Hides the three and resets the buttons.
    void Hide();

    std::shared_ptr<graphics::ui::Box> background;
    std::shared_ptr<graphics::ui::Button> play;
    std::shared_ptr<graphics::ui::Button> quit;
};

}  // namespace game
