#pragma once
#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include "game/physics/Collision.h"

namespace game::physics {
class RigidbodyBase;  // the non-template base of Rigidbody<Entity>
}

namespace game::entity {

// Run-time convex shape of one collider of one entity instance. Copied by value every physics
// step, so copies must stay cheap and never allocate: the geometry is inline, and the children,
// the name and the callback are shared between copies.
struct ConvexMeshCollider {
    // Contact callback: (rigidbody, collider, otherCollider or null, collision, deltaTime). The
    // body is always a DynamicRigidbody of the entity type. It may set collision.depth to 0 to
    // cancel the response; for fixed contacts, false keeps the contact out of the body's static
    // contacts.
    using Function = std::function<bool(physics::RigidbodyBase*, ConvexMeshCollider*, ConvexMeshCollider*,
                                        physics::Collision&, double)>;

    // A callback shared by all copies of a collider: copying it copies a pointer.
    class Callback {
    public:
        Callback() = default;
        Callback(std::nullptr_t) {}
        template <class F, class = std::enable_if_t<!std::is_same_v<std::decay_t<F>, Callback> &&
                                                    std::is_constructible_v<Function, F&&>>>
        Callback(F&& f) {
            Function function(std::forward<F>(f));
            if (function) _function = std::make_shared<const Function>(std::move(function));
        }
        explicit operator bool() const { return _function != nullptr; }
        bool operator()(physics::RigidbodyBase* body, ConvexMeshCollider* collider, ConvexMeshCollider* other,
                        physics::Collision& collision, double deltaTime) const {
            return (*_function)(body, collider, other, collision, deltaTime);
        }

    private:
        std::shared_ptr<const Function> _function;
    };

    // Text shared by all copies of a collider, read like a std::string.
    class Name {
    public:
        Name() = default;
        Name(const std::string& text) { Assign(text); }
        Name(const char* text) { Assign(text); }
        Name& operator=(const std::string& text) { return Assign(text); }
        Name& operator=(const char* text) { return Assign(text); }
        const std::string& str() const { return _text ? *_text : Empty(); }
        operator const std::string&() const { return str(); }
        const char* c_str() const { return str().c_str(); }
        size_t size() const { return str().size(); }
        bool empty() const { return str().empty(); }
        friend bool operator==(const Name& a, const Name& b) { return a.str() == b.str(); }
        friend bool operator==(const Name& a, const std::string& b) { return a.str() == b; }
        friend bool operator==(const Name& a, const char* b) { return a.str() == b; }
        friend std::ostream& operator<<(std::ostream& out, const Name& name) { return out << name.str(); }

    private:
        Name& Assign(std::string text) {
            if (text.empty()) _text.reset();
            else _text = std::make_shared<const std::string>(std::move(text));
            return *this;
        }
        static const std::string& Empty() {
            static const std::string empty;
            return empty;
        }
        std::shared_ptr<const std::string> _text;
    };

    bool enabled = true;
    glm::dmat4 transform{1.0};
    glm::vec3 box_min{0.0f};
    glm::vec3 box_max{0.0f};
    double radius = 0;
    double fill = 1.0;
    double displacement = 1.0;
    uint32_t vertexCount = 0;
    uint32_t faceNormalCount = 0;
    uint32_t triangleCount = 0;
    glm::vec3 vertices[8]{};
    glm::vec3 faceNormals[12]{};
    uint16_t triangles[12][3]{};
    std::shared_ptr<std::vector<ConvexMeshCollider>> children = std::make_shared<std::vector<ConvexMeshCollider>>();
    Name name;
    bool groundQueryWithoutBit4 = false;  // the ground query for this collider leaves out bit 4
    bool isSphere = false;
    double friction = 0.2;
    Callback callback;

    // Makes the shape the box between two corners: 8 vertices (index bits 4, 2, 1 pick the
    // maximum in x, y, z), the 3 axis normals and 12 triangles; then RecomputeBounds().
    void SetBox(const glm::vec3& cornerA, const glm::vec3& cornerB);
    // box_min/box_max become the bounds of the vertices (+/- the greatest float with no vertex),
    // radius half the box diagonal.
    void RecomputeBounds();
};

}  // namespace game::entity
