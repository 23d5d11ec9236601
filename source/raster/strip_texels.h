#pragma once

#include "foundation/math/vec3.h"

#include <cstddef>

namespace verdanium {

class Image;

// The background's texels as the tracer reads them: a copy of an image's pixels, made once when the
// background is built, that holds the same floats at the same positions (a position from texelIndex names
// the same texel in both). Why a copy: the lookups of rays that leave the scene jump across the 18 MB strip,
// and the copy is laid out for that:
// - each texel takes 16 bytes, so that it never straddles two cache lines and one prefetch brings it whole;
// - the block starts on a 2 MiB boundary and asks the kernel for huge pages, so that a lookup does not also
//   miss the address translation cache (with 4 KiB pages the strip spans over four thousand of them).
// Read-only after construction, by any number of threads.
class StripTexels {
public:
    // Copies the image's pixels, which must number width x height, at least one.
    explicit StripTexels(const Image& image);
    ~StripTexels();

    StripTexels(const StripTexels&) = delete;
    StripTexels& operator=(const StripTexels&) = delete;

    std::size_t size() const { return count_; }
    const Vec3& operator[](std::size_t index) const { return texels_[index].colour; }
    // Starts loading the texel at index into the cache; index must be below size().
    void prefetch(std::size_t index) const { __builtin_prefetch(&texels_[index]); }

private:
    struct alignas(16) Texel {
        Vec3 colour;
        float unused;
    };
    Texel* texels_ = nullptr;
    std::size_t count_ = 0;
};

} // namespace verdanium
