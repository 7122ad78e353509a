#pragma once

// Shape tests and coefficients behind the aerodynamic surfaces of a moving body.
namespace game::physics {

// Edge of the square cells that a face is cut into for surfaces, and the most cells along one
// side of a face: a face of a few metres gets one surface, a long wing a row of them.
inline constexpr double kSurfaceCellSize = 2.0;
inline constexpr int kMaxSurfaceCellsPerSide = 4;

// Drag coefficient of a plain drag surface.
inline constexpr double kSurfaceDragCoefficient = 0.4;

// Box extents sorted s0 <= s1 <= s2. A wing is a thin plate at least 4 m long, at most four
// times as long as it is wide, with more than 0.75 square metres of face.
bool IsWingShape(double s0, double s1, double s2);

// Normal-force coefficient of a thin wing, in the usual 1/2 rho v^2 S convention, for the sine of
// the angle between the flow and the plate. Below the stall angle (15 degrees) it is the lifting-
// line slope 2 pi AR / (AR + 2) times sin(alpha); past it the wing loses 30 % and then rises
// linearly in sin(alpha) to 1.2 at right angles, the drag of a flat plate across the flow. The
// force is normal to the plate, so it carries the plate's pressure drag too: a wing's broad face
// gets no drag surface of its own.
double WingNormalForceCoefficient(double sinAlpha, double aspectRatio);

}  // namespace game::physics
