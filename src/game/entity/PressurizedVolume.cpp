#include "game/entity/PressurizedVolume.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <shared_mutex>
#include <stdexcept>
#include <utility>
#include <vector>

#include "game/Chemistry.h"
#include "game/entity/Registry.h"
#include "game/entity/ServerSideEntity.h"
#include "quorl/Assert.h"

namespace game::entity {

std::unordered_map<Id, std::shared_ptr<PressurizedVolume>> PressurizedVolume::_sharedObjects;
quorl::SharedMutex PressurizedVolume::_sharedObjectsMutex;

namespace {

// Mass (kg) and amount (mol) of a composition as it stands now, which may differ from the
// totalMass of the last Update when something was pushed or moved since.
struct Amount {
    double mass = 0;
    double moles = 0;
};

Amount CountContent(const std::unordered_map<std::string, double>& composition) {
    Amount amount;
    for (const auto& [formula, mass] : composition) {
        amount.mass += mass;
        amount.moles += mass / Molecule(formula).GetMolarMass();
    }
    return amount;
}

double LiquidVolume(const std::unordered_map<std::string, double>& composition) {
    double liquid = 0;
    for (const auto& [formula, mass] : composition) liquid += mass / Molecule(formula).GetMaximumLiquidDensity();
    return liquid;
}

// Bernoulli: the speed of the flow that a pressure difference drives through a hole, times the
// hole's area and the time. The product is taken as the kilograms that pass: a volume of gas
// counted at one kilogram per cubic metre, close to air at ground level.
double BernoulliFlow(double pressureDifference, double meanDensity, double area, double deltaTime) {
    return std::sqrt(2 * std::abs(pressureDifference) / meanDensity) * area * deltaTime;
}

// Kilograms of gas of mean molar mass `molarMass` that shift `pressureDifference` pascals across a
// hole when taken from a volume at the first temperature and volume and put into one at the
// second (0 and any volume for the environment, whose pressure doesn't move). Pressure is n R T / V
// for any mixture, so the moles that bring the two sides level follow directly.
double LevellingMass(double pressureDifference, double molarMass, double temperatureA, double volumeA,
                     double temperatureB, double volumeB) {
    double perMole = PressurizedVolume::kGasConstant * temperatureA / volumeA;
    if (volumeB > 0) perMole += PressurizedVolume::kGasConstant * temperatureB / volumeB;
    if (!(perMole > 0)) return INFINITY;
    return std::abs(pressureDifference) / perMole * molarMass;
}

// Takes `mass` kilograms out of `source` in the proportions of its content (into `target` unless
// null). Entries that fall below a gram are dropped: trace gases vanish. Returns the mass taken.
double MoveProportionally(std::unordered_map<std::string, double>& source, double sourceMass,
                          std::unordered_map<std::string, double>* target, double mass) {
    if (!(sourceMass > 0) || !(mass > 0)) return 0;
    mass = std::min(mass, sourceMass);
    const double share = mass / sourceMass;
    for (auto it = source.begin(); it != source.end();) {
        const double part = it->second * share;
        it->second -= part;
        if (target) (*target)[it->first] += part;
        if (it->second < PressurizedVolume::kMinimumEntryMass) {
            it = source.erase(it);
        } else {
            ++it;
        }
    }
    return mass;
}

}  // namespace

void PressurizedVolume::Update(double deltaTime) {
    if (!(volume > 0)) return;

    // One look-up of the molecule per entry gives both its liquid density and its molar mass.
    totalMass = 0;
    double liquid = 0;
    double moles = 0;
    for (const auto& [formula, mass] : composition) {
        const Molecule molecule(formula);
        totalMass += mass;
        liquid += mass / molecule.GetMaximumLiquidDensity();
        moles += mass / molecule.GetMolarMass();
    }
    liquidFraction = std::clamp(liquid / volume, 0.0, 1.0);
    if (liquid > volume) {
        // Over full: scale the content down until its liquid fills exactly the volume.
        const double keep = volume / liquid;
        for (auto& entry : composition) entry.second *= keep;
        totalMass *= keep;
        moles *= keep;
    }

    // A leak heals over a second unless something breaks the volume again.
    airtightness = std::clamp(airtightness + deltaTime, 0.0, 1.0);

    if (!(totalMass > 0)) {
        totalMass = density = liquidFraction = pressure = 0;
        composition.clear();
        return;
    }
    density = totalMass / volume;
    // Ideal gas with the mixture's mean molar mass.
    pressure = kGasConstant / (totalMass / moles) * density * temperature;

    using std::isinf;
    using std::isnan;
    QUORL_ASSERT(!isnan(density));
    QUORL_ASSERT(!isinf(density));
    QUORL_ASSERT(!isnan(totalMass));
    QUORL_ASSERT(!isinf(totalMass));
}

double PressurizedVolume::Push(const std::string& formula, double mass) {
    if (!(mass > 0)) return 0;
    Molecule molecule(formula);
    if (!(molecule.GetMolarMass() > 0)) return 0;
    const double liquidDensity = molecule.GetMaximumLiquidDensity();
    const double room = std::max(0.0, volume - LiquidVolume(composition));
    const double accepted = mass / liquidDensity <= room ? mass : liquidDensity * room;
    if (accepted > 0) composition[formula] += accepted;
    return accepted;
}

// Mass is conserved: the flow of Bernoulli's speed is limited to what levels the two pressures
// (so a large hole can't overshoot and pump the gas back and forth) and to what the source holds
// now, and the shares are taken of the source's current content, so that what the target gains is
// exactly what the source loses. Only entries left below a gram vanish.
double PressurizedVolume::Transfer(const std::shared_ptr<PressurizedVolume>& a,
                                   const std::shared_ptr<PressurizedVolume>& b, const glm::dvec3& /*position*/,
                                   const glm::dvec3& /*normal*/, double area, double deltaTime) {
    if (!a || !b || !(area > 0) || !(a->volume > 0) || !(b->volume > 0)) return 0;
    a->airtightness = b->airtightness = std::min(a->airtightness, b->airtightness);

    const double difference = a->pressure - b->pressure;
    if (!(std::abs(difference) >= kMinimumPressureDifference)) return 0;

    PressurizedVolume* source = a.get();
    PressurizedVolume* target = b.get();
    if (difference > 0) {
        QUORL_ASSERT(a->totalMass > 0);
    } else {
        QUORL_ASSERT(b->totalMass > 0);
        std::swap(source, target);
    }

    const double meanDensity = (a->density + b->density) / 2;
    double flow = BernoulliFlow(difference, meanDensity, area, deltaTime);
    if (!(flow > 0)) return 0;

    const Amount content = CountContent(source->composition);
    if (!(content.moles > 0)) return 0;
    flow = std::min(flow, LevellingMass(difference, content.mass / content.moles, source->temperature,
                                        source->volume, target->temperature, target->volume));
    return MoveProportionally(source->composition, content.mass, &target->composition, flow);
}

// The outside is a reservoir without end, so its side of the balance isn't kept. By the game's
// rules a small hole (a flow under 10 kg) doesn't flow: the inside takes the outside's mixture at
// the outside's density at once, and the call returns 0. A larger one drains the inside when its
// pressure and its density are both above the outside's; otherwise the outside comes in, each
// entry of the outside's mixture growing by the flow times its fraction up to what it would hold at
// the outside's density. What is kept beyond the rules only protects the content: a drain never
// takes more than the volume holds, so no entry goes below 0, and formulas that name no molecule
// never enter it.
double PressurizedVolume::Transfer(const std::shared_ptr<PressurizedVolume>& a, const physics::EnvironmentInfo& info,
                                   const glm::dvec3& /*position*/, const glm::dvec3& /*normal*/, double area,
                                   double deltaTime) {
    if (!a || !(a->volume > 0)) return 0;
    a->airtightness = 0;
    if (!(area > 0)) return 0;

    const double difference = a->pressure - info.pressure;
    if (!(std::abs(difference) >= kMinimumPressureDifference)) return 0;
    const double meanDensity = (info.density + a->density) / 2;
    if (!(meanDensity > 0)) return 0;
    const double flow = BernoulliFlow(difference, meanDensity, area, deltaTime);

    // The outside's mixture: molar masses of the formulas that name a molecule, and the mean
    // molar mass M by the outside's fractions.
    struct Part {
        const std::string* formula;
        double fraction;
        double molarMass;
    };
    std::vector<Part> parts;
    parts.reserve(info.composition.size());
    double outsideMolarMass = 0;
    for (const auto& [formula, fraction] : info.composition) {
        const double molarMass = Molecule(formula).GetMolarMass();
        if (!(molarMass > 0) || !(fraction > 0)) continue;
        parts.push_back({&formula, fraction, molarMass});
        outsideMolarMass += fraction * molarMass;
    }
    // What an entry of the outside's mixture holds in this volume at the outside's density.
    auto outsideShare = [&](const Part& part) {
        return info.density * a->volume * part.fraction * part.molarMass / outsideMolarMass;
    };
    auto dropTrace = [&](const std::string& formula) {
        auto it = a->composition.find(formula);
        if (it != a->composition.end() && it->second < kMinimumEntryMass) a->composition.erase(it);
    };

    if (flow < 10) {
        // A small hole equalises without flow.
        if (!(outsideMolarMass > 0)) return 0;
        for (const Part& part : parts) {
            a->composition[*part.formula] = outsideShare(part);
            dropTrace(*part.formula);
        }
        return 0;
    }

    if (difference > 0 && a->density > info.density) {
        // The inside drains, in the proportions of its content.
        if (!(a->totalMass > 0) || !(a->density > 0)) return 0;
        const double drained = std::min(flow, a->totalMass);
        for (auto it = a->composition.begin(); it != a->composition.end();) {
            it->second -= it->second * drained / a->totalMass;
            if (it->second < kMinimumEntryMass) {
                it = a->composition.erase(it);
            } else {
                ++it;
            }
        }
        return drained;
    }

    // The outside comes in, each entry up to its share at the outside's density.
    if (!(info.density > 0) || !(outsideMolarMass > 0)) return 0;
    for (const Part& part : parts) {
        double& mass = a->composition[*part.formula];
        mass = std::min(mass + flow * part.fraction, outsideShare(part));
        dropTrace(*part.formula);
    }
    return flow;
}

std::shared_ptr<PressurizedVolume> PressurizedVolume::Create(Id id) {
    auto object = std::make_shared<PressurizedVolume>();
    object->id = id.IsNull() ? UniqueId::Generate("PVOL") : id;
    {
        std::unique_lock lock(_sharedObjectsMutex);
        if (!_sharedObjects.try_emplace(object->id, object).second) {
            throw std::runtime_error("UNIQUE_OBJECT PressurizedVolume with id " + object->id.ToString() +
                                     " already exists");
        }
    }
    return object;
}

std::shared_ptr<PressurizedVolume> PressurizedVolume::Get(Id id) {
    return RegistryGet(_sharedObjects, _sharedObjectsMutex, id);
}

void PressurizedVolume::ForEach(std::function<void(std::shared_ptr<PressurizedVolume>)>&& f) {
    RegistryForEach(_sharedObjects, _sharedObjectsMutex, f);
}

void PressurizedVolume::Find(Id groupId, glm::dvec3 position,
                             std::function<void(std::shared_ptr<PressurizedVolume>&)>&& callback) {
    std::shared_lock lock(_sharedObjectsMutex);
    for (const auto& entry : _sharedObjects) {
        std::shared_ptr<PressurizedVolume> candidate = entry.second;
        if (!candidate || !(candidate->volume > 0) || !(candidate->groupId == groupId)) continue;
        std::shared_ptr<ServerSideEntity> owner = ServerSideEntity::Get(candidate->ownerId);
        if (!owner || !owner->_interface || !owner->_interface->IsInsideVolume(position)) continue;
        callback(candidate);
        return;
    }
}

bool PressurizedVolume::Destroy(Id id) {
    std::shared_ptr<PressurizedVolume> released;  // dropped after the lock is given back
    std::unique_lock lock(_sharedObjectsMutex);
    auto it = _sharedObjects.find(id);
    if (it == _sharedObjects.end()) return false;
    released = std::move(it->second);
    _sharedObjects.erase(it);
    lock.unlock();
    return true;
}

}  // namespace game::entity
