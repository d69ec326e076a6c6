#include "TavrikPlatform/X11/KeyMap.h"

#include "TavrikCore/Hotkeys/KeyCodes.h"

#include <QtEndian>
#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/Xproto.h>
#include <X11/Xutil.h>
#include <X11/extensions/XKB.h>
#include <X11/keysym.h>
#include <cstring>

namespace tavrik::x11 {

namespace K = KeyCodes;

KeyMap::KeyMap(Display* display) : m_display(display) {
    int event = 0, error = 0;
    if (m_display && !XQueryExtension(m_display, "XKEYBOARD", &m_xkbOpcode, &event, &error))
        m_xkbOpcode = -1;
    refresh();
}

void KeyMap::watchChanges() {
    if (m_display)
        XkbSelectEvents(m_display, XkbUseCoreKbd, XkbMapNotifyMask, XkbMapNotifyMask);
}

void KeyMap::followChanges() {
    if (!m_display)
        return;
    int xkbEvent = -1;
    if (!XkbQueryExtension(m_display, nullptr, &xkbEvent, nullptr, nullptr, nullptr))
        xkbEvent = -1;
    // The round trip brings in every notice sent before it.
    XSync(m_display, False);
    while (XPending(m_display) > 0) {
        XEvent event;
        XNextEvent(m_display, &event);
        if (event.type == MappingNotify)
            XRefreshKeyboardMapping(&event.xmapping);
        else if (event.type == xkbEvent)
            XkbRefreshKeyboardMapping(reinterpret_cast<XkbMapNotifyEvent*>(&event));
    }
    refresh();
}

bool KeyMap::followRequest(const QByteArray& request, bool swapped) {
    if (request.size() < 4)
        return false;
    const auto byte = [&](int i) { return quint8(request[i]); };
    if (byte(0) == m_xkbOpcode && (byte(1) == X_kbSetMap || byte(1) == X_kbGetKbdByName)) {
        // A whole new map: what the server says from now on is all there is.
        m_requested.clear();
        return true;
    }
    if (byte(0) != X_ChangeKeyboardMapping || request.size() < sz_xChangeKeyboardMappingReq)
        return false;
    const int count = byte(1);
    const unsigned first = byte(4);
    const int perCode = byte(5);
    if (perCode == 0 || request.size() < sz_xChangeKeyboardMappingReq + 4 * count * perCode)
        return false;
    for (int code = 0; code < count; ++code) {
        QList<unsigned long> syms;
        for (int i = 0; i < perCode; ++i) {
            quint32 sym = 0;
            memcpy(&sym,
                   request.constData() + sz_xChangeKeyboardMappingReq + 4 * (code * perCode + i),
                   4);
            syms.append(swapped ? qbswap(sym) : sym);
        }
        m_requested.insert(first + unsigned(code), syms);
    }
    return true;
}

const QList<unsigned long>* KeyMap::mapped(unsigned keycode) const {
    const auto it = m_requested.constFind(keycode);
    return it == m_requested.cend() ? nullptr : &*it;
}

void KeyMap::refresh() {
    // The usual places, for when the mapping cannot be read or does not say.
    m_altMask = m_superMask = m_numLockMask = 0;
    XModifierKeymap* map = m_display ? XGetModifierMapping(m_display) : nullptr;
    if (!map) {
        m_altMask = Mod1Mask;
        m_superMask = Mod4Mask;
        return;
    }
    for (int mod = 3; mod < 8; ++mod) { // Mod1 .. Mod5
        for (int k = 0; k < map->max_keypermod; ++k) {
            const KeyCode code = map->modifiermap[mod * map->max_keypermod + k];
            if (!code)
                continue;
            const KeySym sym = XkbKeycodeToKeysym(m_display, code, 0, 0);
            const unsigned mask = 1u << mod;
            if (sym == XK_Alt_L || sym == XK_Alt_R || sym == XK_Meta_L || sym == XK_Meta_R)
                m_altMask |= mask;
            else if (sym == XK_Super_L || sym == XK_Super_R)
                m_superMask |= mask;
            else if (sym == XK_Num_Lock)
                m_numLockMask |= mask;
        }
    }
    XFreeModifiermap(map);
    if (!m_altMask)
        m_altMask = Mod1Mask;
    if (!m_superMask)
        m_superMask = Mod4Mask;
}

quint16 KeyMap::keyCodeForKeysym(unsigned long sym) {
    switch (sym) {
    case XK_Return:
        return K::returnKey;
    case XK_KP_Enter:
        return K::keypadEnter;
    case XK_Tab:
    case XK_ISO_Left_Tab:
        return K::tab;
    case XK_space:
        return K::space;
    case XK_BackSpace:
        return K::deleteKey;
    case XK_Delete:
        return K::forwardDelete;
    case XK_Escape:
        return K::escape;
    case XK_Left:
        return K::leftArrow;
    case XK_Right:
        return K::rightArrow;
    case XK_Down:
        return K::downArrow;
    case XK_Up:
        return K::upArrow;
    case XK_Home:
        return K::home;
    case XK_End:
        return K::end;
    case XK_Prior:
        return K::pageUp;
    case XK_Next:
        return K::pageDown;
    case XK_Insert:
    case XK_Help:
        return K::help;
    case XK_Shift_L:
        return K::shift;
    case XK_Shift_R:
        return K::rightShift;
    case XK_Control_L:
        return K::control;
    case XK_Control_R:
        return K::rightControl;
    case XK_Alt_L:
    case XK_Meta_L:
        return K::option;
    case XK_Alt_R:
    case XK_Meta_R:
    case XK_ISO_Level3_Shift:
        return K::rightOption;
    case XK_Super_L:
        return K::command;
    case XK_Super_R:
        return K::rightCommand;
    case XK_Caps_Lock:
        return K::capsLock;
    case XK_KP_0:
    case XK_KP_Insert:
        return K::keypad0;
    case XK_KP_1:
    case XK_KP_End:
        return K::keypad1;
    case XK_KP_2:
    case XK_KP_Down:
        return K::keypad2;
    case XK_KP_3:
    case XK_KP_Next:
        return K::keypad3;
    case XK_KP_4:
    case XK_KP_Left:
        return K::keypad4;
    case XK_KP_5:
    case XK_KP_Begin:
        return K::keypad5;
    case XK_KP_6:
    case XK_KP_Right:
        return K::keypad6;
    case XK_KP_7:
    case XK_KP_Home:
        return K::keypad7;
    case XK_KP_8:
    case XK_KP_Up:
        return K::keypad8;
    case XK_KP_9:
    case XK_KP_Prior:
        return K::keypad9;
    case XK_KP_Decimal:
    case XK_KP_Delete:
    case XK_KP_Separator:
        return K::keypadDecimal;
    case XK_KP_Multiply:
        return K::keypadMultiply;
    case XK_KP_Add:
        return K::keypadPlus;
    case XK_KP_Subtract:
        return K::keypadMinus;
    case XK_KP_Divide:
        return K::keypadDivide;
    case XK_KP_Equal:
        return K::keypadEquals;
    case XK_Num_Lock:
    case XK_Clear:
        return K::keypadClear;
    default:
        break;
    }
    static constexpr quint16 functionKeys[20] = {
        K::f1,  K::f2,  K::f3,  K::f4,  K::f5,  K::f6,  K::f7,  K::f8,  K::f9,  K::f10,
        K::f11, K::f12, K::f13, K::f14, K::f15, K::f16, K::f17, K::f18, K::f19, K::f20};
    if (sym >= XK_F1 && sym <= XK_F20)
        return functionKeys[sym - XK_F1];
    if (sym >= 0x20 && sym < 0x7f)
        return K::forCharacter(char32_t(sym)).value_or(K::unknown);
    return K::unknown;
}

quint16 KeyMap::keyCode(unsigned keycode) const {
    const QList<unsigned long>* requested = mapped(keycode);
    if ((requested || m_display) && keycode >= 8 && keycode <= 255) {
        const quint16 code =
            keyCodeForKeysym(requested ? requested->value(0, NoSymbol)
                                       : XkbKeycodeToKeysym(m_display, KeyCode(keycode), 0, 0));
        if (code != K::unknown)
            return code;
    }
    // The typing block of a standard (evdev) keyboard, by position, for layouts whose first
    // keysyms are not Latin.
    static const char row[] = "1234567890-=\0\0qwertyuiop[]\0\0asdfghjkl;'`\0\\zxcvbnm,./";
    if (keycode >= 10 && keycode < 10 + sizeof(row) - 1 && row[keycode - 10])
        return K::forCharacter(char32_t(row[keycode - 10])).value_or(K::unknown);
    return K::unknown;
}

quint64 KeyMap::flags(unsigned state) const {
    quint64 flags = 0;
    if (state & ShiftMask)
        flags |= ModifierFlags::shift;
    if (state & LockMask)
        flags |= ModifierFlags::capsLock;
    if (state & ControlMask)
        flags |= ModifierFlags::control;
    if (state & m_altMask)
        flags |= ModifierFlags::alt;
    if (state & m_superMask)
        flags |= ModifierFlags::super;
    return flags;
}

namespace {

std::optional<QString> textOfKeysym(KeySym sym) {
    if ((sym >= 0x20 && sym < 0x7f) || (sym >= 0xa0 && sym <= 0xff))
        return QString(QChar(char16_t(sym)));
    if ((sym & 0xff000000) == 0x01000000) {
        const char32_t cp = char32_t(sym & 0x00ffffff);
        return QString::fromUcs4(&cp, 1);
    }
    switch (sym) {
    case XK_BackSpace:
        return QStringLiteral("\b");
    case XK_Tab:
    case XK_ISO_Left_Tab:
    case XK_KP_Tab:
        return QStringLiteral("\t");
    case XK_Return:
    case XK_KP_Enter:
        return QStringLiteral("\r");
    case XK_Escape:
        return QStringLiteral("\x1b");
    case XK_Delete:
        return QStringLiteral("\x7f");
    case XK_KP_Space:
        return QStringLiteral(" ");
    case XK_KP_Equal:
        return QStringLiteral("=");
    case XK_KP_Multiply:
        return QStringLiteral("*");
    case XK_KP_Add:
        return QStringLiteral("+");
    case XK_KP_Separator:
        return QStringLiteral(",");
    case XK_KP_Subtract:
        return QStringLiteral("-");
    case XK_KP_Decimal:
        return QStringLiteral(".");
    case XK_KP_Divide:
        return QStringLiteral("/");
    default:
        break;
    }
    if (sym >= XK_KP_0 && sym <= XK_KP_9)
        return QString(QChar(char16_t('0' + (sym - XK_KP_0))));
    return std::nullopt;
}

// A key as a core map request gives it: the first two keysyms are the plain and the shifted
// one, and a letter alone is both, in its two cases.
std::optional<QString> textOfRequested(const QList<unsigned long>& syms, unsigned state) {
    KeySym lower = NoSymbol, upper = NoSymbol;
    XConvertCase(syms.value(0, NoSymbol), &lower, &upper);
    const KeySym plain = syms.value(1, NoSymbol) == NoSymbol ? lower : syms.value(0);
    const KeySym shifted = syms.value(1, NoSymbol) == NoSymbol ? upper : syms.value(1);
    const bool letter = lower != upper;
    const bool shift = (state & ShiftMask) != 0;
    const bool lock = (state & LockMask) != 0 && letter;
    const KeySym sym = shift != lock ? shifted : plain;
    // Control on a letter types its control character, as Xlib's lookup does.
    if ((state & ControlMask) && sym >= 0x40 && sym < 0x80)
        return QString(QChar(char16_t(sym & 0x1f)));
    return textOfKeysym(sym);
}

} // namespace

std::optional<QString> KeyMap::text(unsigned keycode, unsigned state) const {
    if (const QList<unsigned long>* requested = mapped(keycode))
        return textOfRequested(*requested, state);
    if (!m_display)
        return std::nullopt;
    XKeyEvent event{};
    event.type = KeyPress;
    event.display = m_display;
    event.root = event.window = DefaultRootWindow(m_display);
    event.keycode = keycode;
    event.state = state;
    event.same_screen = True;
    char bytes[16];
    KeySym sym = NoSymbol;
    const int n = XLookupString(&event, bytes, sizeof bytes, &sym, nullptr);
    // With Control, Xlib applies the terminal convention (Control-C types U+0003); keep that.
    if ((state & ControlMask) && n > 0)
        return QString::fromLatin1(bytes, n);
    if (auto text = textOfKeysym(sym))
        return text;
    if (n > 0)
        return QString::fromLatin1(bytes, n);
    return std::nullopt;
}

} // namespace tavrik::x11
