#pragma once

#include "foundation/math/vec3.h"
#include "world/entity.h"

#include <cstddef>

namespace verdanium {

// A rock that drifts in a straight line at constant velocity while tumbling about
// its own origin. No forces, no collisions, no bounds: it drifts for ever.
class Asteroid : public Entity {
public:
    Asteroid(std::uint32_t keyCounter, std::shared_ptr<Geometry> geometry, const Vec3& velocity,
             const Vec3& spin);

    // transform := translation(step * velocity) * transform * rotation(spin, |spin| * step).
    // The translation acts in the world frame and the rotation about the
    // asteroid's origin, so the path stays straight whatever the tumbling.
    // Rounding accumulates in the matrix and is never corrected. A zero spin
    // raises std::domain_error ("element not invertible").
    void update(double step) override;

    // Asteroids come from a pool of their own, so that those made one after the
    // other lie side by side and the per-step walk over them streams through
    // memory (see SlotPool). The new-expression still allocates before it
    // evaluates its arguments.
    static void* operator new(std::size_t bytes);
    static void operator delete(void* object, std::size_t bytes);

    // World units per second.
    Vec3 velocity;
    // Axis of rotation, with the angular speed in radians per second as its length.
    Vec3 spin;

private:
    // The rotation of one step, makeRotation(spin, |spin| * step), remembered for
    // the step and spin it was made for. The frame loop always steps by the same
    // 0.01 s, so the rotation (the costliest part of an update, with its sine,
    // cosine and square root) is made once per asteroid instead of once per
    // step; the composed transform is bit for bit the same. Only its first three
    // columns are kept, each with its fourth row of 0: the last column is the
    // identity's and the inverse is the exact transpose, so both are rebuilt
    // exactly from them, in less than half the memory that each update reads.
    float stepRotation_[12] = {};
    float rotationStep_ = 0.0f;
    Vec3 rotationSpin_;
    bool rotationValid_ = false;
};

} // namespace verdanium
