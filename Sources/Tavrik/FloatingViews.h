#pragma once

#include <QObject>
#include <QPointer>

namespace tavrik {

class AppState;
class PaletteView;
class PillController;

// Ties the floating windows to the application state: the pill and its skill panel follow the
// published fields and call the state's operations; the palette opens when the state says so
// and reports its closing back. The pill is created on first `showPill()`.
class FloatingViews : public QObject {
    Q_OBJECT
public:
    explicit FloatingViews(AppState* app, QObject* parent = nullptr);
    ~FloatingViews() override;

    void showPill();
    PillController* pill() const { return m_pill; }
    PaletteView* palette() const { return m_palette; }

signals:
    void mainWindowRequested();

private:
    void openPalette();
    void syncPill();
    void syncPanelText();

    QPointer<AppState> m_app;
    PillController* m_pill = nullptr;
    QPointer<PaletteView> m_palette;
};

} // namespace tavrik
