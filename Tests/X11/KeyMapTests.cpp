#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikPlatform/X11/KeyMap.h"

#include <gtest/gtest.h>

// Xlib defines macros (None, Bool) that clash with gtest: it comes last.
// clang-format off
#include <X11/XF86keysym.h>
#include <X11/Xlib.h>
#include <X11/keysym.h>
// clang-format on

using namespace tavrik;
using x11::KeyMap;

TEST(KeyMap, KeysymsTranslateToCanonicalCodes) {
    const std::pair<unsigned long, quint16> cases[] = {
        {XK_Return, 36},
        {XK_Tab, 48},
        {XK_ISO_Left_Tab, 48},
        {XK_space, 49},
        {XK_BackSpace, 51},
        {XK_Escape, 53},
        {XK_Delete, 117},
        {XK_Left, 123},
        {XK_Right, 124},
        {XK_Down, 125},
        {XK_Up, 126},
        {XK_Home, 115},
        {XK_Prior, 116},
        {XK_End, 119},
        {XK_Next, 121},
        {XK_KP_Enter, 76},
        {XK_slash, 44},
        {XK_question, 44},
        {XK_a, 0},
        {XK_A, 0},
        {XK_c, 8},
        {XK_1, 18},
        {XK_exclam, 18},
        {XK_0, 29},
        {XK_F1, 122},
        {XK_F12, 111},
        {XK_Control_L, 59},
        {XK_Control_R, 62},
        {XK_Shift_L, 56},
        {XK_Shift_R, 60},
        {XK_Alt_L, 58},
        {XK_Super_L, 55},
        {XK_Caps_Lock, 57},
        {XK_KP_7, 89},
        {XK_KP_Home, 89},
        {XF86XK_AudioMute, KeyCodes::unknown},
        {XK_eacute, KeyCodes::unknown},
    };
    for (const auto& [keysym, code] : cases)
        EXPECT_EQ(KeyMap::keyCodeForKeysym(keysym), code) << std::hex << keysym;
}

TEST(KeyMap, KeysOfOtherScriptsFallBackToTheirUSPosition) {
    const KeyMap map(nullptr); // no key map: positions only
    EXPECT_EQ(map.keyCode(38), KeyCodes::a);
    EXPECT_EQ(map.keyCode(54), KeyCodes::c);
    EXPECT_EQ(map.keyCode(61), KeyCodes::slash);
    EXPECT_EQ(map.keyCode(10), KeyCodes::digit1);
    EXPECT_EQ(map.keyCode(200), KeyCodes::unknown);
}

TEST(KeyMap, ModifierStateBecomesCanonicalFlags) {
    const KeyMap map(nullptr);
    EXPECT_EQ(map.flags(0), 0u);
    EXPECT_EQ(map.flags(ShiftMask | ControlMask), ModifierFlags::shift | ModifierFlags::control);
    EXPECT_EQ(map.flags(Mod1Mask | Mod4Mask | LockMask),
              ModifierFlags::alt | ModifierFlags::super | ModifierFlags::capsLock);
    EXPECT_EQ(map.flags(Mod2Mask | Button1Mask), 0u); // NumLock and buttons are not modifiers
}
