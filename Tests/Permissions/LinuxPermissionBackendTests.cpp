#include "Support/CoreApplication.h"
#include "TavrikPlatform/Permissions/LinuxPermissionBackend.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <gtest/gtest.h>

using namespace tavrik;
using tavrik::linux_desktop::LinuxPermissionBackend;

namespace {

void setAccessibilityEnabled(bool on) {
    QDBusMessage message = QDBusMessage::createMethodCall("org.a11y.Bus", "/org/a11y/bus",
                                                          "org.freedesktop.DBus.Properties", "Set");
    message.setArguments({QStringLiteral("org.a11y.Status"), QStringLiteral("IsEnabled"),
                          QVariant::fromValue(QDBusVariant(on))});
    QDBusConnection::sessionBus().call(message);
}

class LinuxPermissionBackendTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (qEnvironmentVariableIsEmpty("DISPLAY")) {
            GTEST_SKIP() << "needs an X display with a session bus";
        }
        tavrik::test::ensureCoreApplication();
    }
    LinuxPermissionBackend backend;
};

TEST_F(LinuxPermissionBackendTest, TheTestDisplayCanBeReadAndRecorded) {
    EXPECT_EQ(backend.check(Permission::screenRecording), PermissionStatus::granted);
    EXPECT_EQ(backend.check(Permission::inputMonitoring), PermissionStatus::granted);
}

TEST_F(LinuxPermissionBackendTest, WithoutADisplayNothingCanBeSeen) {
    const QByteArray display = qgetenv("DISPLAY");
    qputenv("DISPLAY", ":4097"); // no server there
    const PermissionStatus screen = backend.check(Permission::screenRecording);
    const PermissionStatus input = backend.check(Permission::inputMonitoring);
    qputenv("DISPLAY", display);
    EXPECT_EQ(screen, PermissionStatus::denied);
    EXPECT_EQ(input, PermissionStatus::denied);
}

TEST_F(LinuxPermissionBackendTest, AccessibilityFollowsTheSessionSwitchAndCanBeTurnedOn) {
    setAccessibilityEnabled(false);
    EXPECT_EQ(backend.check(Permission::accessibility), PermissionStatus::denied);
    EXPECT_TRUE(backend.enable(Permission::accessibility));
    EXPECT_EQ(backend.check(Permission::accessibility), PermissionStatus::granted);
    // Nothing to switch on for the other two: the display decides.
    EXPECT_FALSE(backend.enable(Permission::screenRecording));
    EXPECT_FALSE(backend.enable(Permission::inputMonitoring));
    setAccessibilityEnabled(true);
}

TEST(DesktopSettings, OnlyAccessibilityHasSettingsToOpen) {
    EXPECT_FALSE(linux_desktop::settingsCommands(Permission::accessibility).isEmpty());
    EXPECT_TRUE(linux_desktop::settingsCommands(Permission::screenRecording).isEmpty());
    EXPECT_FALSE(linux_desktop::openDesktopSettings(Permission::inputMonitoring));
}

} // namespace
