#pragma once

namespace verdanium {

struct KeyboardEvent;
class Renderer;
class Scene;

// The keyboard as the program's control panel, matched on the key's name:
//  - "W", "S", "A", "D" set one component of Scene::cameraVelocity on press and
//    clear it on release (each key writes its component regardless of the other);
//  - on press only: a selection letter makes its setting current, "pause" toggles
//    gPaused, and a digit gives the current setting a value.
// Writes one log line per key to standard output. Exceptions from the actions
// (a scene rebuild that fails) pass through to the caller.
void handleKeyboardEvent(const KeyboardEvent& event, Scene& scene, Renderer& renderer);

} // namespace verdanium
