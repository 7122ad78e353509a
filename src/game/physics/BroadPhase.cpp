#include "game/physics/BroadPhase.h"

namespace game::physics {

void BroadPhase::ActiveSet::Clear(size_t capacity) {
    for (auto* column : {&hi, &u, &v, &reach}) {
        column->clear();
        column->reserve(capacity);
    }
    index.clear();
    index.reserve(capacity);
    near.reserve(capacity + 8);
    first = 0;
}

void BroadPhase::ActiveSet::Compact() {
    for (auto* column : {&hi, &u, &v, &reach}) column->erase(column->begin(), column->begin() + long(first));
    index.erase(index.begin(), index.begin() + long(first));
    first = 0;
}

}  // namespace game::physics
