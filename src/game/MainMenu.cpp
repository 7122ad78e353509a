#include "game/MainMenu.h"

#include "game/Game.h"

namespace game {

using graphics::ui::Box;
using graphics::ui::Button;
using graphics::ui::Element;

void MainMenu::Init() {
    background = Element::Make<Box>();
    background->SetPosition({0.0f, 0.0f});
    background->SetSize({0.55f, 0.275f});
    background->SetColor({0.0f, 0.0f, 0.0f, 0.3f});

    play = Element::Make<Button>("PLAY");
    play->SetPosition({0.0f, -0.06f});
    play->SetSize({0.5f, 0.1f});
    play->_action = [] { Game::Play(); };

    quit = Element::Make<Button>("QUIT");
    quit->SetPosition({0.0f, 0.06f});
    quit->SetSize({0.5f, 0.1f});
    quit->_action = [] { Game::Quit(); };
}

void MainMenu::Show() {
    if (background) background->Show();
    if (play) play->Show();
    if (quit) quit->Show();
}

void MainMenu::Hide() {
    if (background) background->Hide();
    for (auto* button : {&play, &quit}) {
        if (!*button) continue;
        (*button)->Hide();
        (*button)->Reset();
    }
}

}  // namespace game
