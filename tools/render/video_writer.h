#pragma once

#include "frame_sink.h"

struct AVCodecContext;
struct AVFormatContext;
struct AVFrame;
struct AVPacket;
struct AVStream;
struct SwsContext;

namespace verdanium {

// A video file through FFmpeg's libraries: H.264 where the build has the encoder, otherwise MPEG-4, in
// yuv420p at a constant frame rate, in the container that the name's ending asks for (.mp4 or .mkv). Frames
// must come in order, one per call, each shown for 1 / fps seconds.
class VideoWriter : public FrameSink {
public:
    // Opens the encoder and the partial file. Throws std::invalid_argument for an odd width or height
    // (yuv420p halves both for its colour planes) and std::runtime_error when the file cannot be written.
    VideoWriter(std::string path, std::uint32_t width, std::uint32_t height, std::uint32_t fps);
    ~VideoWriter() override;

    VideoWriter(const VideoWriter&) = delete;
    VideoWriter& operator=(const VideoWriter&) = delete;

    void write(std::uint64_t frame, const std::vector<std::uint8_t>& rgb) override;
    // Drains the encoder, closes the file and renames it into place.
    void finish() override;

    // The encoder in use, as FFmpeg names it ("libx264", "mpeg4").
    const char* encoderName() const;

private:
    // Hands one picture to the encoder (null: the end of the stream) and writes every packet it gives back.
    void encode(const AVFrame* picture);
    void release();

    std::string path;
    std::string partial;
    std::uint32_t width;
    std::uint32_t height;
    AVFormatContext* container = nullptr;
    AVCodecContext* encoder = nullptr;
    AVStream* stream = nullptr;
    AVFrame* picture = nullptr;
    AVPacket* packet = nullptr;
    SwsContext* converter = nullptr;
    bool fileOpen = false;
    bool finished = false;
};

} // namespace verdanium
