#pragma once

namespace verdanium {

struct Event;
struct MouseMotionEvent;
class Renderer;
class Scene;

// Routes one queued event by kind: keys to the key commands, relative mouse
// motion to the camera, size changes to the renderer, buttons, wheel, absolute
// positions and focus changes to a log line on standard output. Unknown kinds are
// dropped. Holds no state; exceptions from the handlers pass through.
void dispatchEvent(const Event& event, Scene& scene, Renderer& renderer);

// Turns the camera by 0.01 radians per count of motion, in one rotation about
// (dy, dx, 0) in the view's frame: horizontal motion turns about y, vertical
// about x. The motion must not be zero in both axes (the window never queues such
// a motion); a zero axis would raise "element not invertible".
void handleMouseMotion(const MouseMotionEvent& motion, Scene& scene);

} // namespace verdanium
