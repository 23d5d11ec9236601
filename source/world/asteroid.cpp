#include "world/asteroid.h"

namespace verdanium {

Asteroid::Asteroid(std::uint32_t keyCounter, std::shared_ptr<Geometry> geometry_, const Vec3& velocity_,
                   const Vec3& spin_)
    : Entity(keyCounter, std::move(geometry_)), velocity(velocity_), spin(spin_) {}

void Asteroid::update(double step) {
    const float dt = static_cast<float>(step);
    if (!rotationValid_ || dt != rotationStep_ || spin != rotationSpin_) {
        stepRotation_ = makeRotation(spin, length(spin) * dt);
        rotationStep_ = dt;
        rotationSpin_ = spin;
        rotationValid_ = true;
    }
    Transform moved = makeTranslation(velocity * dt);
    moved *= transform;
    moved *= stepRotation_;
    transform = moved;
}

} // namespace verdanium
