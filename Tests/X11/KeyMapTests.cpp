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
    // Where several keysyms share a key, and what has no canonical code.
    const std::pair<unsigned long, quint16> cases[] = {
        {XK_ISO_Left_Tab, KeyCodes::tab},       {XK_KP_Enter, 76},
        {XK_question, KeyCodes::slash},         {XK_A, KeyCodes::a},
        {XK_exclam, KeyCodes::digit1},          {XK_F12, 111},
        {XK_Control_R, KeyCodes::rightControl}, {XK_KP_Home, 89},
        {XF86XK_AudioMute, KeyCodes::unknown},  {XK_eacute, KeyCodes::unknown},
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
