// The virtual slots of the classes that modules derive from or call are a binary contract.
// With the Itanium C++ ABI a pointer to a virtual member function holds 1 + the byte offset of
// its slot; the two destructors take slots 0 and 1.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "game/entity/ClientSideEntity.h"
#include "game/entity/ServerSideEntity.h"

using game::entity::BaseEntity;
using game::entity::ClientSideEntity;
using game::entity::ServerSideEntity;

namespace {

template <class F>
long Slot(F f) {
    static_assert(sizeof(F) == 2 * sizeof(uintptr_t));
    uintptr_t word;
    std::memcpy(&word, &f, sizeof word);
    EXPECT_EQ(word % sizeof(void*), 1u) << "not a virtual function";
    return long((word - 1) / sizeof(void*));
}

}  // namespace

TEST(EntityLayout, ServerInterfaceSlots) {
    using I = ServerSideEntity::Interface;
    EXPECT_EQ((std::vector<long>{Slot(&I::_Reserved2), Slot(&I::Serialize), Slot(&I::Deserialize),
                                 Slot(&I::SerializeState), Slot(&I::DeserializeState), Slot(&I::_Reserved7),
                                 Slot(&I::_Reserved12), Slot(&I::IsInsideVolume), Slot(&I::_Reserved14),
                                 Slot(&I::_Reserved17), Slot(&I::Init), Slot(&I::BeforeUpdate), Slot(&I::Update),
                                 Slot(&I::AfterUpdate)}),
              (std::vector<long>{2, 3, 4, 5, 6, 7, 12, 13, 14, 17, 18, 19, 20, 21}));
}

TEST(EntityLayout, ClientInterfaceSlots) {
    using I = ClientSideEntity::Interface;
    EXPECT_EQ((std::vector<long>{Slot(&I::_Reserved2), Slot(&I::_Reserved8), Slot(&I::Update), Slot(&I::AfterUpdate),
                                 Slot(&I::Ui)}),
              (std::vector<long>{2, 8, 9, 10, 11}));
}

TEST(EntityLayout, EntitySlots) {
    EXPECT_EQ((std::vector<long>{Slot(&BaseEntity::InitNodes), Slot(&BaseEntity::Update),
                                 Slot(&ServerSideEntity::InitNodes), Slot(&ServerSideEntity::Update),
                                 Slot(&ClientSideEntity::InitNodes), Slot(&ClientSideEntity::Update),
                                 Slot(&ClientSideEntity::AfterUpdate), Slot(&ClientSideEntity::Ui),
                                 Slot(&ClientSideEntity::SetVisibility)}),
              (std::vector<long>{2, 3, 2, 3, 2, 3, 4, 5, 6}));
}

// Field offsets that compiled modules read and write directly (x86-64, libstdc++).
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
TEST(EntityLayout, BaseEntityFieldOffsets) {
    using E = BaseEntity;
    EXPECT_EQ((std::vector<size_t>{offsetof(E, moduleId), offsetof(E, type), offsetof(E, config), offsetof(E, mass),
                                   offsetof(E, position), offsetof(E, rotation), offsetof(E, boundsMin),
                                   offsetof(E, boundsRadius), offsetof(E, localAcceleration), offsetof(E, parentEntity),
                                   offsetof(E, nodeTransforms), offsetof(E, colliders), offsetof(E, ignoredEntities),
                                   offsetof(E, nodesMoved), offsetof(E, isComponent), sizeof(E)}),
              (std::vector<size_t>{8, 24, 56, 72, 80, 104, 136, 256, 312, 336, 352, 464, 520, 576, 579, 584}));
}

TEST(EntityLayout, ServerInterfaceFieldOffsets) {
    using I = ServerSideEntity::Interface;
    EXPECT_EQ((std::vector<size_t>{offsetof(I, entity), offsetof(I, self), offsetof(I, id), offsetof(I, initialized),
                                   offsetof(I, config), sizeof(I)}),
              (std::vector<size_t>{8, 24, 40, 56, 64, 80}));
}
#pragma GCC diagnostic pop

// A module reads a rotation as four doubles w, x, y, z.
TEST(EntityLayout, QuaternionsAreStoredWFirst) {
    BaseEntity e;
    e.rotation = glm::dquat(1.0, 2.0, 3.0, 4.0);  // w, x, y, z
    glm::dvec4 stored;
    std::memcpy(&stored, &e.rotation, sizeof stored);
    EXPECT_EQ(stored, glm::dvec4(1, 2, 3, 4));
    glm::quat f(5.0f, 6.0f, 7.0f, 8.0f);
    EXPECT_EQ(reinterpret_cast<const float*>(&f)[0], 5.0f);
}
