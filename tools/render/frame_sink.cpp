#include "frame_sink.h"

#include "numbered_frames.h"
#include "video_writer.h"

#include <stdexcept>

namespace verdanium {

std::unique_ptr<FrameSink> openFrameSink(const std::string& output, FrameOutputKind kind, std::uint32_t width,
                                         std::uint32_t height, std::uint32_t fps) {
    switch (kind) {
    case FrameOutputKind::Video:
        return std::make_unique<VideoWriter>(output, width, height, fps);
    case FrameOutputKind::PngFiles:
        return std::make_unique<NumberedPngFrames>(output, width, height);
    case FrameOutputKind::ExrFiles:
        break;
    }
    throw std::invalid_argument("--output \"" + output + "\": numbered .exr frames are not supported yet");
}

} // namespace verdanium
