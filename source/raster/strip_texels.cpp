#include "raster/strip_texels.h"

#include "raster/image.h"

#include <new>

#include <sys/mman.h>

namespace verdanium {
namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;

} // namespace

StripTexels::StripTexels(const Image& image) : count_(image.pixels.size()) {
    const std::size_t bytes = (count_ * sizeof(Texel) + kHugePage - 1) / kHugePage * kHugePage;
    void* block = ::operator new (bytes, std::align_val_t{kHugePage});
    // Only a hint, before the first write so that the pages come in large: where the kernel has no huge
    // pages to give, the copy works the same on small ones.
    madvise(block, bytes, MADV_HUGEPAGE);
    texels_ = static_cast<Texel*>(block);
    for (std::size_t i = 0; i < count_; ++i)
        new (&texels_[i]) Texel{image.pixels[i], 0.0f};
}

StripTexels::~StripTexels() {
    ::operator delete (static_cast<void*>(texels_), std::align_val_t{kHugePage});
}

} // namespace verdanium
