#include "platform/event.h"

#include "app/stopwatch.h"

namespace verdanium {

std::deque<Event> gEventQueue;

void queueEvent(Event event) {
    event.time = gStopwatch ? gStopwatch->elapsed() : 0.0;
    gEventQueue.push_back(event);
}

} // namespace verdanium
