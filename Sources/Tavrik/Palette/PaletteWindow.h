#pragma once

#include "Tavrik/Palette/PaletteView.h"

#include <functional>

namespace tavrik {

// At most one palette is on screen; every `show` builds a fresh one.
namespace PaletteWindow {

struct Callbacks {
    std::function<void(const Skill&, const QMap<QString, QString>&)> onRun;
    std::function<void(PaletteModel::RecordAction)> onRecord;
    // Once, after the panel has gone.
    std::function<void()> onClosed;
};

// Replaces any open palette with a new one over `skills` and shows it in front.
PaletteView* show(QList<Skill> skills, const TavrikState& state, Callbacks callbacks);
// Dismisses the open palette, if any.
void close();
// The open palette, or null.
PaletteView* current();

} // namespace PaletteWindow

} // namespace tavrik
