#include "world/asteroid.h"

#include "world/entity_map.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace verdanium {
namespace {

// Slots packed end to end, on no more than the alignment an asteroid needs: a
// step streams through every slot, and slots rounded up to whole cache lines
// would make it stream that padding too (the 352-byte asteroid took 384).
SlotPool& asteroidPool() {
    static SlotPool pool(1024, alignof(Asteroid));
    return pool;
}

#if defined(__SSE2__)
// A Mat4 as four column registers. The product below is Mat4's operator*
// lane for lane: column c of a * b is ((a0 * b0c + a1 * b1c) + a2 * b2c) +
// a3 * b3c, with every product and sum rounded to float as the scalar code
// rounds it, so the result is bit for bit the same, in a quarter of the
// instructions.
struct Columns {
    __m128 c[4];
};

Columns loadColumns(const Mat4& m) {
    return {{_mm_loadu_ps(m.m), _mm_loadu_ps(m.m + 4), _mm_loadu_ps(m.m + 8), _mm_loadu_ps(m.m + 12)}};
}

void storeColumns(const Columns& columns, Mat4& m) {
    for (int k = 0; k < 4; ++k)
        _mm_storeu_ps(m.m + 4 * k, columns.c[k]);
}

Columns multiply(const Columns& a, const Columns& b) {
    Columns r;
    for (int k = 0; k < 4; ++k) {
        const __m128 x = _mm_shuffle_ps(b.c[k], b.c[k], 0x00);
        const __m128 y = _mm_shuffle_ps(b.c[k], b.c[k], 0x55);
        const __m128 z = _mm_shuffle_ps(b.c[k], b.c[k], 0xaa);
        const __m128 w = _mm_shuffle_ps(b.c[k], b.c[k], 0xff);
        r.c[k] = _mm_add_ps(
            _mm_add_ps(_mm_add_ps(_mm_mul_ps(a.c[0], x), _mm_mul_ps(a.c[1], y)), _mm_mul_ps(a.c[2], z)),
            _mm_mul_ps(a.c[3], w));
    }
    return r;
}
#endif

} // namespace

void* Asteroid::operator new(std::size_t bytes) {
    return asteroidPool().allocate(bytes);
}

void Asteroid::operator delete(void* object, std::size_t bytes) {
    asteroidPool().deallocate(object, bytes);
}

Asteroid::Asteroid(std::uint32_t keyCounter, std::shared_ptr<Geometry> geometry_, const Vec3& velocity_,
                   const Vec3& spin_)
    : Entity(keyCounter, std::move(geometry_)), velocity(velocity_), spin(spin_) {}

void Asteroid::update(double step) {
    const float dt = static_cast<float>(step);
    if (!rotationValid_ || dt != rotationStep_ || spin != rotationSpin_) {
        const Transform rotation = makeRotation(spin, length(spin) * dt);
        for (int column = 0; column < 3; ++column)
            for (int row = 0; row < 4; ++row)
                stepRotation_[4 * column + row] = rotation.forward(row, column);
        rotationStep_ = dt;
        rotationSpin_ = spin;
        rotationValid_ = true;
    }

#if defined(__SSE2__)
    // transform := translation * transform * rotation, as Transform's *= composes
    // it: forward (T X) R, inverse R^-1 (X^-1 T^-1), with T and R and their
    // inverses made in registers lane for lane as makeTranslation and the
    // rotation above make them (the fourth lanes are set by bit masks, which
    // round nothing). A singular transform keeps an older inverse under *=, so
    // it takes the general path.
    if (!transform.singular) {
        const __m128 xyz = _mm_castsi128_ps(_mm_setr_epi32(-1, -1, -1, 0));
        const __m128 w = _mm_setr_ps(0.0f, 0.0f, 0.0f, 1.0f);
        const __m128 moved =
            _mm_mul_ps(_mm_setr_ps(velocity.x, velocity.y, velocity.z, 0.0f), _mm_set1_ps(dt));
        const __m128 back = _mm_sub_ps(_mm_setzero_ps(), moved);
        const Columns translation{{_mm_setr_ps(1.0f, 0.0f, 0.0f, 0.0f), _mm_setr_ps(0.0f, 1.0f, 0.0f, 0.0f),
                                   _mm_setr_ps(0.0f, 0.0f, 1.0f, 0.0f),
                                   _mm_or_ps(_mm_and_ps(moved, xyz), w)}};
        Columns translationInverse = translation;
        translationInverse.c[3] = _mm_or_ps(_mm_and_ps(back, xyz), w);
        Columns rotation{{_mm_loadu_ps(stepRotation_), _mm_loadu_ps(stepRotation_ + 4),
                          _mm_loadu_ps(stepRotation_ + 8), w}};
        Columns rotationInverse = rotation;
        _MM_TRANSPOSE4_PS(rotationInverse.c[0], rotationInverse.c[1], rotationInverse.c[2],
                          rotationInverse.c[3]);
        storeColumns(multiply(multiply(translation, loadColumns(transform.forward)), rotation),
                     transform.forward);
        storeColumns(multiply(rotationInverse, multiply(loadColumns(transform.inverse), translationInverse)),
                     transform.inverse);
        return;
    }
#endif
    // The rotation's matrices, exactly as makeRotation made them.
    Transform rotation;
    for (int column = 0; column < 3; ++column)
        for (int row = 0; row < 3; ++row) {
            rotation.forward(row, column) = stepRotation_[4 * column + row];
            rotation.inverse(column, row) = stepRotation_[4 * column + row];
        }
    Transform moved = makeTranslation(velocity * dt);
    moved *= transform;
    moved *= rotation;
    transform = moved;
}

} // namespace verdanium
