#include "TavrikPlatform/X11/XTestInput.h"

#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikPlatform/X11/KeyMap.h"

#include <QList>
#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>
#include <algorithm>
#include <cmath>
#include <vector>

namespace tavrik::x11 {

namespace {

// The keysym that types a character: Latin-1 keysyms are the code points themselves, the rest
// of Unicode sits at 0x01000000 + code point. Control characters other than line breaks and
// tabs have none.
std::optional<unsigned long> keysymFor(char32_t c) {
    if (c == U'\n' || c == U'\r') {
        return XK_Return;
    }
    if (c == U'\t') {
        return XK_Tab;
    }
    if ((c >= 0x20 && c < 0x7f) || (c >= 0xa0 && c <= 0xff)) {
        return c;
    }
    if (c < 0xa0 || c > 0x10ffff || (c >= 0xd800 && c <= 0xdfff)) {
        return std::nullopt;
    }
    return 0x01000000ul | c;
}

// Drags move in steps this long at most, so that applications see the pointer travel.
constexpr double dragStep = 20;
constexpr int maxDragSteps = 50;
// More wheel steps than this in one call is a mistake, not a scroll.
constexpr int maxScrollSteps = 500;

} // namespace

XTestInput::XTestInput() : m_display(XOpenDisplay(nullptr)) {
    if (!m_display) {
        return;
    }
    int event = 0;
    int error = 0;
    int major = 0;
    int minor = 0;
    m_hasXTest = XTestQueryExtension(m_display, &event, &error, &major, &minor);
    m_keyMap = std::make_unique<KeyMap>(m_display);
}

XTestInput::~XTestInput() {
    if (!m_display) {
        return;
    }
    if (!m_borrowed.isEmpty()) {
        const std::vector<KeySym> empty(size_t(std::max(1, m_keysymsPerKeycode)), NoSymbol);
        for (unsigned keycode : std::as_const(m_borrowed)) {
            XChangeKeyboardMapping(m_display, int(keycode), std::max(1, m_keysymsPerKeycode),
                                   const_cast<KeySym*>(empty.data()), 1);
        }
        XSync(m_display, False);
    }
    XCloseDisplay(m_display);
}

bool XTestInput::isAvailable() const {
    return m_display && m_hasXTest;
}

void XTestInput::key(unsigned keycode, bool down) {
    XTestFakeKeyEvent(m_display, keycode, down ? True : False, CurrentTime);
    XSync(m_display, False);
}

void XTestInput::button(unsigned number, bool down) {
    XTestFakeButtonEvent(m_display, number, down ? True : False, CurrentTime);
    XSync(m_display, False);
}

void XTestInput::moveTo(Point at) {
    XTestFakeMotionEvent(m_display, -1, int(std::lround(at.x)), int(std::lround(at.y)),
                         CurrentTime);
    XSync(m_display, False);
}

bool XTestInput::pressKey(quint16 keyCode, quint64 modifierFlags) {
    if (!isAvailable() || keyCode == KeyCodes::unknown) {
        return false;
    }
    unsigned keycode = 0;
    for (unsigned k = 8; k <= 255 && !keycode; ++k) {
        if (m_keyMap->keyCode(k) == keyCode) {
            keycode = k;
        }
    }
    if (!keycode) {
        return false;
    }
    static constexpr std::pair<quint64, KeySym> modifierKeys[] = {
        {ModifierFlags::control, XK_Control_L},
        {ModifierFlags::alt, XK_Alt_L},
        {ModifierFlags::super, XK_Super_L},
        {ModifierFlags::shift, XK_Shift_L},
    };
    QList<unsigned> modifiers;
    for (const auto& [flag, keysym] : modifierKeys) {
        if (!(modifierFlags & flag)) {
            continue;
        }
        const unsigned code = XKeysymToKeycode(m_display, keysym);
        if (!code) {
            return false;
        }
        if (code != keycode) {
            modifiers.append(code);
        }
    }
    for (unsigned m : modifiers) {
        key(m, true);
    }
    key(keycode, true);
    key(keycode, false);
    for (auto it = modifiers.crbegin(); it != modifiers.crend(); ++it) {
        key(*it, false);
    }
    return true;
}

bool XTestInput::typeText(const QString& text) {
    if (!isAvailable()) {
        return false;
    }
    // Every character is placed before the first is typed: text that cannot be typed whole is
    // not typed at all.
    QList<Stroke> strokes;
    for (char32_t c : text.toUcs4()) {
        const std::optional<Stroke> stroke = strokeFor(c);
        if (!stroke) {
            return false;
        }
        strokes.append(*stroke);
    }
    const unsigned shift = XKeysymToKeycode(m_display, XK_Shift_L);
    for (const Stroke& stroke : std::as_const(strokes)) {
        if (stroke.shift && !shift) {
            return false;
        }
        if (stroke.shift) {
            key(shift, true);
        }
        key(stroke.keycode, true);
        key(stroke.keycode, false);
        if (stroke.shift) {
            key(shift, false);
        }
    }
    return true;
}

std::optional<XTestInput::Stroke> XTestInput::strokeFor(char32_t character) {
    const std::optional<unsigned long> keysym = keysymFor(character);
    if (!keysym) {
        return std::nullopt;
    }
    if (auto borrowed = m_borrowed.constFind(*keysym); borrowed != m_borrowed.constEnd()) {
        return Stroke{*borrowed, false};
    }
    const unsigned keycode = XKeysymToKeycode(m_display, *keysym);
    if (keycode) {
        // Group one only: the first two levels are plain and shifted.
        for (unsigned level = 0; level < 2; ++level) {
            if (XkbKeycodeToKeysym(m_display, KeyCode(keycode), 0, int(level)) == *keysym) {
                return Stroke{keycode, level == 1};
            }
        }
    }
    if (const std::optional<unsigned> spare = spareKeycode(*keysym)) {
        return Stroke{*spare, false};
    }
    return std::nullopt;
}

std::optional<unsigned> XTestInput::spareKeycode(unsigned long keysym) {
    if (!m_spareScanned) {
        m_spareScanned = true;
        int min = 0;
        int max = 0;
        XDisplayKeycodes(m_display, &min, &max);
        int perKeycode = 0;
        KeySym* map = XGetKeyboardMapping(m_display, KeyCode(min), max - min + 1, &perKeycode);
        if (map) {
            m_keysymsPerKeycode = perKeycode;
            for (int k = min; k <= max; ++k) {
                const KeySym* row = map + size_t(k - min) * size_t(perKeycode);
                if (std::all_of(row, row + perKeycode, [](KeySym s) { return s == NoSymbol; })) {
                    m_spare.append(unsigned(k));
                }
            }
            XFree(map);
        }
    }
    if (m_spare.isEmpty() || m_keysymsPerKeycode < 1) {
        return std::nullopt;
    }
    const unsigned keycode = m_spare.takeLast();
    // The same keysym on both levels, so that a held Shift changes nothing.
    std::vector<KeySym> row(size_t(m_keysymsPerKeycode), NoSymbol);
    row[0] = keysym;
    if (row.size() > 1) {
        row[1] = keysym;
    }
    XChangeKeyboardMapping(m_display, int(keycode), m_keysymsPerKeycode, row.data(), 1);
    XSync(m_display, False);
    m_borrowed.insert(keysym, keycode);
    return keycode;
}

bool XTestInput::click(Point at, Button which, int count) {
    if (!isAvailable() || count < 1) {
        return false;
    }
    const unsigned number = which == Button::left ? 1 : which == Button::middle ? 2 : 3;
    moveTo(at);
    for (int i = 0; i < count; ++i) {
        button(number, true);
        button(number, false);
    }
    return true;
}

bool XTestInput::drag(Point from, Point to) {
    if (!isAvailable()) {
        return false;
    }
    moveTo(from);
    button(1, true);
    const double distance = std::hypot(to.x - from.x, to.y - from.y);
    const int steps = std::clamp(int(std::ceil(distance / dragStep)), 1, maxDragSteps);
    for (int i = 1; i <= steps; ++i) {
        const double t = double(i) / steps;
        moveTo(Point{from.x + (to.x - from.x) * t, from.y + (to.y - from.y) * t});
    }
    button(1, false);
    return true;
}

bool XTestInput::scroll(Point at, int dx, int dy) {
    if (!isAvailable() || std::abs(dx) > maxScrollSteps || std::abs(dy) > maxScrollSteps) {
        return false;
    }
    moveTo(at);
    // Buttons 4 and 5 scroll up and down, 6 and 7 left and right.
    const unsigned vertical = dy > 0 ? 5 : 4;
    const unsigned horizontal = dx > 0 ? 7 : 6;
    for (int i = 0; i < std::abs(dy); ++i) {
        button(vertical, true);
        button(vertical, false);
    }
    for (int i = 0; i < std::abs(dx); ++i) {
        button(horizontal, true);
        button(horizontal, false);
    }
    return true;
}

} // namespace tavrik::x11
