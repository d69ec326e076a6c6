#include "TavrikPlatform/X11/X11HotkeyGrabber.h"

#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikPlatform/X11/KeyMap.h"
#include "TavrikPlatform/X11/RecordStream.h"
#include "TavrikPlatform/X11/XConnection.h"

#include <QList>
#include <QSocketNotifier>
#include <X11/Xlib.h>
#include <X11/keysym.h>

namespace tavrik::x11 {

namespace {

constexpr unsigned allModifiers =
    ShiftMask | LockMask | ControlMask | Mod1Mask | Mod2Mask | Mod3Mask | Mod4Mask | Mod5Mask;

// The extra modifier sets a grab must cover so that CapsLock and NumLock do not defeat it.
QList<unsigned> lockVariants(unsigned numLockMask) {
    QList<unsigned> v{0, LockMask};
    if (numLockMask)
        v << numLockMask << (numLockMask | LockMask);
    return v;
}

} // namespace

X11HotkeyGrabber::X11HotkeyGrabber(QObject* parent) : HotkeyGrabber(parent) {}

X11HotkeyGrabber::~X11HotkeyGrabber() {
    stop();
}

bool X11HotkeyGrabber::isRunning() const {
    return m_record && m_record->isRunning();
}

bool X11HotkeyGrabber::start() {
    if (isRunning())
        return true;
    m_error.clear();
    m_connection = std::make_unique<XConnection>();
    if (!m_connection->isOpen()) {
        m_error = tr("Cannot connect to the X server (DISPLAY is \"%1\").")
                      .arg(qEnvironmentVariable("DISPLAY"));
        m_connection.reset();
        return false;
    }
    Display* display = m_connection->display();
    m_keyMap = std::make_unique<KeyMap>(display);
    m_modifiers.clear();
    m_record = std::make_unique<RecordStream>(
        KeyPress, KeyRelease,
        [this](const RecordStream::Event& e) { onRecorded(e.type, e.detail, e.state, e.time); },
        250); // keys reach a focused client, which flushes them sooner anyway
    if (!m_record->start()) {
        m_error = m_record->errorString();
        stop();
        return false;
    }
    // Grabbed keys arrive on this connection; they are read and dropped (RECORD reports them).
    XSelectInput(display, m_connection->root(), 0);
    m_notifier = new QSocketNotifier(ConnectionNumber(display), QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &X11HotkeyGrabber::readGrabEvents);

    bool ok = grabPalette();
    if (m_escapeWanted)
        ok = grabEscape() && ok;
    return ok;
}

void X11HotkeyGrabber::stop() {
    delete m_notifier;
    m_notifier = nullptr;
    if (m_connection) {
        ungrabPalette();
        ungrabEscape();
        XSync(m_connection->display(), False);
    }
    m_record.reset();
    m_takenEscapes.clear();
    m_keyMap.reset();
    m_connection.reset();
}

void X11HotkeyGrabber::setEscapeGrabbed(bool grabbed) {
    m_escapeWanted = grabbed;
    if (!m_connection)
        return;
    if (grabbed)
        grabEscape();
    else
        ungrabEscape();
}

bool X11HotkeyGrabber::grabPalette() {
    Display* display = m_connection->display();
    m_slashKeycode = XKeysymToKeycode(display, XK_slash);
    if (!m_slashKeycode) {
        m_error = tr("The keyboard layout has no \"/\" key, so Control-/ cannot open the palette.");
        return false;
    }
    // Shift and Alt do not matter to the shortcut; Super makes it another one.
    const unsigned alt = m_keyMap->altMask();
    const QList<unsigned> extras{0, ShiftMask, alt, ShiftMask | alt};
    ErrorTrap trap(display);
    for (unsigned lock : lockVariants(m_keyMap->numLockMask()))
        for (unsigned extra : extras)
            XGrabKey(display, int(m_slashKeycode), ControlMask | extra | lock, m_connection->root(),
                     True, GrabModeAsync, GrabModeAsync);
    if (trap.sync() == BadAccess) {
        m_paletteGrabbed = true; // undo the variants that were granted
        ungrabPalette();
        m_error = tr("hotkey taken: another program already uses Control-/.");
        return false;
    }
    m_paletteGrabbed = true;
    return true;
}

void X11HotkeyGrabber::ungrabPalette() {
    if (!m_paletteGrabbed)
        return;
    Display* display = m_connection->display();
    const unsigned alt = m_keyMap->altMask();
    ErrorTrap trap(display);
    for (unsigned lock : lockVariants(m_keyMap->numLockMask()))
        for (unsigned extra : {0u, unsigned(ShiftMask), alt, ShiftMask | alt})
            XUngrabKey(display, int(m_slashKeycode), ControlMask | extra | lock,
                       m_connection->root());
    trap.sync();
    m_paletteGrabbed = false;
}

QList<unsigned> X11HotkeyGrabber::escapeModifiers() const {
    // Esc stops a skill whatever else is held: every combination of the four modifiers, each
    // with the lock variants.
    const unsigned mods[] = {ShiftMask, ControlMask, m_keyMap->altMask(), m_keyMap->superMask()};
    QList<unsigned> result;
    for (unsigned subset = 0; subset < 16; ++subset) {
        unsigned m = 0;
        for (int bit = 0; bit < 4; ++bit)
            if (subset & (1u << bit))
                m |= mods[bit];
        for (unsigned lock : lockVariants(m_keyMap->numLockMask()))
            result.append(m | lock);
    }
    return result;
}

bool X11HotkeyGrabber::grabEscape() {
    if (m_escapeGrabbed)
        return true;
    Display* display = m_connection->display();
    m_escapeKeycode = XKeysymToKeycode(display, XK_Escape);
    if (!m_escapeKeycode)
        return false;
    // One at a time: a combination another program holds (a window manager's Alt-Esc) must not
    // cost the others.
    m_escapeGrabs.clear();
    bool plainTaken = false;
    for (unsigned mods : escapeModifiers()) {
        ErrorTrap trap(display);
        XGrabKey(display, int(m_escapeKeycode), mods, m_connection->root(), True, GrabModeAsync,
                 GrabModeAsync);
        if (trap.sync() == 0)
            m_escapeGrabs.append(mods);
        else if ((mods & ~(LockMask | m_keyMap->numLockMask())) == 0)
            plainTaken = true;
    }
    m_escapeGrabbed = true;
    if (plainTaken) {
        m_error = tr("hotkey taken: another program already uses Esc, so it cannot stop a skill.");
        return false;
    }
    return true;
}

void X11HotkeyGrabber::ungrabEscape() {
    if (!m_escapeGrabbed)
        return;
    Display* display = m_connection->display();
    ErrorTrap trap(display);
    for (unsigned mods : std::as_const(m_escapeGrabs))
        XUngrabKey(display, int(m_escapeKeycode), mods, m_connection->root());
    trap.sync();
    m_escapeGrabs.clear();
    m_escapeGrabbed = false;
}

void X11HotkeyGrabber::readGrabEvents() {
    Display* display = m_connection->display();
    while (XPending(display)) {
        XEvent event;
        XNextEvent(display, &event);
        if (event.type == KeyPress && event.xkey.keycode == m_escapeKeycode) {
            m_takenEscapes.append(event.xkey.time);
            if (m_takenEscapes.size() > 64) // reports the recording stream never matched
                m_takenEscapes.removeFirst();
        } else if (event.type == MappingNotify) {
            XRefreshKeyboardMapping(&event.xmapping);
            if (event.xmapping.request != MappingPointer) {
                // Key codes or modifier masks may have moved: grab again.
                const bool escape = m_escapeGrabbed;
                ungrabPalette();
                ungrabEscape();
                m_keyMap->refresh();
                grabPalette();
                if (escape)
                    grabEscape();
            }
        }
    }
}

void X11HotkeyGrabber::onRecorded(int type, unsigned keycode, unsigned state, quint32 time) {
    const quint16 code = m_keyMap->keyCode(keycode);
    const quint64 before = m_keyMap->flags(state);
    const double seconds = time / 1000.0;
    if (KeyCodes::isModifierKey(code)) {
        const auto after = type == KeyPress ? m_modifiers.press(keycode, code, before)
                                            : m_modifiers.release(keycode, code, before);
        if (after)
            emit flagsChanged(code, *after, seconds);
    } else if (type == KeyPress) {
        const bool stalePress = m_escapeWanted && keycode == m_escapeKeycode &&
                                m_escapeGrabs.contains(state & allModifiers) &&
                                !escapeWasTaken(time);
        // Reports arrive late under load: an Esc pressed before the grab was in place reached
        // the application and must not stop the cast that started after it.
        emit keyPressed(stalePress ? KeyCodes::unknown : code, before);
    }
}

bool X11HotkeyGrabber::escapeWasTaken(quint32 time) {
    // The grab hands the press to this connection before the server reports it on the recording
    // stream; after a round trip it has been read.
    XSync(m_connection->display(), False);
    readGrabEvents();
    return m_takenEscapes.removeOne(time);
}

} // namespace tavrik::x11
