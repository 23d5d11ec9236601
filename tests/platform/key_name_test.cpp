#include "platform/key_name.h"

#include <X11/keysym.h>

#include <gtest/gtest.h>

namespace verdanium {
namespace {

// A key as X reports it on a US layout: its first two key symbols. The window input tests type more of
// these through the server (return, keypad enter and 5, right modifiers, left alt, page up, digits, minus).
struct Key {
    std::uint64_t keySym;
    std::uint64_t keypadKeySym;
    const char* name;
};

TEST(KeyName, NamesEveryKindOfKey) {
    const Key keys[] = {
        {XK_F1, XK_F1, "F1"},
        // Level 0 of a keypad digit is its cursor function without NumLock, or
        // the digit itself with it; either way the name is the digit's.
        {XK_KP_Insert, XK_KP_0, "numpad 0"},
        {XK_KP_Delete, XK_KP_Decimal, "numpad ."},
        {XK_KP_Multiply, XK_KP_Multiply, "numpad *"},
        {XK_Shift_L, XK_Shift_L, "left shift"},
        {XK_Alt_R, XK_Meta_R, "right alt"},
        {XK_Super_L, XK_Super_L, "left win"},
        // Named keys ignore what Shift puts on them.
        {XK_Tab, XK_ISO_Left_Tab, "tab"},
        {XK_Pause, XK_Break, "pause"},
        {XK_Print, XK_Sys_Req, "screenshot"},
        {XK_space, XK_space, "space"},
        // Printable keys: the unshifted character, letters as capitals.
        {XK_a, XK_A, "A"},
        {XK_minus, XK_underscore, "-"},
        {XK_adiaeresis, XK_Adiaeresis, "\xc3\x84"}, // Ä, in UTF-8
        {XK_ssharp, XK_question, "\xc3\x9f"},       // ß has no capital of its own here
        // Everything else is "key" and the key code.
        {XK_Multi_key, XK_Multi_key, "key 77"},
        {0x1008ff12 /* XF86AudioMute */, 0, "key 77"},
        {0 /* NoSymbol */, 0, "key 77"},
    };
    for (const Key& key : keys)
        EXPECT_EQ(keyName(key.keySym, key.keypadKeySym, 77), key.name)
            << "key symbol 0x" << std::hex << key.keySym;
}

} // namespace
} // namespace verdanium
