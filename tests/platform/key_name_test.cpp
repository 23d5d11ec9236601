#include "platform/key_name.h"

#include <X11/keysym.h>

#include <gtest/gtest.h>

namespace verdanium {
namespace {

// A key as X reports it: its first two key symbols and its code.
struct Key {
    std::uint64_t keySym;
    std::uint64_t keypadKeySym;
    const char* name;
};

void expectNames(std::initializer_list<Key> keys) {
    for (const Key& key : keys)
        EXPECT_EQ(keyName(key.keySym, key.keypadKeySym, 77), key.name)
            << "key symbol 0x" << std::hex << key.keySym;
}

TEST(KeyNameTest, FunctionKeysAreNumberedFromOneToTwentyFour) {
    expectNames(
        {{XK_F1, XK_F1, "F1"}, {XK_F10, XK_F10, "F10"}, {XK_F11, XK_F11, "F11"}, {XK_F24, XK_F24, "F24"}});
}

TEST(KeyNameTest, KeypadDigitsKeepTheirNamesWhateverNumLockSays) {
    // On a US layout level 0 is the cursor function and level 1 the digit; a
    // keypad whose level 0 already is the digit names it the same way.
    expectNames({{XK_KP_Insert, XK_KP_0, "numpad 0"},
                 {XK_KP_End, XK_KP_1, "numpad 1"},
                 {XK_KP_Down, XK_KP_2, "numpad 2"},
                 {XK_KP_Next, XK_KP_3, "numpad 3"},
                 {XK_KP_Left, XK_KP_4, "numpad 4"},
                 {XK_KP_Begin, XK_KP_5, "numpad 5"},
                 {XK_KP_Right, XK_KP_6, "numpad 6"},
                 {XK_KP_Home, XK_KP_7, "numpad 7"},
                 {XK_KP_Up, XK_KP_8, "numpad 8"},
                 {XK_KP_Prior, XK_KP_9, "numpad 9"},
                 {XK_KP_9, XK_KP_Prior, "numpad 9"},
                 {XK_KP_Delete, XK_KP_Decimal, "numpad ."}});
}

TEST(KeyNameTest, KeypadOperatorsAndTheTwoEnterKeys) {
    expectNames({{XK_KP_Multiply, XK_KP_Multiply, "numpad *"},
                 {XK_KP_Add, XK_KP_Add, "numpad +"},
                 {XK_KP_Subtract, XK_KP_Subtract, "numpad -"},
                 {XK_KP_Divide, XK_KP_Divide, "numpad /"},
                 {XK_KP_Enter, XK_KP_Enter, "numpad enter"},
                 {XK_Return, XK_Return, "return"}});
}

TEST(KeyNameTest, LeftAndRightModifiersAreToldApart) {
    expectNames({{XK_Shift_L, XK_Shift_L, "left shift"},
                 {XK_Shift_R, XK_Shift_R, "right shift"},
                 {XK_Control_L, XK_Control_L, "left control"},
                 {XK_Control_R, XK_Control_R, "right control"},
                 {XK_Alt_L, XK_Meta_L, "left alt"},
                 {XK_Alt_R, XK_Meta_R, "right alt"},
                 {XK_Super_L, XK_Super_L, "left win"},
                 {XK_Super_R, XK_Super_R, "right win"}});
}

TEST(KeyNameTest, NamedKeysIgnoreWhatShiftPutsOnThem) {
    expectNames({{XK_Tab, XK_ISO_Left_Tab, "tab"},
                 {XK_Pause, XK_Break, "pause"},
                 {XK_Print, XK_Sys_Req, "screenshot"},
                 {XK_Prior, XK_Prior, "page up"},
                 {XK_Next, XK_Next, "page down"},
                 {XK_space, XK_space, "space"},
                 {XK_Num_Lock, XK_Num_Lock, "num lock"}});
}

TEST(KeyNameTest, PrintableKeysAreTheirUnshiftedCharacterWithCapitalLetters) {
    expectNames({{XK_a, XK_A, "A"},
                 {XK_z, XK_Z, "Z"},
                 {XK_0, XK_parenright, "0"},
                 {XK_9, XK_parenleft, "9"},
                 {XK_minus, XK_underscore, "-"},
                 {XK_grave, XK_asciitilde, "`"},
                 {XK_bracketleft, XK_braceleft, "["},
                 {XK_backslash, XK_bar, "\\"},
                 {XK_slash, XK_question, "/"},
                 {XK_adiaeresis, XK_Adiaeresis, "\xc3\x84"}, // Ä, in UTF-8
                 {XK_ssharp, XK_question, "\xc3\x9f"},       // ß has no capital of its own here
                 {XK_section, XK_degree, "\xc2\xa7"}});
}

TEST(KeyNameTest, EverythingElseIsKeyAndTheKeyCode) {
    EXPECT_EQ(keyName(XK_Multi_key, XK_Multi_key, 135), "key 135");
    EXPECT_EQ(keyName(0x1008ff12 /* XF86AudioMute */, 0, 121), "key 121");
    EXPECT_EQ(keyName(0 /* NoSymbol */, 0, 8), "key 8");
    EXPECT_EQ(keyName(XK_dead_acute, XK_dead_grave, 255), "key 255");
}

} // namespace
} // namespace verdanium
