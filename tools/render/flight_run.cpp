#include "flight_run.h"

#include "flight_frames.h"
#include "flight_session.h"
#include "frame_sink.h"
#include "progress_bar.h"

#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>

namespace verdanium {

namespace {

// A failure with the rank it happened on, for rank 0's report.
struct RankFailure : std::runtime_error {
    RankFailure(int rank_, const std::string& message) : std::runtime_error(message), rank(rank_) {}
    int rank;
};

// Rank 0: renders its own frames, takes the others' from their ranks, and writes all of them in order.
void writeFlight(const RenderOptions& options, const FlightFrames& frames, FrameSink& sink,
                 FlightRanks& ranks) {
    std::optional<FlightSession> session;
    ProgressBar progress("flight", frames.count, true);
    progress.update(0);
    for (std::uint64_t frame = 0; frame < frames.count; ++frame) {
        const int owner = frameOwner(frame, ranks.size());
        std::vector<std::uint8_t> pixels;
        if (owner == 0) {
            try {
                if (!session) {
                    session.emplace(options);
                }
                pixels = session->renderFrame(frame, frames.timeOf(frame));
            } catch (const std::exception& error) {
                throw RankFailure(0, error.what());
            }
        } else {
            FlightRanks::Delivery delivery = ranks.receiveFrom(owner);
            if (delivery.failed) {
                throw RankFailure(owner, delivery.failure);
            }
            pixels = std::move(delivery.pixels);
        }
        sink.write(frame, pixels);
        progress.update(frame + 1);
    }
    progress.finish();
    sink.finish();
}

// Every other rank: renders its share in order and sends each frame to rank 0; a failure goes there too.
int renderShare(const RenderOptions& options, const FlightFrames& frames, FlightRanks& ranks) {
    if (static_cast<std::uint64_t>(ranks.rank()) >= frames.count) {
        return 0; // more ranks than frames: nothing to render, so no context and no world either
    }
    try {
        FlightSession session(options);
        for (std::uint64_t frame = static_cast<std::uint64_t>(ranks.rank()); frame < frames.count;
             frame += static_cast<std::uint64_t>(ranks.size())) {
            ranks.sendFrame(session.renderFrame(frame, frames.timeOf(frame)));
        }
        ranks.finishSending();
        return 0;
    } catch (const std::exception& error) {
        ranks.sendFailure(error.what());
    } catch (...) {
        ranks.sendFailure("exception: unknown");
    }
    // Rank 0 reports the failure and ends the run; leaving before it does would let mpirun end the job
    // with the partial output still in place.
    return 1;
}

} // namespace

int renderFlight(const RenderOptions& options, FlightRanks& ranks) {
    const FlightFrames frames = planFlightFrames(options.time, options.until, options.flight);
    if (ranks.rank() != 0) {
        if (!ranks.followFirst(true)) {
            return 1;
        }
        return renderShare(options, frames, ranks);
    }

    std::unique_ptr<FrameSink> sink;
    try {
        sink = openFrameSink(options.output, frameOutputKind(options.output), options.width, options.height,
                             options.flight);
    } catch (const std::exception& error) {
        ranks.followFirst(false);
        std::cerr << "verdanium-render: " << error.what() << std::endl;
        return 1;
    }
    ranks.followFirst(true);
    try {
        writeFlight(options, frames, *sink, ranks);
    } catch (const std::exception& error) {
        sink.reset(); // removes the partial output
        const auto* failure = dynamic_cast<const RankFailure*>(&error);
        std::cerr << "verdanium-render: ";
        if (ranks.size() > 1) {
            std::cerr << "rank " << (failure != nullptr ? failure->rank : 0) << " failed: ";
        }
        std::cerr << error.what() << std::endl;
        if (ranks.size() > 1) {
            ranks.abortAll(1);
        }
        return 1;
    }
    std::cout << "wrote " << options.output << ": " << frames.count << " frames at " << options.flight
              << " per second" << std::endl;
    return 0;
}

} // namespace verdanium
