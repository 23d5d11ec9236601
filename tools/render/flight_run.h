#pragma once

#include "flight_ranks.h"
#include "render_options.h"

namespace verdanium {

// Renders the flight that the options ask for (--flight, --time, --until) on every rank of `ranks`, and
// returns this rank's exit status. Rank 0 opens the output first and, if it cannot be written, tells every
// rank to stop before anything renders. Then each rank renders its share of the frames, and rank 0 writes
// them all in order with a progress bar. A failure on any rank is reported by rank 0 with the rank's
// message; the partial output is removed and every rank ends with a non-zero status.
int renderFlight(const RenderOptions& options, FlightRanks& ranks);

} // namespace verdanium
