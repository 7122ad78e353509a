#include "game/graphics/ui/Gizmo.h"

#include <algorithm>
#include <cmath>
#include <glm/geometric.hpp>
#include <glm/gtc/matrix_transform.hpp>
#include <glm/matrix.hpp>
#include <limits>
#include <optional>

namespace game::graphics::ui {

namespace {

constexpr int kRingSegments = 48;
constexpr ImU32 kAxisColours[3] = {IM_COL32(230, 60, 60, 255), IM_COL32(60, 200, 60, 255), IM_COL32(70, 110, 240, 255)};
constexpr ImU32 kHotColour = IM_COL32(255, 220, 40, 255);

struct State {
    ImVec2 rectMin{0, 0}, rectSize{0, 0};
    bool rectSet = false;
    int hovered = -1;  // axis under the mouse
    int active = -1;   // axis being dragged
    Gizmo::Operation activeOperation = Gizmo::TRANSLATE;
    ImVec2 dragStart{0, 0};
    glm::dmat4 startTransform{1.0};
    glm::dvec3 axisWorld{0.0};  // translate: the world offset of moving by one arrow length
    ImVec2 axisScreen{0, 0};    // translate: the arrow on the screen
};

State& S() {
    static State state;
    return state;
}

float Dot(ImVec2 a, ImVec2 b) { return a.x * b.x + a.y * b.y; }
ImVec2 Sub(ImVec2 a, ImVec2 b) { return ImVec2(a.x - b.x, a.y - b.y); }

float SegmentDistance(ImVec2 p, ImVec2 a, ImVec2 b) {
    const ImVec2 ab = Sub(b, a), ap = Sub(p, a);
    const float len2 = Dot(ab, ab);
    const float t = len2 > 0 ? std::clamp(Dot(ap, ab) / len2, 0.0f, 1.0f) : 0.0f;
    const ImVec2 q(a.x + ab.x * t - p.x, a.y + ab.y * t - p.y);
    return std::sqrt(Dot(q, q));
}

// A world point on the screen; empty behind the camera.
std::optional<ImVec2> Project(const glm::dmat4& viewProjection, const glm::dvec3& p) {
    const glm::dvec4 clip = viewProjection * glm::dvec4(p, 1.0);
    if (clip.w <= 1e-9) return std::nullopt;
    const State& s = S();
    const double x = clip.x / clip.w, y = clip.y / clip.w;
    return ImVec2(s.rectMin.x + float((x * 0.5 + 0.5) * s.rectSize.x),
                  s.rectMin.y + float((0.5 - y * 0.5) * s.rectSize.y));
}

}  // namespace

void Gizmo::BeginFrame() {
    State& s = S();
    s.hovered = -1;
    if (!s.rectSet) {
        const ImGuiViewport* viewport = ImGui::GetMainViewport();
        s.rectMin = viewport->Pos;
        s.rectSize = viewport->Size;
    }
    s.rectSet = false;
}

void Gizmo::SetRect(float x, float y, float width, float height) {
    State& s = S();
    s.rectMin = ImVec2(x, y);
    s.rectSize = ImVec2(width, height);
    s.rectSet = true;
}

bool Gizmo::IsOver() { return S().hovered >= 0; }
bool Gizmo::IsUsing() { return S().active >= 0; }

bool Gizmo::Manipulate(const glm::dmat4& view, const glm::dmat4& projection, Operation operation,
                       glm::dmat4& transform) {
    State& s = S();
    const ImGuiIO& io = ImGui::GetIO();
    const glm::dmat4 viewProjection = projection * view;
    const glm::dvec3 centre(transform[3]);
    const auto centreScreen = Project(viewProjection, centre);
    if (!centreScreen || s.rectSize.y <= 0) {
        s.active = -1;
        return false;
    }
    // One handle length in world units at the centre's depth: kHandlePixels on the screen.
    const double w = (viewProjection * glm::dvec4(centre, 1.0)).w;
    const double length = kHandlePixels * 2.0 * w / (double(s.rectSize.y) * std::abs(projection[1][1]));
    glm::dvec3 axes[3];
    for (int i = 0; i < 3; ++i) {
        const glm::dvec3 column(transform[i]);
        const double n = glm::length(column);
        axes[i] = n > 0 ? column / n : glm::dvec3(i == 0, i == 1, i == 2);
    }

    // Each handle as a polyline on the screen.
    ImVector<ImVec2> shapes[3];
    for (int i = 0; i < 3; ++i) {
        if (operation == TRANSLATE) {
            shapes[i].push_back(*centreScreen);
            if (auto end = Project(viewProjection, centre + axes[i] * length)) shapes[i].push_back(*end);
        } else {
            const glm::dvec3 u = axes[(i + 1) % 3], v = axes[(i + 2) % 3];
            for (int k = 0; k <= kRingSegments; ++k) {
                const double t = 2.0 * M_PI * k / kRingSegments;
                if (auto p = Project(viewProjection, centre + length * (std::cos(t) * u + std::sin(t) * v)))
                    shapes[i].push_back(*p);
            }
        }
    }

    if (s.active < 0) {
        float best = kPickPixels;
        for (int i = 0; i < 3; ++i)
            for (int k = 0; k + 1 < shapes[i].Size; ++k) {
                const float d = SegmentDistance(io.MousePos, shapes[i][k], shapes[i][k + 1]);
                if (d < best) best = d, s.hovered = i;
            }
        if (s.hovered >= 0 && ImGui::IsMouseClicked(ImGuiMouseButton_Left) &&
            !ImGui::IsWindowHovered(ImGuiHoveredFlags_AnyWindow)) {
            s.active = s.hovered;
            s.activeOperation = operation;
            s.dragStart = io.MousePos;
            s.startTransform = transform;
            s.axisWorld = axes[s.active] * length;
            s.axisScreen = shapes[s.active].Size > 1 ? Sub(shapes[s.active][1], shapes[s.active][0]) : ImVec2(0, 0);
        }
    }

    bool changed = false;
    if (s.active >= 0 && (!ImGui::IsMouseDown(ImGuiMouseButton_Left) || s.activeOperation != operation)) {
        s.active = -1;
    } else if (s.active >= 0) {
        const ImVec2 moved = Sub(io.MousePos, s.dragStart);
        glm::dmat4 next = s.startTransform;
        if (operation == TRANSLATE) {
            const float len2 = Dot(s.axisScreen, s.axisScreen);
            const double t = len2 > 0 ? Dot(moved, s.axisScreen) / len2 : 0.0;
            next[3] += glm::dvec4(s.axisWorld * t, 0.0);
        } else {
            const ImVec2 a = Sub(s.dragStart, *centreScreen), b = Sub(io.MousePos, *centreScreen);
            // Screen y points down, so a turn that looks anticlockwise has a negative atan2 step.
            double angle = -(std::atan2(b.y, b.x) - std::atan2(a.y, a.x));
            const glm::dvec3 axis = axes[s.active];
            const glm::dvec3 eye(glm::inverse(view)[3]);
            if (glm::dot(axis, eye - centre) < 0) angle = -angle;  // the axis points away from the viewer
            next = glm::translate(glm::dmat4(1.0), centre) * glm::rotate(glm::dmat4(1.0), angle, axis) *
                   glm::translate(glm::dmat4(1.0), -centre) * s.startTransform;
        }
        changed = next != transform;
        transform = next;
    }

    ImDrawList* draw = ImGui::GetForegroundDrawList();
    for (int i = 0; i < 3; ++i) {
        if (shapes[i].Size < 2) continue;
        const ImU32 colour = (i == s.active || (s.active < 0 && i == s.hovered)) ? kHotColour : kAxisColours[i];
        draw->AddPolyline(shapes[i].Data, shapes[i].Size, colour, 0, 3.0f);
        if (operation == TRANSLATE) draw->AddCircleFilled(shapes[i][1], 5.0f, colour);
    }
    draw->AddCircleFilled(*centreScreen, 4.0f, IM_COL32(255, 255, 255, 255));
    return changed;
}

}  // namespace game::graphics::ui
