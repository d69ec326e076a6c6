#include "TavrikCore/Hotkeys/KeyCodes.h"

namespace tavrik::KeyCodes {

std::optional<quint16> forCharacter(char32_t ch) {
    if (ch >= 'A' && ch <= 'Z')
        ch = ch - 'A' + 'a';
    static constexpr quint16 letters[26] = {a, b, c, d, e, f, g, h, i, j, k, l, m,
                                            n, o, p, q, r, s, t, u, v, w, x, y, z};
    if (ch >= 'a' && ch <= 'z')
        return letters[ch - 'a'];
    static constexpr quint16 digits[10] = {digit0, digit1, digit2, digit3, digit4,
                                           digit5, digit6, digit7, digit8, digit9};
    if (ch >= '0' && ch <= '9')
        return digits[ch - '0'];
    switch (ch) {
    case ' ':
        return space;
    case '\r':
    case '\n':
        return returnKey;
    case '\t':
        return tab;
    case '=':
    case '+':
        return equal;
    case '-':
    case '_':
        return minus;
    case '[':
    case '{':
        return leftBracket;
    case ']':
    case '}':
        return rightBracket;
    case '\'':
    case '"':
        return quote;
    case ';':
    case ':':
        return semicolon;
    case '\\':
    case '|':
        return backslash;
    case ',':
    case '<':
        return comma;
    case '.':
    case '>':
        return period;
    case '/':
    case '?':
        return slash;
    case '`':
    case '~':
        return grave;
    case '!':
        return digit1;
    case '@':
        return digit2;
    case '#':
        return digit3;
    case '$':
        return digit4;
    case '%':
        return digit5;
    case '^':
        return digit6;
    case '&':
        return digit7;
    case '*':
        return digit8;
    case '(':
        return digit9;
    case ')':
        return digit0;
    default:
        return std::nullopt;
    }
}

bool isModifierKey(quint16 code) {
    return ModifierFlags::forModifierKey(code) != 0;
}

} // namespace tavrik::KeyCodes

namespace tavrik::ModifierFlags {

quint64 forModifierKey(quint16 code) {
    namespace K = KeyCodes;
    switch (code) {
    case K::shift:
    case K::rightShift:
        return shift;
    case K::control:
    case K::rightControl:
        return control;
    case K::option:
    case K::rightOption:
        return alt;
    case K::command:
    case K::rightCommand:
        return super;
    case K::capsLock:
        return capsLock;
    default:
        return 0;
    }
}

} // namespace tavrik::ModifierFlags
