#include "Evdev/EventStream.h"
#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikPlatform/Evdev/EvdevDecoder.h"

#include <cstring>
#include <gtest/gtest.h>
#include <linux/input.h>

namespace tavrik::evdev {
namespace {

InputEvent key(qint64 us, quint16 linux, quint16 canonical, bool pressed, bool repeat = false) {
    InputEvent e;
    e.kind = InputEvent::Kind::key;
    e.timeUs = us;
    e.linuxCode = linux;
    e.keyCode = canonical;
    e.pressed = pressed;
    e.repeat = repeat;
    return e;
}

InputEvent pointer(InputEvent::Kind kind, qint64 us, int dx, int dy) {
    InputEvent e;
    e.kind = kind;
    e.timeUs = us;
    e.dx = dx;
    e.dy = dy;
    return e;
}

InputEvent button(qint64 us, quint16 code, bool pressed) {
    InputEvent e;
    e.kind = InputEvent::Kind::button;
    e.timeUs = us;
    e.linuxCode = code;
    e.pressed = pressed;
    return e;
}

TEST(EvdevDecoder, TypingClickingAndScrollingDecodeTheSameHoweverTheBytesArrive) {
    ASSERT_EQ(sizeof(input_event), size_t(EvdevDecoder::recordSize));
    const qint64 t = 1700000000LL * 1000000;
    Stream s;
    // "Hi": the scan code comes with each key, as keyboards report it.
    s.add(t, EV_MSC, MSC_SCAN, 0x2a).add(t, EV_KEY, KEY_LEFTSHIFT, 1).sync(t);
    s.add(t + 100, EV_KEY, KEY_H, 1).sync(t + 100).add(t + 180, EV_KEY, KEY_H, 0).sync(t + 180);
    s.add(t + 200, EV_KEY, KEY_LEFTSHIFT, 0).sync(t + 200);
    s.add(t + 300, EV_KEY, KEY_I, 1).sync(t + 300).add(t + 800, EV_KEY, KEY_I, 2).sync(t + 800);
    s.add(t + 850, EV_KEY, KEY_I, 0).sync(t + 850);
    // Motion in two frames, then a click whose frame also moved, a wheel step down, and a
    // touchpad's touch bit, which is no button.
    s.add(t + 1000, EV_REL, REL_X, 3).add(t + 1000, EV_REL, REL_Y, -2).sync(t + 1000);
    s.add(t + 1010, EV_REL, REL_X, 1).sync(t + 1010);
    s.add(t + 1020, EV_REL, REL_X, 2).add(t + 1020, EV_KEY, BTN_LEFT, 1).sync(t + 1020);
    s.add(t + 1100, EV_KEY, BTN_LEFT, 0).sync(t + 1100);
    s.add(t + 1200, EV_REL, REL_WHEEL, -1).sync(t + 1200);
    s.add(t + 1300, EV_KEY, BTN_TOUCH, 1).sync(t + 1300);
    // The kernel's buffer overran: that frame is lost, the next one counts again.
    s.add(t + 1400, EV_REL, REL_X, 5).add(t + 1400, EV_SYN, SYN_DROPPED, 0);
    s.add(t + 1400, EV_KEY, KEY_A, 1).sync(t + 1400);
    s.add(t + 1500, EV_KEY, KEY_B, 1).sync(t + 1500);

    using K = InputEvent::Kind;
    const QList<InputEvent> expected{
        key(t, KEY_LEFTSHIFT, KeyCodes::shift, true),
        key(t + 100, KEY_H, KeyCodes::h, true),
        key(t + 180, KEY_H, KeyCodes::h, false),
        key(t + 200, KEY_LEFTSHIFT, KeyCodes::shift, false),
        key(t + 300, KEY_I, KeyCodes::i, true),
        key(t + 800, KEY_I, KeyCodes::i, true, true),
        key(t + 850, KEY_I, KeyCodes::i, false),
        pointer(K::motion, t + 1000, 3, -2),
        pointer(K::motion, t + 1010, 1, 0),
        pointer(K::motion, t + 1020, 2, 0),
        button(t + 1020, BTN_LEFT, true),
        button(t + 1100, BTN_LEFT, false),
        pointer(K::scroll, t + 1200, 0, 1),
        key(t + 1500, KEY_B, KeyCodes::b, true),
    };
    for (const qsizetype chunk :
         {qsizetype(1), qsizetype(7), qsizetype(24), qsizetype(100), s.bytes().size()}) {
        SCOPED_TRACE(chunk);
        EvdevDecoder decoder;
        QList<InputEvent> events;
        for (qsizetype at = 0; at < s.bytes().size(); at += chunk)
            events += decoder.feed(s.bytes().mid(at, chunk));
        ASSERT_EQ(events.size(), expected.size());
        for (qsizetype i = 0; i < expected.size(); ++i)
            EXPECT_TRUE(events[i] == expected[i]) << "event " << i;
        EXPECT_TRUE(decoder.dropped());
    }
}

TEST(EvdevDecoder, KeysOutsideAUsLayoutHaveNoCanonicalCode) {
    EXPECT_EQ(EvdevDecoder::keyCodeForLinux(KEY_ENTER), KeyCodes::returnKey);
    EXPECT_EQ(EvdevDecoder::keyCodeForLinux(KEY_LEFTMETA), KeyCodes::command);
    EXPECT_EQ(EvdevDecoder::keyCodeForLinux(KEY_F12), KeyCodes::f12);
    EXPECT_EQ(EvdevDecoder::keyCodeForLinux(KEY_102ND), KeyCodes::unknown);
    EXPECT_EQ(EvdevDecoder::keyCodeForLinux(KEY_VOLUMEUP), KeyCodes::unknown);
}

} // namespace
} // namespace tavrik::evdev
