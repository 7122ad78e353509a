#include "game/entity/EntityConfig.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <iostream>
#include <limits>
#include <sstream>
#include <system_error>
#include <unordered_set>

#include <glm/geometric.hpp>
#include <glm/gtc/quaternion.hpp>

#include "game/Game.h"
#include "game/graphics/Mesh.h"
#include "quorl/String.h"

namespace game::entity {

namespace {

constexpr float kDegreesToRadians = 0.017453292f;

// What went wrong with one record; the first problem is the one reported.
struct RecordCheck {
    std::string problem;
    void Fail(std::string why) {
        if (problem.empty()) problem = std::move(why);
    }
};

enum class NumberResult { Ok, Missing, NonFinite };

// One number token; "Missing" for no token or a token that isn't a number (the field keeps its
// value), "NonFinite" for infinities, NaN and numbers out of range.
NumberResult ReadNumber(std::istream& in, double& out, double limit) {
    std::string token;
    if (!(in >> token)) return NumberResult::Missing;
    std::string_view t = token;
    if (t.size() > 1 && t[0] == '+' && t[1] != '-') t.remove_prefix(1);
    double v = 0;
    auto [ptr, ec] = std::from_chars(t.data(), t.data() + t.size(), v);
    if (ec == std::errc::invalid_argument || ptr != t.data() + t.size()) {
        in.setstate(std::ios::failbit);
        return NumberResult::Missing;
    }
    if (ec != std::errc() || !std::isfinite(v) || std::fabs(v) > limit) return NumberResult::NonFinite;
    out = v;
    return NumberResult::Ok;
}

constexpr double kFloatLimit = std::numeric_limits<float>::max();
constexpr double kDoubleLimit = std::numeric_limits<double>::max();

void ReadFloats(std::istream& in, float* out, int n, RecordCheck& check, const std::string& key) {
    for (int i = 0; i < n; ++i) {
        double v;
        NumberResult r = ReadNumber(in, v, kFloatLimit);
        if (r == NumberResult::NonFinite) check.Fail("non-finite number in '" + key + "'");
        if (r != NumberResult::Ok) return;
        out[i] = static_cast<float>(v);
    }
}

void ReadVec3(std::istream& in, glm::vec3& v, RecordCheck& check, const std::string& key) {
    float f[3] = {v.x, v.y, v.z};
    ReadFloats(in, f, 3, check, key);
    v = glm::vec3(f[0], f[1], f[2]);
}

bool ReadWordBool(std::istream& in, bool& out) {
    std::string word;
    if (!(in >> word)) return false;
    std::transform(word.begin(), word.end(), word.begin(), [](unsigned char c) { return std::tolower(c); });
    out = word == "true" || word == "yes" || word == "1";
    return true;
}

// Reads "x y z" triples to the end of the line into at most capacity slots. More triples than
// that fail the record; a trailing partial triple or a non-number ends the list.
template <class Store>
uint16_t ReadTriples(std::istream& in, uint16_t capacity, RecordCheck& check, const std::string& key, Store store) {
    uint16_t count = 0;
    for (;;) {
        double v[3];
        int got = 0;
        for (; got < 3; ++got) {
            NumberResult r = ReadNumber(in, v[got], kFloatLimit);
            if (r == NumberResult::NonFinite) {
                check.Fail("non-finite number in '" + key + "'");
                return count;
            }
            if (r != NumberResult::Ok) break;
        }
        if (got < 3) return count;
        if (count == capacity) {
            check.Fail("more than " + std::to_string(capacity) + " entries in '" + key + "'");
            return count;
        }
        if (!store(count, v)) return count;
        ++count;
    }
}

glm::vec3 ToGameAxes(const glm::vec3& v) { return glm::vec3(v.x, v.z, -v.y); }

void SortBox(glm::vec3& lo, glm::vec3& hi) {
    lo = ToGameAxes(lo);
    hi = ToGameAxes(hi);
    for (int k = 0; k < 3; ++k) {
        if (lo[k] > hi[k]) std::swap(lo[k], hi[k]);
    }
}

// parent, position, rotation; true when key was one of them.
template <class Record>
bool ReadPlacement(const std::string& key, std::istream& in, Record& r, RecordCheck& check) {
    if (key == "parent") {
        std::string word;
        if (in >> word) r.parent = word;
        return true;
    }
    if (key == "position") {
        ReadVec3(in, r.position, check, key);
        return true;
    }
    if (key == "rotation") {
        ReadVec3(in, r.rotation, check, key);
        return true;
    }
    return false;
}


// What a file's sections give, gathered before anything of the EntityConfig changes.
struct Staging {
    double mass = 0;
    bool airtight = false;
    std::vector<std::string> basePlanes;
    std::unordered_map<std::string, EntityConfig::Camera> cameras;
    std::unordered_map<std::string, EntityConfig::Joint> joints;
    std::unordered_map<std::string, EntityConfig::Target> targets;
    std::unordered_map<std::string, EntityConfig::Renderable> renderables;
    std::unordered_map<std::string, EntityConfig::Collider> colliders;
    std::unordered_map<std::string, EntityConfig::Adapter> adapters;
    std::unordered_map<std::string, EntityConfig::LightBox> lightBoxes;
};

// One section being read: its name and lines, the first problem found, and, for a record that is
// a node of the tree, its transform and parent.
struct Section {
    Section(const std::string& name_, std::vector<quorl::filesystem::ConfigFile::ConfLineStream>& lines_,
            Staging& staged_)
        : name(name_), lines(lines_), staged(staged_) {}

    const std::string& name;
    std::vector<quorl::filesystem::ConfigFile::ConfLineStream>& lines;
    Staging& staged;
    RecordCheck check;
    glm::mat4 transform{1.0f};
    std::string parent;

    template <class OnKey>
    void EachLine(OnKey&& onKey) {
        for (auto& line : lines) {
            std::string key;
            line.key >> key;
            onKey(key, line.value);
        }
    }
    // Records the placement of a record that passed its checks.
    template <class Record>
    void Place(Record& record) {
        record.transform = EntityConfig::TransformFromBlender(record.position, record.rotation);
        transform = record.transform;
        parent = record.parent;
    }
    bool Failed() const { return !check.problem.empty(); }
};

// Each reader reads one section into the staging copy and returns whether it is a node of the
// tree; a section with a problem leaves the staging copy as it was.
bool ReadEntity(Section& s) {
    double m = s.staged.mass;
    bool air = s.staged.airtight;
    std::vector<std::string> planes = s.staged.basePlanes;
    s.EachLine([&](const std::string& key, std::istream& in) {
        if (key == "mass") {
            double v;
            NumberResult r = ReadNumber(in, v, kDoubleLimit);
            if (r == NumberResult::NonFinite) s.check.Fail("non-finite number in 'mass'");
            if (r == NumberResult::Ok) m = v;
        } else if (key == "airtight") {
            ReadWordBool(in, air);
        } else if (key == "base_planes") {
            planes.clear();
            std::string word;
            while (in >> word) planes.push_back(word);
        }
    });
    if (s.Failed()) return false;
    if (planes.empty()) planes = {"-Z", "-Y"};
    s.staged.mass = m;
    s.staged.airtight = air;
    s.staged.basePlanes = std::move(planes);
    return false;
}

bool ReadJoint(Section& s) {
    EntityConfig::Joint j;
    s.EachLine([&](const std::string& key, std::istream& in) {
        if (ReadPlacement(key, in, j, s.check)) return;
        static const char* const kAxes[] = {"x", "y", "z"};
        for (int k = 0; k < 3; ++k) {
            const bool linear = key == std::string("linear_") + kAxes[k];
            const bool angular = key == std::string("angular_") + kAxes[k];
            if (!linear && !angular) continue;
            glm::vec3* values = linear ? j.linear : j.angular;
            float f[3] = {values[0][k], values[1][k], values[2][k]};
            ReadFloats(in, f, 3, s.check, key);
            for (int i = 0; i < 3; ++i) values[i][k] = f[i];
            bool* const linearGiven[3] = {&j.linear_x, &j.linear_y, &j.linear_z};
            bool* const angularGiven[3] = {&j.angular_x, &j.angular_y, &j.angular_z};
            *(linear ? linearGiven : angularGiven)[k] = true;
        }
    });
    if (s.Failed()) return false;
    const bool linearGiven[3] = {j.linear_x, j.linear_y, j.linear_z};
    const bool angularGiven[3] = {j.angular_x, j.angular_y, j.angular_z};
    for (int k = 0; k < 3; ++k) {
        if (!linearGiven[k]) j.linear[0][k] = j.linear[1][k] = j.linear[2][k] = j.position[k];
        if (!angularGiven[k]) j.angular[0][k] = j.angular[1][k] = j.angular[2][k] = j.rotation[k];
    }
    s.Place(j);
    s.staged.joints[s.name] = j;
    return true;
}

bool ReadCamera(Section& s) {
    EntityConfig::Camera c;
    s.EachLine([&](const std::string& key, std::istream& in) {
        if (ReadPlacement(key, in, c, s.check)) return;
        if (key == "znear") ReadFloats(in, &c.znear, 1, s.check, key);
    });
    if (s.Failed()) return false;
    s.Place(c);
    s.staged.cameras[s.name] = c;
    return true;
}

// A target and a renderable are both a bare placement.
bool ReadPlacementOnly(Section& s, EntityConfig::Target& t) {
    s.EachLine([&](const std::string& key, std::istream& in) { ReadPlacement(key, in, t, s.check); });
    if (s.Failed()) return false;
    s.Place(t);
    return true;
}

bool ReadTarget(Section& s) {
    EntityConfig::Target t;
    if (!ReadPlacementOnly(s, t)) return false;
    s.staged.targets[s.name] = t;
    return true;
}

bool ReadRenderable(Section& s) {
    EntityConfig::Target t;
    if (!ReadPlacementOnly(s, t)) return false;
    s.staged.renderables[s.name] = EntityConfig::Renderable{t.parent, t.position, t.rotation, t.transform};
    return true;
}

bool ReadLightBox(Section& s) {
    EntityConfig::LightBox b;
    s.EachLine([&](const std::string& key, std::istream& in) {
        if (ReadPlacement(key, in, b, s.check)) return;
        if (key == "box_min") ReadVec3(in, b.box_min, s.check, key);
        if (key == "box_max") ReadVec3(in, b.box_max, s.check, key);
    });
    if (s.Failed()) return false;
    SortBox(b.box_min, b.box_max);
    s.Place(b);
    s.staged.lightBoxes[s.name] = b;
    return true;
}

bool ReadAdapter(Section& s) {
    EntityConfig::Adapter a;
    s.EachLine([&](const std::string& key, std::istream& in) {
        if (ReadPlacement(key, in, a, s.check)) return;
        std::string word;
        if (key == "type" && in >> word) a.type = word;
    });
    if (s.Failed()) return false;
    s.Place(a);
    s.staged.adapters[s.name] = a;
    return true;
}

bool ReadCollider(Section& s) {
    using Collider = EntityConfig::Collider;
    Collider c;
    RecordCheck& check = s.check;
    s.EachLine([&](const std::string& key, std::istream& in) {
        if (ReadPlacement(key, in, c, check)) return;
        if (key == "is_build_block") {
            ReadWordBool(in, c.is_build_block);
        } else if (key == "displacement_volume") {
            ReadFloats(in, &c.displacement_volume, 1, check, key);
        } else if (key == "box_min") {
            ReadVec3(in, c.box_min, check, key);
        } else if (key == "box_max") {
            ReadVec3(in, c.box_max, check, key);
        } else if (key == "vertices") {
            c.vertexCount = ReadTriples(in, Collider::kMaxVertices, check, key, [&](uint16_t i, const double* v) {
                c.vertices[i] = glm::vec3(float(v[0]), float(v[2]), -float(v[1]));
                return true;
            });
        } else if (key == "faces_normal") {
            const glm::quat toGame(glm::vec3(-1.5707964f, 0.0f, 0.0f));
            c.faceNormalCount = ReadTriples(in, Collider::kMaxFaceNormals, check, key, [&](uint16_t i, const double* v) {
                const glm::vec3 n{float(v[0]), float(v[1]), float(v[2])};
                if (glm::length(n) == 0.0f) {
                    check.Fail("face normal of zero length");
                    return false;
                }
                c.faceNormals[i] = glm::normalize(toGame * n);
                return true;
            });
        } else if (key == "triangles") {
            c.triangleCount = ReadTriples(in, Collider::kMaxTriangles, check, key, [&](uint16_t i, const double* v) {
                for (int k = 0; k < 3; ++k) {
                    if (v[k] < 0 || v[k] > 65535 || v[k] != std::floor(v[k])) {
                        check.Fail("triangle index " + quorl::String::FromDouble(v[k]) + " is not a 16-bit index");
                        return false;
                    }
                    c.triangles[i][k] = static_cast<uint16_t>(v[k]);
                }
                return true;
            });
        }
    });
    for (uint16_t t = 0; t < c.triangleCount && !s.Failed(); ++t) {
        for (int k = 0; k < 3; ++k) {
            if (c.triangles[t][k] >= c.vertexCount) {
                check.Fail("triangle index " + std::to_string(c.triangles[t][k]) + " past the " +
                           std::to_string(c.vertexCount) + " vertices");
                break;
            }
        }
    }
    if (s.Failed()) return false;
    SortBox(c.box_min, c.box_max);
    s.Place(c);
    s.staged.colliders[s.name] = c;
    return true;
}

template <auto Map>
void Drop(EntityConfig& config, const std::string& name) {
    (config.*Map).erase(name);
}

// One row per kind of record: the section keyword, its reader, and how a record of it is dropped
// again when its parent chain loops (null for ENTITY, which is no node). A new kind of record is a
// row here, its reader above, and its map in EntityConfig.
struct SectionKind {
    const char* keyword;
    bool (*read)(Section&);
    void (*drop)(EntityConfig&, const std::string&);
};
constexpr SectionKind kSectionKinds[] = {
    {"ENTITY", ReadEntity, nullptr},
    {"JOINT", ReadJoint, Drop<&EntityConfig::joints>},
    {"CAMERA", ReadCamera, Drop<&EntityConfig::cameras>},
    {"TARGET", ReadTarget, Drop<&EntityConfig::targets>},
    {"RENDERABLE", ReadRenderable, Drop<&EntityConfig::renderables>},
    {"LIGHT_BOX", ReadLightBox, Drop<&EntityConfig::lightBoxes>},
    {"ADAPTER", ReadAdapter, Drop<&EntityConfig::adapters>},
    {"COLLIDER", ReadCollider, Drop<&EntityConfig::colliders>},
};

const SectionKind* FindSectionKind(const std::string& keyword) {
    for (const SectionKind& kind : kSectionKinds)
        if (keyword == kind.keyword) return &kind;
    return nullptr;
}
}  // namespace

EntityConfig::EntityConfig(const std::string& path, std::optional<int> option) : ConfigFile(path, option) {}

EntityConfig::~EntityConfig() { StopAutoReloadThread(); }

glm::mat4 EntityConfig::TransformFromBlender(const glm::vec3& position, const glm::vec3& rotation) {
    const glm::vec3 r = rotation * kDegreesToRadians;
    const glm::vec3 e(r.x, r.z, -r.y);
    const glm::vec3 c = glm::cos(e * 0.5f), s = glm::sin(e * 0.5f);
    const glm::quat q(c.x * c.y * c.z + s.x * s.y * s.z, s.x * c.y * c.z - c.x * s.y * s.z,
                      c.x * s.y * c.z + s.x * c.y * s.z, c.x * c.y * s.z - s.x * s.y * c.z);
    glm::mat4 m = glm::mat4_cast(q);
    m[3] = glm::vec4(position.x, position.z, -position.y, 1.0f);
    return m;
}

glm::dmat4 EntityConfig::TransformFromBlender(const glm::dvec3& position, const glm::dvec3& rotation) {
    const glm::dvec3 r = rotation * static_cast<double>(kDegreesToRadians);
    const glm::dvec3 e(r.x, r.z, -r.y);
    const glm::dvec3 c = glm::cos(e * 0.5), s = glm::sin(e * 0.5);
    const glm::dquat q(c.x * c.y * c.z + s.x * s.y * s.z, s.x * c.y * c.z - c.x * s.y * s.z,
                       c.x * s.y * c.z + s.x * c.y * s.z, c.x * c.y * s.z - s.x * s.y * c.z);
    glm::dmat4 m = glm::mat4_cast(q);
    m[3] = glm::dvec4(position.x, position.z, -position.y, 1.0);
    return m;
}

void EntityConfig::ReadConfig() {
    // Everything is read into a staging copy first, so that a file that can't be read loses
    // nothing.
    Staging staged;
    staged.mass = mass;
    staged.airtight = airtight;
    staged.basePlanes = base_planes;
    std::vector<std::pair<std::string, Node>> newNodes;  // in file order; a later record wins

    const std::string& file = String();
    const bool readable = ReadFromINI([&](std::stringstream& header, std::vector<ConfLineStream>& lines) {
        std::string keyword;
        if (!(header >> keyword)) return;
        std::string rest;
        std::getline(header, rest);
        const std::string name = quorl::String::Trim(rest);
        if (name.empty()) return;
        const SectionKind* kind = FindSectionKind(keyword);
        if (!kind) return;  // unknown keyword: the whole section is ignored

        Section section(name, lines, staged);
        const bool node = kind->read(section);
        if (section.Failed()) {
            Report(file + ": [" + keyword + " " + name + "]: " + section.check.problem + "; record ignored");
            return;
        }
        if (node) newNodes.emplace_back(name, Node{section.transform, section.parent, keyword});
    });

    if (readable) {
        mass = staged.mass;
        airtight = staged.airtight;
        base_planes = std::move(staged.basePlanes);
        cameras = std::move(staged.cameras);
        joints = std::move(staged.joints);
        targets = std::move(staged.targets);
        renderables = std::move(staged.renderables);
        for (auto& [name, record] : staged.colliders) colliders[name] = std::move(record);
        for (auto& [name, record] : staged.adapters) adapters[name] = std::move(record);
        for (auto& [name, record] : staged.lightBoxes) lightBoxes[name] = std::move(record);
        for (auto& [name, node] : newNodes) nodes[name] = std::move(node);

        // Parent chains that loop: every record on a loop is dropped.
        std::unordered_map<std::string, int> state;  // 1 on the current walk, 2 done
        std::vector<std::string> dropped;
        for (const auto& entry : nodes) {
            std::vector<std::string> walk;
            std::string current = entry.first;
            while (true) {
                auto it = nodes.find(current);
                if (it == nodes.end() || state[current] == 2) break;
                if (state[current] == 1) {
                    auto from = std::find(walk.begin(), walk.end(), current);
                    std::string chain;
                    for (auto w = from; w != walk.end(); ++w) {
                        chain += "[" + nodes[*w].type + " " + *w + "] -> ";
                        dropped.push_back(*w);
                    }
                    Report(file + ": parent chain loops: " + chain + "[" + nodes[current].type + " " + current +
                           "]; records ignored");
                    break;
                }
                state[current] = 1;
                walk.push_back(current);
                if (it->second.parent.empty()) break;
                current = it->second.parent;
            }
            for (const auto& w : walk) state[w] = 2;
        }
        for (const auto& name : dropped) {
            const SectionKind* kind = FindSectionKind(nodes[name].type);
            nodes.erase(name);
            if (kind && kind->drop) kind->drop(*this, name);
        }
    }
    jointSolver.config = this;
    jointSolver.Init();
}

glm::dmat4 EntityConfig::GetAbsoluteTransform(const std::string& name) const {
    glm::dmat4 result(1.0);
    const std::string* current = &name;
    // A chain can't be longer than the number of nodes; the bound also stops a loop put in by hand.
    for (size_t steps = 0; steps <= nodes.size(); ++steps) {
        auto it = nodes.find(*current);
        if (it == nodes.end()) break;
        result = glm::dmat4(it->second.transform) * result;
        if (it->second.parent.empty()) break;
        current = &it->second.parent;
    }
    return result;
}

glm::dmat4 EntityConfig::GetTransformRelativeToFirstParentJointOrRoot(const std::string& name,
                                                                       std::string& jointName) const {
    glm::dmat4 result(1.0);
    const std::string* current = &name;
    for (size_t steps = 0; steps <= nodes.size(); ++steps) {
        auto it = nodes.find(*current);
        if (it == nodes.end()) break;
        if (it->second.type == "JOINT") {
            jointName = *current;
            break;
        }
        result = glm::dmat4(it->second.transform) * result;
        if (it->second.parent.empty()) break;
        current = &it->second.parent;
    }
    return result;
}

std::string EntityConfig::GetMeshFilePath() const { return Directory() + "/" + Stem() + ".gltf"; }

std::shared_ptr<graphics::Mesh> EntityConfig::GetMesh() const {
    if (mesh) return mesh;
    std::error_code ec;
    const std::string path = GetMeshFilePath();
    if (!std::filesystem::exists(path, ec)) {
        // The model is shown by nothing: say so once, then go on without a mesh.
        if (!renderables.empty() && !meshMissingReported.exchange(true))
            std::cerr << "Mesh missing: " << path << " (model " << String() << " has RENDERABLE "
                      << renderables.begin()->first << ")\n";
        return mesh;
    }
    meshWriteTime = std::filesystem::last_write_time(path, ec);
    // Geometry lives on the GPU: without a renderer (a server, a test) there is no mesh to make.
    if (!Game::renderer) return mesh;
    mesh = std::make_shared<graphics::Mesh>(path);
    return mesh;
}

ConvexMeshCollider EntityConfig::MakeCollider(const Collider& record, const glm::dmat4& transform) {
    ConvexMeshCollider shape;
    shape.transform = transform;
    shape.box_min = record.box_min;
    shape.box_max = record.box_max;
    shape.displacement = 0;
    if (record.vertexCount == 0) {
        shape.SetBox(record.box_min, record.box_max);
        return shape;
    }
    shape.vertexCount = std::min<uint32_t>(record.vertexCount, Collider::kMaxVertices);
    shape.faceNormalCount = std::min<uint32_t>(record.faceNormalCount, Collider::kMaxFaceNormals);
    shape.triangleCount = std::min<uint32_t>(record.triangleCount, Collider::kMaxTriangles);
    std::copy(record.vertices, record.vertices + shape.vertexCount, shape.vertices);
    std::copy(record.faceNormals, record.faceNormals + shape.faceNormalCount, shape.faceNormals);
    for (uint32_t t = 0; t < shape.triangleCount; ++t) {
        std::copy(record.triangles[t], record.triangles[t] + 3, shape.triangles[t]);
    }
    shape.RecomputeBounds();
    return shape;
}

ConvexMeshCollider EntityConfig::MakeCollider(const std::string& name) const {
    return MakeCollider(colliders.at(name), GetAbsoluteTransform(name));
}

}  // namespace game::entity
