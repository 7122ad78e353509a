#pragma once
#include <memory>
#include <vector>

#include "quorl/SharedMutex.h"

namespace game::graphics::ui {

// A retained widget of the in-game interface. Every element lives in the static registry of weak
// pointers; Game::Stop empties it.
class Element {
public:
    virtual ~Element() = default;

    static std::vector<std::weak_ptr<Element>> _sharedObjects;
    static quorl::SharedMutex _sharedObjectsMutex;
};

}  // namespace game::graphics::ui
