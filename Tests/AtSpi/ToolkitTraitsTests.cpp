#include "TavrikPlatform/AtSpi/ToolkitTraits.h"

#include <gtest/gtest.h>

using tavrik::atspi::ToolkitTraits;

// Only GTK from 4 on gives window-local extents on X11; GTK 3 and Qt give screen points, and a
// missing or odd version says nothing.
TEST(ToolkitTraits, OnlyGtkFourReportsExtentsInItsWindow) {
    EXPECT_TRUE(ToolkitTraits::extentsInWindow(QStringLiteral("GTK"), QStringLiteral("4.8.3")));
    EXPECT_TRUE(ToolkitTraits::extentsInWindow(QStringLiteral("gtk"), QStringLiteral("4.12")));
    EXPECT_FALSE(ToolkitTraits::extentsInWindow(QStringLiteral("GTK"), QStringLiteral("3.24.38")));
    EXPECT_FALSE(ToolkitTraits::extentsInWindow(QStringLiteral("Qt"), QStringLiteral("6.4.2")));
    EXPECT_FALSE(ToolkitTraits::extentsInWindow(QStringLiteral("GTK"), QString()));
    EXPECT_FALSE(ToolkitTraits::extentsInWindow(QStringLiteral("GTK"), QStringLiteral("four")));
}

// A class name stands in for a missing label; a label that merely mentions GTK is a name.
TEST(ToolkitTraits, AClassNameCountsAsNoName) {
    EXPECT_TRUE(ToolkitTraits::isTypeName(QStringLiteral("GtkButton")));
    EXPECT_TRUE(ToolkitTraits::isTypeName(QStringLiteral("GtkToggleButton")));
    EXPECT_FALSE(ToolkitTraits::isTypeName(QStringLiteral("Gtk")));
    EXPECT_FALSE(ToolkitTraits::isTypeName(QStringLiteral("Gtk Settings")));
    EXPECT_FALSE(ToolkitTraits::isTypeName(QStringLiteral("Gtkbutton")));
    EXPECT_FALSE(ToolkitTraits::isTypeName(QStringLiteral("+")));
    EXPECT_FALSE(ToolkitTraits::isTypeName(QString()));
}
