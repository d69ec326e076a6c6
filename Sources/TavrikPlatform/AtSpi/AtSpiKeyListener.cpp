#include "TavrikPlatform/AtSpi/AtSpiKeyListener.h"

#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikPlatform/Evdev/EvdevDecoder.h"

#ifdef TAVRIK_HAVE_X11
#include "TavrikPlatform/X11/KeyMap.h"
#endif

#include <atspi/atspi.h>

namespace tavrik::atspi {

namespace {

constexpr quint32 kShift = 1 << 0;
constexpr quint32 kControl = 1 << 2;
constexpr quint32 kAlt = 1 << 3;
constexpr quint32 kSuper = 1 << 6;
// X key codes are evdev codes plus 8.
constexpr int kEvdevOffset = 8;

} // namespace

namespace {

// One registration for the whole process, made on first use and kept: the registry answers a
// deregistration late or never while it is delivering keys, which would stall every stop.
struct Registration {
    AtspiDeviceListener* listener = nullptr;
    QList<AtSpiKeyListener*> subscribers;
    QString error;
};

Registration& registration() {
    static Registration r;
    return r;
}

} // namespace

AtSpiKeyListener::~AtSpiKeyListener() {
    stop();
}

quint64 AtSpiKeyListener::flagsForModifiers(quint32 modifiers) {
    quint64 flags = 0;
    if (modifiers & kShift)
        flags |= ModifierFlags::shift;
    if (modifiers & kControl)
        flags |= ModifierFlags::control;
    if (modifiers & kAlt)
        flags |= ModifierFlags::alt;
    if (modifiers & kSuper)
        flags |= ModifierFlags::super;
    return flags;
}

bool AtSpiKeyListener::start() {
    if (m_running)
        return true;
    Registration& r = registration();
    if (!r.listener) {
        const int status = atspi_init();
        if (status != 0 && status != 1) {
            m_error = QStringLiteral("The accessibility bus cannot be reached.");
            return false;
        }
        r.listener = atspi_device_listener_new(
            reinterpret_cast<AtspiDeviceListenerCB>(&AtSpiKeyListener::onKey), nullptr, nullptr);
        // A registration hears only keys pressed with exactly its modifier mask: one for each
        // combination. The registry's answer is false for registrations it keeps all the same, so
        // only an error counts.
        const quint32 bits[] = {kShift, kControl, kAlt, kSuper};
        int registered = 0;
        for (quint32 combination = 0; combination < 16; ++combination) {
            quint32 mask = 0;
            for (int b = 0; b < 4; ++b)
                if (combination & (1u << b))
                    mask |= bits[b];
            GError* error = nullptr;
            atspi_register_keystroke_listener(r.listener, nullptr, mask,
                                              (1 << ATSPI_KEY_PRESSED_EVENT) |
                                                  (1 << ATSPI_KEY_RELEASED_EVENT),
                                              ATSPI_KEYLISTENER_NOSYNC, &error);
            if (error) {
                r.error = QString::fromUtf8(error->message);
                g_error_free(error);
            } else {
                ++registered;
            }
        }
        if (registered == 0) {
            g_object_unref(r.listener);
            r.listener = nullptr;
            m_error = r.error;
            return false;
        }
    }
    r.subscribers.append(this);
    m_running = true;
    m_error.clear();
    return true;
}

void AtSpiKeyListener::stop() {
    if (!m_running)
        return;
    registration().subscribers.removeAll(this);
    m_running = false;
}

int AtSpiKeyListener::onKey(AtspiDeviceEvent* event, void*) {
    for (AtSpiKeyListener* subscriber : std::as_const(registration().subscribers))
        subscriber->handle(*event);
    return FALSE; // never consumed: the application still gets its key
}

void AtSpiKeyListener::handle(const AtspiDeviceEvent& event) {
    // The keysym first: a virtual keyboard numbers its keys as it likes.
    quint16 code = KeyCodes::unknown;
#ifdef TAVRIK_HAVE_X11
    code = x11::KeyMap::keyCodeForKeysym(event.id);
#endif
    if (const int evdevCode = int(event.hw_code) - kEvdevOffset;
        code == KeyCodes::unknown && evdevCode > 0)
        code = evdev::EvdevDecoder::keyCodeForLinux(quint16(evdevCode));
    const bool pressed = event.type == ATSPI_KEY_PRESSED_EVENT;
    if (KeyCodes::isModifierKey(code)) {
        // The state AT-SPI reports is the one before this key: apply the key itself.
        const quint64 bit = ModifierFlags::forModifierKey(code);
        m_flags = (flagsForModifiers(event.modifiers) & ~bit) | (pressed ? bit : 0);
        emit flagsChanged(code, m_flags);
        return;
    }
    if (!pressed)
        return;
    m_flags = flagsForModifiers(event.modifiers);
    std::optional<QString> characters;
    if (event.is_text && event.event_string && *event.event_string)
        characters = QString::fromUtf8(event.event_string);
    emit key(code, m_flags, characters);
}

} // namespace tavrik::atspi
