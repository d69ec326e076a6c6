#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikPlatform/X11/KeyMap.h"

#include <QtEndian>
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

namespace {

// A core ChangeKeyboardMapping request as a client sends it, in either byte order.
QByteArray changeMapping(unsigned first, const QList<QList<quint32>>& keys, bool swapped) {
    const int perCode = int(keys.value(0).size());
    QByteArray request(8, '\0');
    request[0] = char(100); // X_ChangeKeyboardMapping
    request[1] = char(keys.size());
    request[4] = char(first);
    request[5] = char(perCode);
    for (const QList<quint32>& syms : keys)
        for (quint32 sym : syms) {
            const quint32 sent = swapped ? qbswap(sym) : sym;
            request.append(reinterpret_cast<const char*>(&sent), 4);
        }
    return request;
}

} // namespace

// A key a client maps during the recording is read with what it mapped, in the order the
// requests came, whatever the server says by the time the key is read.
TEST(KeyMap, KeysAreReadWithTheMapTheirRequestGave) {
    for (const bool swapped : {false, true}) {
        KeyMap map(nullptr);
        ASSERT_TRUE(map.followRequest(
            changeMapping(200, {{0x10003b1, NoSymbol}, {XK_exclam, XK_at}, {XK_c, NoSymbol}},
                          swapped),
            swapped));
        EXPECT_EQ(map.text(200, 0), QStringLiteral("α"));
        // A letter alone is both its cases; Caps Lock shifts letters only.
        EXPECT_EQ(map.text(200, ShiftMask), QStringLiteral("Α"));
        EXPECT_EQ(map.text(200, LockMask), QStringLiteral("Α"));
        EXPECT_EQ(map.text(201, 0), QStringLiteral("!"));
        EXPECT_EQ(map.text(201, ShiftMask), QStringLiteral("@"));
        EXPECT_EQ(map.text(201, LockMask), QStringLiteral("!"));
        EXPECT_EQ(map.text(202, ControlMask), QStringLiteral("\x03"));
        EXPECT_EQ(map.keyCode(202), KeyCodes::c);

        // Taken back: the key types nothing again.
        ASSERT_TRUE(map.followRequest(changeMapping(200, {{NoSymbol}}, swapped), swapped));
        EXPECT_EQ(map.text(200, 0), std::nullopt);
        EXPECT_EQ(map.text(201, 0), QStringLiteral("!"));
    }
}

TEST(KeyMap, RequestsThatMapNoKeysAreLeftAlone) {
    KeyMap map(nullptr);
    QByteArray cut = changeMapping(200, {{XK_a, XK_A}}, false);
    cut.chop(4); // says two keysyms, carries one
    EXPECT_FALSE(map.followRequest(cut, false));
    EXPECT_FALSE(map.followRequest(QByteArray("\x01\x00\x02\x00", 4), false)); // another request
    EXPECT_FALSE(map.followRequest(QByteArray(), false));
    EXPECT_EQ(map.text(200, 0), std::nullopt);
}
