#include <QCoreApplication>
#include <gtest/gtest.h>

// An event loop for the session tests: accessibility events come through GLib's main context,
// which Qt's event dispatcher runs once an application exists.
int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    QCoreApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
