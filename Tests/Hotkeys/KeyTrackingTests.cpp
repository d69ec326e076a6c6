#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikCore/Hotkeys/ModifierTracker.h"
#include "TavrikCore/Recorder/ClickCounter.h"
#include "TavrikCore/Recorder/Displays.h"
#include "TavrikCore/Recorder/FrameCapturer.h"

#include <gtest/gtest.h>

using namespace tavrik;

TEST(KeyCodes, CharactersMapToTheirUSKeys) {
    EXPECT_EQ(KeyCodes::forCharacter('a'), 0);
    EXPECT_EQ(KeyCodes::forCharacter('C'), 8);
    EXPECT_EQ(KeyCodes::forCharacter('v'), 9);
    EXPECT_EQ(KeyCodes::forCharacter('/'), 44);
    EXPECT_EQ(KeyCodes::forCharacter('?'), 44);
    EXPECT_EQ(KeyCodes::forCharacter('1'), 18);
    EXPECT_EQ(KeyCodes::forCharacter('!'), 18);
    EXPECT_EQ(KeyCodes::forCharacter('0'), 29);
    EXPECT_EQ(KeyCodes::forCharacter(' '), 49);
    EXPECT_EQ(KeyCodes::forCharacter(U'é'), std::nullopt);
    EXPECT_EQ(ModifierFlags::forModifierKey(KeyCodes::rightControl), 0x40000u);
    EXPECT_EQ(ModifierFlags::forModifierKey(KeyCodes::command), 0x100000u);
    EXPECT_EQ(ModifierFlags::forModifierKey(KeyCodes::a), 0u);
}

TEST(ModifierTracker, ReportsChangesOnceAndKeepsBothKeysOfAModifierApart) {
    ModifierTracker t;
    const quint32 leftCtl = 37, rightCtl = 105;
    EXPECT_EQ(t.press(leftCtl, KeyCodes::control, 0), ModifierFlags::control);
    EXPECT_EQ(t.press(leftCtl, KeyCodes::control, ModifierFlags::control), std::nullopt); // repeat
    EXPECT_EQ(t.press(rightCtl, KeyCodes::rightControl, ModifierFlags::control),
              ModifierFlags::control);
    // Releasing one Control while the other is down keeps the flag.
    EXPECT_EQ(t.release(leftCtl, KeyCodes::control, ModifierFlags::control),
              ModifierFlags::control);
    EXPECT_EQ(t.release(rightCtl, KeyCodes::rightControl, ModifierFlags::control), 0u);
    EXPECT_EQ(t.release(rightCtl, KeyCodes::rightControl, 0), std::nullopt); // double release
    EXPECT_EQ(t.press(50, KeyCodes::shift, ModifierFlags::control),
              ModifierFlags::control | ModifierFlags::shift);
    EXPECT_EQ(t.press(38, KeyCodes::a, 0), std::nullopt); // not a modifier
}

TEST(ClickCounter, CountsPressesOfOneButtonWithinTimeAndDistance) {
    ClickCounter c(0.4, 5);
    EXPECT_EQ(c.press(1, {100, 100}, 10.0), 1);
    EXPECT_EQ(c.press(1, {103, 98}, 10.2), 2);
    EXPECT_EQ(c.press(1, {103, 98}, 10.5), 3);
    EXPECT_EQ(c.press(1, {103, 98}, 11.0), 1); // too late
    EXPECT_EQ(c.press(1, {110, 98}, 11.1), 1); // too far
    EXPECT_EQ(c.press(3, {110, 98}, 11.2), 1); // other button
    EXPECT_EQ(c.press(1, {110, 98}, 11.3), 1);
}

TEST(Displays, PointOutsideEveryDisplayMapsToTheMainOne) {
    const DisplayInfo left{1, Rect(-1280, 0, 1280, 1024), 1.0, false};
    const DisplayInfo main{2, Rect(0, 0, 1920, 1080), 1.0, true};
    const QList<DisplayInfo> both{left, main};
    EXPECT_EQ(Displays::displayContaining({-1, 5}, both)->id, 1u);
    EXPECT_EQ(Displays::displayContaining({0, 0}, both)->id, 2u);
    EXPECT_EQ(Displays::displayContaining({1920, 5}, both)->id, 2u); // maximum edge exclusive
    EXPECT_EQ(Displays::displayContaining({-1, 5000}, both)->id, 2u);
    EXPECT_EQ(Displays::displayContaining({5000, 0}, {left})->id, 1u);
    EXPECT_FALSE(Displays::displayContaining({0, 0}, {}).has_value());
}

TEST(FrameCapturer, RedactionBlacksOutWholePixelsClippedToTheImage) {
    QImage image(40, 30, QImage::Format_RGB32);
    image.fill(Qt::white);
    FrameCapturer::redact(image, {Rect(0, 0, 10.5, 2), Rect(35, 25, 100, 100), Rect(-5, -5, 1, 1)});
    EXPECT_EQ(image.pixel(0, 0), qRgb(0, 0, 0));
    EXPECT_EQ(image.pixel(10, 1), qRgb(0, 0, 0)); // partly covered pixel
    EXPECT_EQ(image.pixel(11, 1), qRgb(255, 255, 255));
    EXPECT_EQ(image.pixel(0, 2), qRgb(255, 255, 255));
    EXPECT_EQ(image.pixel(39, 29), qRgb(0, 0, 0));
    EXPECT_EQ(image.pixel(34, 29), qRgb(255, 255, 255));
}
