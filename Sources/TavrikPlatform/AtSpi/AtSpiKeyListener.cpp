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
// How long a stop or a press waits for the registry to hand over the keys before it.
constexpr int kDeliverTimeoutMs = 400;

} // namespace

namespace {

// The registry answers a deregistration late or never while it is delivering keys,
// which would stall every stop: one registration for the whole process, made on first use and
// kept.
struct Registration {
    QObject receiver;
    std::unique_ptr<AtSpiKeyChannel> channel;
    QList<AtSpiKeyListener*> subscribers;
    // One toolkit's clock at a time: the application in front.
    EventClock times{true};
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
    if (!r.channel) {
        // The accessibility library is set up for the rest of the monitor's questions.
        const int status = atspi_init();
        if (status != 0 && status != 1) {
            m_error = QStringLiteral("The accessibility bus cannot be reached.");
            return false;
        }
        auto channel =
            std::make_unique<AtSpiKeyChannel>(&r.receiver, [](const AtSpiKeyChannel::Key& key) {
                Registration& r = registration();
                const std::optional<TimePoint> time =
                    key.timestamp ? std::optional(r.times.place(key.timestamp, key.arrival))
                                  : std::nullopt;
                for (AtSpiKeyListener* subscriber : std::as_const(r.subscribers))
                    subscriber->handle(key, time);
            });
        // One registration for each combination of the modifiers.
        const quint32 bits[] = {kShift, kControl, kAlt, kSuper};
        QList<quint32> masks;
        for (quint32 combination = 0; combination < 16; ++combination) {
            quint32 mask = 0;
            for (int b = 0; b < 4; ++b)
                if (combination & (1u << b))
                    mask |= bits[b];
            masks.append(mask);
        }
        if (!channel->start(masks)) {
            m_error = channel->errorString();
            return false;
        }
        r.channel = std::move(channel);
    }
    if (r.subscribers.isEmpty())
        r.times.reset();
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

void AtSpiKeyListener::deliverPending() {
    if (m_running && registration().channel)
        registration().channel->deliverPending(kDeliverTimeoutMs);
}

void AtSpiKeyListener::handle(const AtSpiKeyChannel::Key& event, std::optional<TimePoint> time) {
    // The keysym first: a virtual keyboard numbers its keys as it likes.
    quint16 code = KeyCodes::unknown;
#ifdef TAVRIK_HAVE_X11
    code = x11::KeyMap::keyCodeForKeysym(event.keysym);
#endif
    if (const int evdevCode = int(event.hardwareCode) - kEvdevOffset;
        code == KeyCodes::unknown && evdevCode > 0)
        code = evdev::EvdevDecoder::keyCodeForLinux(quint16(evdevCode));
    const bool pressed = event.type == ATSPI_KEY_PRESSED_EVENT;
    setEventTime(time);
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
    if (event.isText && !event.text.isEmpty())
        characters = QString::fromUtf8(event.text);
    emit key(code, m_flags, characters);
}

} // namespace tavrik::atspi
