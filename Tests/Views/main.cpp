#include "ViewsTestSupport.h"

#include <QApplication>
#include <gtest/gtest.h>

// Widgets need a QApplication; the offscreen platform gives one without a display, so the
// layouts, painting and key handling are tested the same everywhere. TAVRIK_VIEWS_ON_X11=1 asks
// for the X server instead when there is one (the OnX11 tests need it and skip without it).
int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (qEnvironmentVariableIntValue("TAVRIK_VIEWS_ON_X11") == 1 &&
        !qEnvironmentVariableIsEmpty("DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "xcb");
    else if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
