#include "game/graphics/ui/Element.h"

namespace game::graphics::ui {

std::vector<std::weak_ptr<Element>> Element::_sharedObjects;
quorl::SharedMutex Element::_sharedObjectsMutex;

}  // namespace game::graphics::ui
