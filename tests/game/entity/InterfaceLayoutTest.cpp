// The virtual slots of the classes that modules derive from or call are a binary contract.
// With the Itanium C++ ABI a pointer to a virtual member function holds 1 + the byte offset of
// its slot; the two destructors take slots 0 and 1.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

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
    EXPECT_EQ(Slot(&I::_Reserved2), 2);
    EXPECT_EQ(Slot(&I::Serialize), 3);
    EXPECT_EQ(Slot(&I::Deserialize), 4);
    EXPECT_EQ(Slot(&I::SerializeState), 5);
    EXPECT_EQ(Slot(&I::DeserializeState), 6);
    EXPECT_EQ(Slot(&I::_Reserved7), 7);
    EXPECT_EQ(Slot(&I::_Reserved12), 12);
    EXPECT_EQ(Slot(&I::IsInsideVolume), 13);
    EXPECT_EQ(Slot(&I::_Reserved14), 14);
    EXPECT_EQ(Slot(&I::_Reserved17), 17);
    EXPECT_EQ(Slot(&I::Init), 18);
    EXPECT_EQ(Slot(&I::BeforeUpdate), 19);
    EXPECT_EQ(Slot(&I::Update), 20);
    EXPECT_EQ(Slot(&I::AfterUpdate), 21);
}

TEST(EntityLayout, ClientInterfaceSlots) {
    using I = ClientSideEntity::Interface;
    EXPECT_EQ(Slot(&I::_Reserved2), 2);
    EXPECT_EQ(Slot(&I::_Reserved8), 8);
    EXPECT_EQ(Slot(&I::Update), 9);
    EXPECT_EQ(Slot(&I::AfterUpdate), 10);
    EXPECT_EQ(Slot(&I::Ui), 11);
}

TEST(EntityLayout, EntitySlots) {
    EXPECT_EQ(Slot(&BaseEntity::InitNodes), 2);
    EXPECT_EQ(Slot(&BaseEntity::Update), 3);
    EXPECT_EQ(Slot(&ServerSideEntity::InitNodes), 2);
    EXPECT_EQ(Slot(&ServerSideEntity::Update), 3);
    EXPECT_EQ(Slot(&ClientSideEntity::InitNodes), 2);
    EXPECT_EQ(Slot(&ClientSideEntity::Update), 3);
    EXPECT_EQ(Slot(&ClientSideEntity::AfterUpdate), 4);
    EXPECT_EQ(Slot(&ClientSideEntity::Ui), 5);
    EXPECT_EQ(Slot(&ClientSideEntity::SetVisibility), 6);
}

// Field offsets that compiled modules read and write directly (x86-64, libstdc++).
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
TEST(EntityLayout, BaseEntityFieldOffsets) {
    EXPECT_EQ(offsetof(BaseEntity, moduleId), 8u);
    EXPECT_EQ(offsetof(BaseEntity, type), 24u);
    EXPECT_EQ(offsetof(BaseEntity, config), 56u);
    EXPECT_EQ(offsetof(BaseEntity, mass), 72u);
    EXPECT_EQ(offsetof(BaseEntity, position), 80u);
    EXPECT_EQ(offsetof(BaseEntity, rotation), 104u);
    EXPECT_EQ(offsetof(BaseEntity, boundsMin), 136u);
    EXPECT_EQ(offsetof(BaseEntity, boundsRadius), 256u);
    EXPECT_EQ(offsetof(BaseEntity, localAcceleration), 312u);
    EXPECT_EQ(offsetof(BaseEntity, parentEntity), 336u);
    EXPECT_EQ(offsetof(BaseEntity, nodeTransforms), 352u);
    EXPECT_EQ(offsetof(BaseEntity, colliders), 464u);
    EXPECT_EQ(offsetof(BaseEntity, ignoredEntities), 520u);
    EXPECT_EQ(offsetof(BaseEntity, nodesMoved), 576u);
    EXPECT_EQ(offsetof(BaseEntity, isComponent), 579u);
    EXPECT_EQ(sizeof(BaseEntity), 584u);
}

TEST(EntityLayout, ServerInterfaceFieldOffsets) {
    using I = ServerSideEntity::Interface;
    EXPECT_EQ(offsetof(I, entity), 8u);
    EXPECT_EQ(offsetof(I, self), 24u);
    EXPECT_EQ(offsetof(I, id), 40u);
    EXPECT_EQ(offsetof(I, initialized), 56u);
    EXPECT_EQ(offsetof(I, config), 64u);
    EXPECT_EQ(sizeof(I), 80u);
}
#pragma GCC diagnostic pop

// A module reads a rotation as four doubles w, x, y, z.
TEST(EntityLayout, QuaternionsAreStoredWFirst) {
    BaseEntity e;
    e.rotation = glm::dquat(1.0, 2.0, 3.0, 4.0);  // w, x, y, z
    double stored[4];
    std::memcpy(stored, &e.rotation, sizeof stored);
    EXPECT_EQ(stored[0], 1.0);
    EXPECT_EQ(stored[1], 2.0);
    EXPECT_EQ(stored[3], 4.0);
    glm::quat f(5.0f, 6.0f, 7.0f, 8.0f);
    EXPECT_EQ(reinterpret_cast<const float*>(&f)[0], 5.0f);
}
