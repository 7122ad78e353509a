#pragma once
// The tuning numbers of the rigid-body step, each with its unit: the game's feel, in one place.
namespace game::physics::tuning {

// Fill (fraction of a collider's box that is solid) from which the box itself collides and
// displaces; below it only the children inside the box do. Aerodynamic surfaces use their own.
inline constexpr double kSolidFill = 0.95;
inline constexpr double kSurfaceSolidFill = 0.9;

// m/s: a top-level body slower than this joins the largest fixed body it touches; a child faster
// than the second leaves its parent.
inline constexpr double kAttachSpeed = 5.0;
inline constexpr double kDetachSpeed = 10.0;

// m: a contact point closer than this to one a body already keeps in the frame isn't kept.
inline constexpr double kContactMergeDistance = 0.1;

// Cosine of the largest angle between contact normals (and the plane of the newest three) that
// still hold a body up together, for the rest test.
inline constexpr double kParallelContacts = 0.707;

// m/s: sliding at a contact slower than this gets no friction impulse.
inline constexpr double kMinSlidingSpeed = 1e-6;

// m/s and rad/s: a body wedged among others that stays slower than these, and turns slower,
// through a whole frame of contacts comes to rest.
inline constexpr double kStillSpeed = 0.1;
inline constexpr double kStillSpin = 0.1;

}  // namespace game::physics::tuning
