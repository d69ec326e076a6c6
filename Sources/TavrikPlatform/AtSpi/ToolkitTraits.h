#pragma once

#include <QString>

namespace tavrik::atspi {

// What sets a toolkit's accessibility apart from what the bus promises, read from the toolkit's
// name and version as AT-SPI gives them.
class ToolkitTraits {
public:
    // GTK 4 reports extents relative to its window even on X11, where every other toolkit gives
    // screen coordinates: its points are made global with the window's origin.
    static bool extentsInWindow(const QString& toolkit, const QString& version);
    // GTK 4 names an element without a label by its class ("GtkButton"): that names no element a
    // person would recognise, so it counts as no name.
    static bool isTypeName(const QString& name);
};

} // namespace tavrik::atspi
