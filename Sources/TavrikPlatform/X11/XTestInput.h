#pragma once

#include "TavrikCore/Replay/SyntheticInput.h"

#include <QHash>
#include <memory>

using Display = struct _XDisplay; // NOLINT(bugprone-reserved-identifier): Xlib's name

namespace tavrik::x11 {

class KeyMap;

// SyntheticInput through the XTest extension, on a connection of its own. Every event is synced
// to the server as it is made, so a process ended mid-way leaves no input queued behind it (a
// key it held down stays down, as with a real keyboard unplugged).
//
// Characters the keyboard layout cannot type are put on spare key codes (ones the layout leaves
// empty) for as long as this object lives: a client reads the key map when it handles the key,
// which may be after we return, so taking the mapping back at once could change what it types.
class XTestInput final : public SyntheticInput {
public:
    XTestInput();
    ~XTestInput() override;
    XTestInput(const XTestInput&) = delete;
    XTestInput& operator=(const XTestInput&) = delete;

    bool isAvailable() const override;
    bool pressKey(quint16 keyCode, quint64 modifierFlags) override;
    bool typeText(const QString& text) override;
    bool click(Point at, Button button, int count) override;
    bool drag(Point from, Point to) override;
    bool scroll(Point at, int dx, int dy) override;

private:
    struct Stroke {
        unsigned keycode = 0;
        bool shift = false;
    };
    std::optional<Stroke> strokeFor(char32_t character);
    std::optional<unsigned> spareKeycode(unsigned long keysym);
    void key(unsigned keycode, bool down);
    void button(unsigned number, bool down);
    void moveTo(Point at);

    Display* m_display = nullptr;
    bool m_hasXTest = false;
    std::unique_ptr<KeyMap> m_keyMap;
    // Keysyms put on spare key codes, and the codes still free for that.
    QHash<unsigned long, unsigned> m_borrowed;
    QList<unsigned> m_spare;
    bool m_spareScanned = false;
    int m_keysymsPerKeycode = 0;
};

} // namespace tavrik::x11
