#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <optional>

using Display = struct _XDisplay;

namespace tavrik::x11 {

// Translates X key codes, keysyms and modifier state into the canonical key codes and flags of
// KeyCodes.h, and key presses into the text the keyboard layout types.
class KeyMap {
public:
    // Reads the modifier mapping (which ModN masks Alt, Super and NumLock are on).
    explicit KeyMap(Display* display);

    // Canonical code of a keysym; KeyCodes::unknown when it has none.
    static quint16 keyCodeForKeysym(unsigned long keysym);
    // Canonical code of an X key code: its first keysym, or for layouts of other scripts the
    // key's position on a US keyboard.
    quint16 keyCode(unsigned keycode) const;
    // Canonical flags for an X modifier state.
    quint64 flags(unsigned state) const;
    // What pressing the key in that state types; absent when it types nothing.
    std::optional<QString> text(unsigned keycode, unsigned state) const;

    unsigned altMask() const { return m_altMask; }
    unsigned superMask() const { return m_superMask; }
    unsigned numLockMask() const { return m_numLockMask; }
    void refresh();

    // Has the server tell this connection about keyboard-map changes. Xlib keeps the map it read
    // first and, unless told, answers with it forever after: a key mapped later would type
    // nothing.
    void watchChanges();
    // Takes in the changes the server has announced so far; call when one is known to have
    // happened, before translating the keys that follow it.
    void followChanges();
    // A keyboard-map request some client sent, seen in order with the keys (a core
    // ChangeKeyboardMapping, or an XKB request that loads a whole map). The keys after it are
    // read with what it mapped, whatever the server's map is by the time they are read: a tool
    // typing a character the layout lacks maps it on a free key, presses it and takes it back
    // at once. Returns whether the request was one of these.
    bool followRequest(const QByteArray& request, bool swapped);

private:
    // The key's keysyms as the last recorded request mapped them, if one did.
    const QList<unsigned long>* mapped(unsigned keycode) const;

    Display* m_display;
    int m_xkbOpcode = -1;
    QHash<unsigned, QList<unsigned long>> m_requested;
    unsigned m_altMask = 0;
    unsigned m_superMask = 0;
    unsigned m_numLockMask = 0;
};

} // namespace tavrik::x11
