#pragma once

#include <mpi.h>

#include <cstdint>
#include <string>
#include <vector>

namespace verdanium {

// The processes that share a flight, through MPI. Under mpirun they are the ranks it started; started
// plainly, this process is a world of one. Rank 0 writes the output; every other rank sends it its frames in
// the order it renders them. Main thread only (the render workers never call MPI).
class FlightRanks {
public:
    // Starts MPI. Throws std::runtime_error if it cannot.
    FlightRanks(int& argc, char**& argv);
    // Ends MPI; this waits for the other ranks to end theirs.
    ~FlightRanks();

    FlightRanks(const FlightRanks&) = delete;
    FlightRanks& operator=(const FlightRanks&) = delete;

    int rank() const { return ownRank; }
    int size() const { return rankCount; }

    // Rank 0's word to all: every rank passes its own value and gets rank 0's back.
    bool followFirst(bool value);

    // Sends a rendered frame to rank 0 and returns while it travels, so that the next frame can render
    // meanwhile; it waits first for the frame sent before, so one frame at a time is on its way.
    void sendFrame(std::vector<std::uint8_t> pixels);
    // Sends a failure in place of the next frame, after whatever frame is still on its way.
    void sendFailure(const std::string& message);
    // Waits until the last frame sent has arrived.
    void finishSending();

    // Rank 0: the next message of `sender`, which is either a frame or a failure.
    struct Delivery {
        bool failed = false;
        std::vector<std::uint8_t> pixels;
        std::string failure;
    };
    Delivery receiveFrom(int sender);

    // Ends every rank at once with this status, the failed run's way out when other ranks may be busy.
    [[noreturn]] void abortAll(int status);

private:
    int ownRank = 0;
    int rankCount = 1;
    std::vector<std::uint8_t> inFlight;
    MPI_Request pendingSend = MPI_REQUEST_NULL;
};

} // namespace verdanium
