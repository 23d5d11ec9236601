#pragma once

#include <cstdint>
#include <string>

namespace verdanium {

// The text by which commands know a key, independent of modifiers:
// "F1".."F24"; "numpad 0".."numpad 9" and "numpad *", "numpad +", "numpad -",
// "numpad .", "numpad /", "numpad enter"; "left shift" / "right shift" and the
// same for control, alt and win; named keys such as "return", "space", "escape",
// "page up", "left"; one printable character, as the layout gives it unshifted,
// with letters as capitals (UTF-8 for Latin-1 characters); otherwise "key " and
// the X key code.
//
// keySym is the key's first key symbol (level 0), keypadKeySym its second
// (level 1), which is where keypad digits live whatever the NumLock state.
std::string keyName(std::uint64_t keySym, std::uint64_t keypadKeySym, std::uint32_t keyCode);

} // namespace verdanium
