#include <QApplication>
#include <gtest/gtest.h>

#include "ViewsTestSupport.h"

// Widgets need a QApplication; the offscreen platform gives one without a display, so the
// layouts, painting and key handling are tested the same everywhere.
int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
