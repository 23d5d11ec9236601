#include "world/asteroid.h"

namespace verdanium {

Asteroid::Asteroid(std::uint32_t keyCounter, std::shared_ptr<Geometry> geometry_, const Vec3& velocity_,
                   const Vec3& spin_)
    : Entity(keyCounter, std::move(geometry_)), velocity(velocity_), spin(spin_) {}

void Asteroid::update(double step) {
    const float dt = static_cast<float>(step);
    const float angle = length(spin) * dt;
    Transform moved = makeTranslation(velocity * dt);
    moved *= transform;
    moved *= makeRotation(spin, angle);
    transform = moved;
}

} // namespace verdanium
