// The virtual slots of the classes that modules derive from or call are a binary contract.
// With the Itanium C++ ABI a pointer to a virtual member function holds 1 + the byte offset of
// its slot; the two destructors take slots 0 and 1.
#include <gtest/gtest.h>

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
