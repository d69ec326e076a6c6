#include "Evdev/EventStream.h"
#include "TavrikCore/Hotkeys/HotkeyEngine.h"
#include "TavrikPlatform/Evdev/EvdevKeys.h"
#include "TavrikPlatform/Null/NullDesktop.h"

#include <gtest/gtest.h>

namespace tavrik::evdev {
namespace {

constexpr qint64 t0 = 5000LL * 1000000;
constexpr qint64 ms = 1000;

// A keyboard's stream through the hotkey engine, as Tavrik runs it on GNOME: what the engine
// decided, in order.
QList<HotkeyEngine::Event> decisions(const Stream& stream) {
    auto grabber = std::make_unique<NullHotkeyGrabber>();
    EvdevKeys keys(*grabber);
    HotkeyEngine engine(std::move(grabber));
    QList<HotkeyEngine::Event> seen;
    QObject::connect(&engine, &HotkeyEngine::triggered,
                     [&](HotkeyEngine::Event event) { seen << event; });
    EvdevDecoder decoder;
    for (const InputEvent& event : decoder.feed(stream.bytes()))
        keys.take(event);
    return seen;
}

Stream& tap(Stream& s, qint64 at, quint16 key, qint64 holdMs = 60) {
    return s.add(at, EV_KEY, key, 1)
        .sync(at)
        .add(at + holdMs * ms, EV_KEY, key, 0)
        .sync(at + holdMs * ms);
}

TEST(EvdevKeys, ADoubleTapOfControlRecordsAndNothingElseDoes) {
    Stream s;
    // Control used for a shortcut, then pressed again soon: no tap pair.
    s.add(t0, EV_KEY, KEY_LEFTCTRL, 1).sync(t0);
    tap(s, t0 + 50 * ms, KEY_C);
    s.add(t0 + 150 * ms, EV_KEY, KEY_LEFTCTRL, 0).sync(t0 + 150 * ms);
    tap(s, t0 + 250 * ms, KEY_LEFTCTRL);
    // Control held long enough to repeat, released, and pressed again after the window.
    const qint64 held = t0 + 2000 * ms;
    s.add(held, EV_KEY, KEY_LEFTCTRL, 1).sync(held);
    for (int i = 1; i <= 5; ++i)
        s.add(held + (500 + 33 * i) * ms, EV_KEY, KEY_LEFTCTRL, 2).sync(held + (500 + 33 * i) * ms);
    s.add(held + 800 * ms, EV_KEY, KEY_LEFTCTRL, 0).sync(held + 800 * ms);
    tap(s, held + 1200 * ms, KEY_LEFTCTRL);
    // Control-/ belongs to the desktop's grabber, which reports it itself: not seen here.
    const qint64 palette = t0 + 5000 * ms;
    s.add(palette, EV_KEY, KEY_LEFTCTRL, 1).sync(palette);
    tap(s, palette + 30 * ms, KEY_SLASH);
    s.add(palette + 120 * ms, EV_KEY, KEY_LEFTCTRL, 0).sync(palette + 120 * ms);
    // The double tap, left then right Control.
    const qint64 pair = t0 + 8000 * ms;
    tap(s, pair, KEY_LEFTCTRL);
    tap(s, pair + 200 * ms, KEY_RIGHTCTRL);

    EXPECT_EQ(decisions(s), QList<HotkeyEngine::Event>{HotkeyEngine::Event::toggleRecording});
}

} // namespace
} // namespace tavrik::evdev
