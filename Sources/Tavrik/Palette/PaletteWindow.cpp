#include "Tavrik/Palette/PaletteWindow.h"

#include <QPointer>

namespace tavrik::PaletteWindow {

namespace {

QPointer<PaletteView>& openPalette() {
    static QPointer<PaletteView> palette;
    return palette;
}

} // namespace

PaletteView* show(QList<Skill> skills, const TavrikState& state, Callbacks callbacks) {
    if (PaletteView* previous = openPalette()) {
        // The old panel goes at once; its owner still hears that it closed.
        previous->disconnect(previous, &PaletteView::castRequested, nullptr, nullptr);
        previous->disconnect(previous, &PaletteView::recordRequested, nullptr, nullptr);
        previous->dismiss();
        previous->hide();
    }
    auto* view = new PaletteView;
    view->setAttribute(Qt::WA_DeleteOnClose);
    view->setProgramState(state);
    view->setSkills(std::move(skills));
    if (callbacks.onRun)
        QObject::connect(view, &PaletteView::castRequested, view, callbacks.onRun);
    if (callbacks.onRecord)
        QObject::connect(view, &PaletteView::recordRequested, view, callbacks.onRecord);
    if (callbacks.onClosed)
        QObject::connect(view, &PaletteView::closed, view, callbacks.onClosed);
    openPalette() = view;
    view->present();
    return view;
}

void close() {
    if (PaletteView* view = openPalette())
        view->dismiss();
}

PaletteView* current() {
    PaletteView* view = openPalette();
    return view && !view->isDismissing() ? view : nullptr;
}

} // namespace tavrik::PaletteWindow
