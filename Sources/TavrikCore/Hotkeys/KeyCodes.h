#pragma once

#include <QtGlobal>
#include <optional>

// The key codes and modifier bits stored in recordings and skills. They are the same on every
// platform: the virtual key numbers of a US keyboard (a key's position, named by what it types on
// that layout) and one bit per modifier. Backends translate their native codes into these.
namespace tavrik::KeyCodes {

inline constexpr quint16 a = 0, s = 1, d = 2, f = 3, h = 4, g = 5, z = 6, x = 7, c = 8, v = 9;
inline constexpr quint16 b = 11, q = 12, w = 13, e = 14, r = 15, y = 16, t = 17;
inline constexpr quint16 o = 31, u = 32, i = 34, p = 35, l = 37, j = 38, k = 40, n = 45, m = 46;
inline constexpr quint16 digit1 = 18, digit2 = 19, digit3 = 20, digit4 = 21, digit6 = 22,
                         digit5 = 23, digit9 = 25, digit7 = 26, digit8 = 28, digit0 = 29;
inline constexpr quint16 equal = 24, minus = 27, rightBracket = 30, leftBracket = 33, quote = 39,
                         semicolon = 41, backslash = 42, comma = 43, slash = 44, period = 47,
                         grave = 50;

inline constexpr quint16 returnKey = 36, tab = 48, space = 49, deleteKey = 51, escape = 53;
inline constexpr quint16 rightCommand = 54, command = 55, shift = 56, capsLock = 57, option = 58,
                         control = 59, rightShift = 60, rightOption = 61, rightControl = 62;
inline constexpr quint16 keypadDecimal = 65, keypadMultiply = 67, keypadPlus = 69, keypadClear = 71,
                         keypadDivide = 75, keypadEnter = 76, keypadMinus = 78, keypadEquals = 81,
                         keypad0 = 82, keypad1 = 83, keypad2 = 84, keypad3 = 85, keypad4 = 86,
                         keypad5 = 87, keypad6 = 88, keypad7 = 89, keypad8 = 91, keypad9 = 92;
inline constexpr quint16 f1 = 122, f2 = 120, f3 = 99, f4 = 118, f5 = 96, f6 = 97, f7 = 98, f8 = 100,
                         f9 = 101, f10 = 109, f11 = 103, f12 = 111, f13 = 105, f14 = 107, f15 = 113,
                         f16 = 106, f17 = 64, f18 = 79, f19 = 80, f20 = 90;
inline constexpr quint16 help = 114, home = 115, pageUp = 116, forwardDelete = 117, end = 119,
                         pageDown = 121, leftArrow = 123, rightArrow = 124, downArrow = 125,
                         upArrow = 126;

// A key with no canonical code (media keys, keys of other scripts' layouts...).
inline constexpr quint16 unknown = 0xFFFF;

// The key that types `character` (ASCII, either case; shifted punctuation maps to its key)
// on a US layout, absent for anything else.
std::optional<quint16> forCharacter(char32_t character);

// Whether the code is one of the modifier keys above.
bool isModifierKey(quint16 code);

} // namespace tavrik::KeyCodes

namespace tavrik::ModifierFlags {

inline constexpr quint64 capsLock = 0x10000;
inline constexpr quint64 shift = 0x20000;
inline constexpr quint64 control = 0x40000;
inline constexpr quint64 alt = 0x80000;
inline constexpr quint64 super = 0x100000;

// The bit that a modifier key sets (0 for other keys).
quint64 forModifierKey(quint16 code);

} // namespace tavrik::ModifierFlags
