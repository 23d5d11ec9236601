#pragma once

namespace verdanium {

// A small modal box with the text and one OK button, owned by no window, that
// returns when the user presses OK, Return, Escape or closes it. When no X
// display can be opened it does nothing, leaving the console line as the only
// report.
void showMessageBox(const char* text, const char* caption);

} // namespace verdanium
