#include "frame_sink.h"

#include "numbered_frames.h"
#include "video_writer.h"

namespace verdanium {

std::unique_ptr<FrameSink> openFrameSink(const std::string& output, FrameOutputKind kind, std::uint32_t width,
                                         std::uint32_t height, std::uint32_t fps) {
    if (kind == FrameOutputKind::Video) {
        return std::make_unique<VideoWriter>(output, width, height, fps);
    }
    return std::make_unique<NumberedFrames>(output, kind, width, height);
}

} // namespace verdanium
