#include "flight_ranks.h"

#include <climits>
#include <cstdlib>
#include <stdexcept>

namespace verdanium {

namespace {

constexpr int kFrameTag = 1;
constexpr int kFailureTag = 2;

int messageLength(std::size_t bytes) {
    if (bytes > static_cast<std::size_t>(INT_MAX)) {
        throw std::runtime_error("a frame of " + std::to_string(bytes) +
                                 " bytes is too large to send between ranks");
    }
    return static_cast<int>(bytes);
}

} // namespace

FlightRanks::FlightRanks(int& argc, char**& argv) {
    // Only the main thread calls MPI; the render workers never do.
    int provided = 0;
    if (MPI_Init_thread(&argc, &argv, MPI_THREAD_FUNNELED, &provided) != MPI_SUCCESS) {
        throw std::runtime_error("cannot start MPI");
    }
    MPI_Comm_rank(MPI_COMM_WORLD, &ownRank);
    MPI_Comm_size(MPI_COMM_WORLD, &rankCount);
}

FlightRanks::~FlightRanks() {
    if (pendingSend != MPI_REQUEST_NULL) {
        MPI_Wait(&pendingSend, MPI_STATUS_IGNORE);
    }
    MPI_Finalize();
}

bool FlightRanks::followFirst(bool value) {
    int word = value ? 1 : 0;
    MPI_Bcast(&word, 1, MPI_INT, 0, MPI_COMM_WORLD);
    return word != 0;
}

void FlightRanks::sendFrame(std::vector<std::uint8_t> pixels) {
    finishSending();
    inFlight = std::move(pixels);
    MPI_Isend(inFlight.data(), messageLength(inFlight.size()), MPI_BYTE, 0, kFrameTag, MPI_COMM_WORLD,
              &pendingSend);
}

void FlightRanks::sendFailure(const std::string& message) {
    finishSending();
    MPI_Send(message.data(), messageLength(message.size()), MPI_BYTE, 0, kFailureTag, MPI_COMM_WORLD);
}

void FlightRanks::finishSending() {
    if (pendingSend != MPI_REQUEST_NULL) {
        MPI_Wait(&pendingSend, MPI_STATUS_IGNORE);
    }
}

FlightRanks::Delivery FlightRanks::receiveFrom(int sender) {
    MPI_Status status;
    MPI_Probe(sender, MPI_ANY_TAG, MPI_COMM_WORLD, &status);
    int length = 0;
    MPI_Get_count(&status, MPI_BYTE, &length);
    Delivery delivery;
    delivery.failed = status.MPI_TAG == kFailureTag;
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(length));
    MPI_Recv(bytes.data(), length, MPI_BYTE, sender, status.MPI_TAG, MPI_COMM_WORLD, MPI_STATUS_IGNORE);
    if (delivery.failed) {
        delivery.failure.assign(bytes.begin(), bytes.end());
    } else {
        delivery.pixels = std::move(bytes);
    }
    return delivery;
}

void FlightRanks::abortAll(int status) {
    MPI_Abort(MPI_COMM_WORLD, status);
    std::_Exit(status); // MPI_Abort does not return; this is for the compiler
}

} // namespace verdanium
