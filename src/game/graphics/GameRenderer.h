#pragma once
#include <atomic>

#include <glm/mat4x4.hpp>
#include <glm/vec4.hpp>

namespace quorl::graphics {
class Window;
}

namespace game::graphics {

// The library's renderer: hands each stage to the loaded game modules and owns the game's shared
// rendering state. Game::renderer points to the only instance. This part holds the start and stop
// of rendering, the release of everything at Cleanup, and the camera the audio listener follows.
class GameRenderer {
public:
    // The view of the player. The vectors are in camera space (w = 1 for a point, 0 for a
    // direction) and worldTransform takes them to the world.
    struct Camera {
        glm::dvec4 origin{0.0, 0.0, 0.0, 1.0};
        glm::dvec4 forward{0.0, 0.0, -1.0, 0.0};
        glm::dvec4 up{0.0, 1.0, 0.0, 0.0};
        glm::dmat4 worldTransform{1.0};
    };

    explicit GameRenderer(quorl::graphics::Window* window);
    virtual ~GameRenderer();
    GameRenderer(const GameRenderer&) = delete;
    GameRenderer& operator=(const GameRenderer&) = delete;

    // Calls every game module's Renderer_StartRendering / Renderer_StopRendering.
    virtual void StartRendering();
    virtual void StopRendering();
    // Releases what the renderer still holds for the game; called by Game::Stop.
    void Cleanup();

    bool IsRendering() const { return _rendering; }
    quorl::graphics::Window* GetWindow() const { return _window; }

    Camera camera;

private:
    quorl::graphics::Window* _window;
    std::atomic<bool> _rendering{false};
};

}  // namespace game::graphics
