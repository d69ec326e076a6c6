#include <QCoreApplication>
#include <QGuiApplication>
#include <gtest/gtest.h>
#include <memory>

// The desktop tests need an event loop; with a display it is a GUI one so that the toolkit's
// desktop settings (double-click time, screens) are read as in the application.
int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    std::unique_ptr<QCoreApplication> app;
    if (!qEnvironmentVariableIsEmpty("DISPLAY")) {
        qputenv("QT_QPA_PLATFORM", "xcb");
        app = std::make_unique<QGuiApplication>(argc, argv);
    } else {
        app = std::make_unique<QCoreApplication>(argc, argv);
    }
    return RUN_ALL_TESTS();
}
