#include "video_writer.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

#include <cstdio>
#include <stdexcept>

namespace verdanium {

namespace {

std::string ffmpegError(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return text;
}

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

} // namespace

VideoWriter::VideoWriter(std::string path_, std::uint32_t width_, std::uint32_t height_, std::uint32_t fps)
    : path(std::move(path_)), partial(partialFileName(path)), width(width_), height(height_) {
    if (width % 2 != 0 || height % 2 != 0) {
        throw std::invalid_argument("a video needs an even width and height, not " + std::to_string(width) +
                                    " x " + std::to_string(height));
    }
    // Encoders chat on standard error about their settings; only real errors should show.
    av_log_set_level(AV_LOG_ERROR);
    try {
        // The partial name hides the ending, so the container is named rather than guessed.
        const char* format = endsWith(path, ".mkv") ? "matroska" : "mp4";
        if (avformat_alloc_output_context2(&container, nullptr, format, partial.c_str()) < 0) {
            throw std::runtime_error("FFmpeg has no " + std::string(format) + " container");
        }
        const AVCodec* codec = avcodec_find_encoder_by_name("libx264");
        if (codec == nullptr) {
            codec = avcodec_find_encoder(AV_CODEC_ID_MPEG4);
        }
        if (codec == nullptr) {
            throw std::runtime_error("FFmpeg has neither an H.264 nor an MPEG-4 encoder");
        }
        stream = avformat_new_stream(container, nullptr);
        encoder = avcodec_alloc_context3(codec);
        if (stream == nullptr || encoder == nullptr) {
            throw std::runtime_error("FFmpeg could not set up the video stream");
        }
        encoder->width = static_cast<int>(width);
        encoder->height = static_cast<int>(height);
        encoder->time_base = AVRational{1, static_cast<int>(fps)};
        encoder->framerate = AVRational{static_cast<int>(fps), 1};
        encoder->pix_fmt = AV_PIX_FMT_YUV420P;
        encoder->colorspace = AVCOL_SPC_SMPTE170M;
        encoder->color_range = AVCOL_RANGE_MPEG;
        encoder->gop_size = static_cast<int>(fps);
        if (codec->id == AV_CODEC_ID_H264) {
            // A converged path-traced picture is smooth; a quality target keeps it clean at any size.
            av_opt_set(encoder->priv_data, "crf", "18", 0);
        } else {
            encoder->flags |= AV_CODEC_FLAG_QSCALE;
            encoder->global_quality = FF_QP2LAMBDA * 3;
        }
        if (container->oformat->flags & AVFMT_GLOBALHEADER) {
            encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        }
        int status = avcodec_open2(encoder, codec, nullptr);
        if (status < 0) {
            throw std::runtime_error("cannot open the " + std::string(codec->name) +
                                     " encoder: " + ffmpegError(status));
        }
        avcodec_parameters_from_context(stream->codecpar, encoder);
        stream->time_base = encoder->time_base;
        stream->avg_frame_rate = encoder->framerate;

        status = avio_open(&container->pb, partial.c_str(), AVIO_FLAG_WRITE);
        if (status < 0) {
            throw std::runtime_error("cannot write " + path + ": " + ffmpegError(status));
        }
        fileOpen = true;
        status = avformat_write_header(container, nullptr);
        if (status < 0) {
            throw std::runtime_error("cannot write " + path + ": " + ffmpegError(status));
        }

        picture = av_frame_alloc();
        packet = av_packet_alloc();
        converter =
            sws_getContext(encoder->width, encoder->height, AV_PIX_FMT_RGB24, encoder->width, encoder->height,
                           AV_PIX_FMT_YUV420P, SWS_BICUBIC, nullptr, nullptr, nullptr);
        if (picture == nullptr || packet == nullptr || converter == nullptr) {
            throw std::runtime_error("FFmpeg could not set up the picture conversion");
        }
        picture->format = encoder->pix_fmt;
        picture->width = encoder->width;
        picture->height = encoder->height;
        if (av_frame_get_buffer(picture, 0) < 0) {
            throw std::runtime_error("FFmpeg could not allocate a picture");
        }
    } catch (...) {
        release();
        throw;
    }
}

VideoWriter::~VideoWriter() {
    release();
}

const char* VideoWriter::encoderName() const {
    return encoder->codec->name;
}

void VideoWriter::write(std::uint64_t frame, const std::vector<std::uint8_t>& rgb) {
    if (rgb.size() != static_cast<std::size_t>(width) * height * 3) {
        throw std::logic_error("VideoWriter: pixel count does not match the size");
    }
    if (av_frame_make_writable(picture) < 0) {
        throw std::runtime_error("FFmpeg could not reuse its picture");
    }
    const std::uint8_t* rows[1] = {rgb.data()};
    const int rowBytes[1] = {static_cast<int>(width) * 3};
    sws_scale(converter, rows, rowBytes, 0, static_cast<int>(height), picture->data, picture->linesize);
    picture->pts = static_cast<std::int64_t>(frame);
    encode(picture);
}

void VideoWriter::encode(const AVFrame* frame) {
    int status = avcodec_send_frame(encoder, frame);
    if (status < 0) {
        throw std::runtime_error("cannot encode " + path + ": " + ffmpegError(status));
    }
    for (;;) {
        status = avcodec_receive_packet(encoder, packet);
        if (status == AVERROR(EAGAIN) || status == AVERROR_EOF) {
            return;
        }
        if (status < 0) {
            throw std::runtime_error("cannot encode " + path + ": " + ffmpegError(status));
        }
        av_packet_rescale_ts(packet, encoder->time_base, stream->time_base);
        packet->stream_index = stream->index;
        status = av_interleaved_write_frame(container, packet);
        if (status < 0) {
            throw std::runtime_error("cannot write " + path + ": " + ffmpegError(status));
        }
    }
}

void VideoWriter::finish() {
    encode(nullptr);
    int status = av_write_trailer(container);
    if (status < 0) {
        throw std::runtime_error("cannot write " + path + ": " + ffmpegError(status));
    }
    status = avio_closep(&container->pb);
    fileOpen = false;
    if (status < 0) {
        throw std::runtime_error("cannot write " + path + ": " + ffmpegError(status));
    }
    moveIntoPlace(partial, path);
    finished = true;
}

void VideoWriter::release() {
    sws_freeContext(converter);
    converter = nullptr;
    av_packet_free(&packet);
    av_frame_free(&picture);
    avcodec_free_context(&encoder);
    if (container != nullptr) {
        if (fileOpen) {
            avio_closep(&container->pb);
            fileOpen = false;
        }
        avformat_free_context(container);
        container = nullptr;
    }
    if (!finished) {
        std::remove(partial.c_str());
    }
}

} // namespace verdanium
