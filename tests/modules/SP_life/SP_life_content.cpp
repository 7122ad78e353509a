// Kind "ticker": on the server its hooks check the order of tick passes; on the client it counts updates.
#include <memory>
#include <vector>

#include "SP_life.h"
#include "game/entity/ClientSideEntity.h"
#include "game/entity/ServerSideEntity.h"

namespace {

struct ServerTicker : game::entity::ServerSideEntity::Interface {
    void BeforeUpdate(double) override { sp_life::Phase(2); }
    void Update(double) override { sp_life::Phase(3); }
    void AfterUpdate(double) override {
        sp_life::Phase(4);
        sp_life::Count("entity_AfterUpdate");
    }
};

struct ClientTicker : game::entity::ClientSideEntity::Interface {
    void Update(double) override { sp_life::Count("client_Update"); }
    void AfterUpdate(double) override { sp_life::Count("client_AfterUpdate"); }
};

}  // namespace

extern "C" {
void Load() {
    sp_life::Append("Load");
    game::entity::ServerSideEntity::_registered_interfaces["SP_life"]["ticker"] = {
        nullptr, [] { return std::make_shared<ServerTicker>(); }};
    game::entity::ClientSideEntity::_registered_interfaces["SP_life"]["ticker"] = {
        nullptr, [] { return std::make_shared<ClientTicker>(); }};
}
// The module's code goes away after this: nothing of it may stay registered.
void Unload() {
    sp_life::Append("Unload");
    std::vector<game::entity::Id> mine;
    game::entity::ClientSideEntity::ForEach([&mine](std::shared_ptr<game::entity::ClientSideEntity> e) {
        if (e->moduleId.String() == "SP_life") mine.push_back(e->id);
    });
    for (const auto& id : mine) game::entity::ClientSideEntity::Destroy(id);
    game::entity::ServerSideEntity::_registered_interfaces.erase("SP_life");
    game::entity::ClientSideEntity::_registered_interfaces.erase("SP_life");
}
}
