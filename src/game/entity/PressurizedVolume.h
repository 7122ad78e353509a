#pragma once
// A closed space inside an entity (a cabin, a tank, an airlock) holding a mixture of gases and
// liquids by kilograms. It keeps its density and pressure up to date and exchanges matter with a
// neighbouring volume or with the environment through a hole.
//
// Volumes are owned by shared pointers. Those made with Create() are also kept in a registry by
// id, like entities are, so that Find() can locate the volume around a point of space.

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>

#include <glm/vec3.hpp>

#include "game/UniqueId.h"
#include "game/physics/EnvironmentInfo.h"
#include "quorl/SharedMutex.h"

namespace game::entity {

class PressurizedVolume {
public:
    // The universal gas constant, J / (mol K).
    static constexpr double kGasConstant = 8.31446261815324;
    // Pressure differences below this many pascals move nothing.
    static constexpr double kMinimumPressureDifference = 100;
    // A transfer drops an entry that it leaves below this many kilograms.
    static constexpr double kMinimumEntryMass = 0.001;

    // Fields in the order of the exported class.
    double airtightness = 1;                              // 0 to 1; heals by deltaTime per Update
    std::unordered_map<std::string, double> composition;  // molecule formula -> kilograms
    double temperature = 293.15;                          // kelvin; set from outside
    Id groupId;                                           // what Find's first argument selects
    Id ownerId;                                           // entity that answers IsInsideVolume
    double volume = 0;                                    // m^3; 0 means not initialised
    double totalMass = 0;                                 // kg, sum of composition
    double density = 0;                                   // totalMass / volume
    double liquidFraction = 0;                            // share of volume at liquid density, 0 to 1
    double pressure = 0;                                  // Pa
    Id id;                                                // key in the registry; null if unregistered

    // Recomputes totalMass, liquidFraction, density and pressure from composition (a volume over
    // full of liquid is cut back to fit first) and lets the airtightness heal. Nothing happens
    // while volume is 0. Aborts if the mixture gives a density or mass that is not finite.
    void Update(double deltaTime);

    void Airtight() { airtightness = 1; }
    void Leak() { airtightness = 0; }
    bool IsAirtight() const { return airtightness >= 1; }

    // Adds up to `mass` kilograms of a molecule, as much as fits in the room that the content
    // leaves at liquid density. Returns the mass accepted: 0 for a formula that names no molecule
    // or a mass that is not above 0.
    double Push(const std::string& formula, double mass);

    // Flow through a hole of `area` square metres between two volumes during deltaTime, from the
    // higher pressure to the lower, at Bernoulli's speed. Both take the smaller airtightness.
    // Returns the kilograms moved. `position` and `normal` locate the hole; the flow doesn't use
    // them. Aborts when the side of higher pressure holds no mass.
    static double Transfer(const std::shared_ptr<PressurizedVolume>& a, const std::shared_ptr<PressurizedVolume>& b,
                           const glm::dvec3& position, const glm::dvec3& normal, double area, double deltaTime);

    // Flow through a hole between a volume and the environment described by `info`; the volume
    // stops being airtight. A flow under 10 kg makes the inside the outside's mixture at the
    // outside's density and returns 0. Otherwise the inside drains when both its pressure and its
    // density are above the outside's, and the outside comes in (each entry up to its share at the
    // outside's density) when not. Returns the kilograms of the flow; a drain never takes more
    // than the volume's totalMass.
    static double Transfer(const std::shared_ptr<PressurizedVolume>& a, const physics::EnvironmentInfo& info,
                           const glm::dvec3& position, const glm::dvec3& normal, double area, double deltaTime);

    // Gives the callback the first registered volume of `groupId` (with a volume above 0) whose
    // owning entity's interface says that `position` is inside it; an entity whose interface
    // doesn't implement IsInsideVolume holds no findable volume. The registry's shared lock is held
    // during the callback.
    static void Find(Id groupId, glm::dvec3 position, std::function<void(std::shared_ptr<PressurizedVolume>&)>&& callback);

    // The registry. Create makes and registers a volume (a null id generates one with the prefix
    // "PVOL"); a duplicate id throws std::runtime_error. The registry keeps the volume alive until
    // Destroy. Walks hold the shared lock during their callback: don't create or destroy in them.
    static std::shared_ptr<PressurizedVolume> Create(Id id = Id());
    static std::shared_ptr<PressurizedVolume> Get(Id id);
    static void ForEach(std::function<void(std::shared_ptr<PressurizedVolume>)>&& f);
    // Removes the volume from the registry; false when it isn't there.
    static bool Destroy(Id id);

    static std::unordered_map<Id, std::shared_ptr<PressurizedVolume>> _sharedObjects;
    static quorl::SharedMutex _sharedObjectsMutex;
};

}  // namespace game::entity
