#include "platform/key_name.h"

#include <X11/keysym.h>

#include <sstream>
#include <stdexcept>

namespace verdanium {

namespace {

// Keys that have a name of their own, by their level-0 key symbol.
struct NamedKey {
    std::uint64_t keySym;
    const char* name;
};

constexpr NamedKey kNamedKeys[] = {
    {XK_BackSpace, "backspace"},
    {XK_Tab, "tab"},
    {XK_Return, "return"},
    {XK_KP_Enter, "numpad enter"},
    {XK_Shift_L, "left shift"},
    {XK_Shift_R, "right shift"},
    {XK_Control_L, "left control"},
    {XK_Control_R, "right control"},
    {XK_Alt_L, "left alt"},
    {XK_Alt_R, "right alt"},
    {XK_Meta_L, "left alt"},
    {XK_Meta_R, "right alt"},
    {XK_ISO_Level3_Shift, "right alt"}, // AltGr, on layouts that have it
    {XK_Pause, "pause"},
    {XK_Caps_Lock, "caps lock"},
    {XK_Escape, "escape"},
    {XK_space, "space"},
    {XK_Prior, "page up"},
    {XK_Next, "page down"},
    {XK_End, "end"},
    {XK_Home, "home"},
    {XK_Left, "left"},
    {XK_Up, "up"},
    {XK_Right, "right"},
    {XK_Down, "down"},
    {XK_Print, "screenshot"},
    {XK_Insert, "insert"},
    {XK_Delete, "delete"},
    {XK_Super_L, "left win"},
    {XK_Super_R, "right win"},
    {XK_Menu, "menu"},
    {XK_KP_Multiply, "numpad *"},
    {XK_KP_Add, "numpad +"},
    {XK_KP_Subtract, "numpad -"},
    {XK_KP_Decimal, "numpad ."},
    {XK_KP_Separator, "numpad ."}, // the same key on layouts with a decimal comma
    {XK_KP_Divide, "numpad /"},
    {XK_Num_Lock, "num lock"},
    {XK_Scroll_Lock, "scroll lock"},
};

// A prefix followed by a number in decimal, as in "F12" or "key 108".
std::string withNumber(const char* prefix, std::uint64_t value) {
    std::ostringstream text;
    text << prefix << value;
    if (!text)
        throw std::runtime_error("cannot stringify");
    return text.str();
}

// One Latin-1 character as UTF-8, lower-case letters raised to capitals.
std::string latin1Character(std::uint64_t code) {
    const bool lowerAscii = code >= 'a' && code <= 'z';
    const bool lowerLatin1 = code >= 0xe0 && code <= 0xfe && code != 0xf7;
    if (lowerAscii || lowerLatin1)
        code -= 0x20;
    if (code < 0x80)
        return std::string(1, char(code));
    return {char(0xc0 | (code >> 6)), char(0x80 | (code & 0x3f))};
}

} // namespace

std::string keyName(std::uint64_t keySym, std::uint64_t keypadKeySym, std::uint32_t keyCode) {
    if (keySym >= XK_F1 && keySym <= XK_F24)
        return withNumber("F", keySym - XK_F1 + 1);

    // The keypad's digit keys carry their digit on the second level, whether or
    // not NumLock puts it on the first, so that their names never change.
    const bool keypadKey = keySym >= XK_KP_Space && keySym <= XK_KP_Equal;
    for (const std::uint64_t level : {keypadKeySym, keySym}) {
        if (keypadKey && level >= XK_KP_0 && level <= XK_KP_9)
            return withNumber("numpad ", level - XK_KP_0);
        if (keypadKey && (level == XK_KP_Decimal || level == XK_KP_Separator))
            return "numpad .";
    }

    for (const NamedKey& key : kNamedKeys)
        if (key.keySym == keySym)
            return key.name;

    if ((keySym >= 32 && keySym <= 126) || (keySym >= 160 && keySym <= 255))
        return latin1Character(keySym);
    return withNumber("key ", keyCode);
}

} // namespace verdanium
