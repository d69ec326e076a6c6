#pragma once

#include <QList>
#include <QObject>
#include <QPointer>

namespace tavrik {

class OverlayFrame;

// The frames drawn around every screen while the state calls for them: one per screen, rebuilt
// when screens come and go.
class OverlayController : public QObject {
    Q_OBJECT
public:
    explicit OverlayController(QObject* parent = nullptr);
    ~OverlayController() override;

    bool isVisible() const { return m_visible; }
    bool isCasting() const { return m_casting; }
    void setVisible(bool visible);
    void setCasting(bool casting);
    const QList<QPointer<OverlayFrame>>& windows() const { return m_windows; }

    // One frame window per screen when visible, none otherwise.
    void rebuild();
    void screensChanged();

private:
    void clear();

    bool m_visible = false;
    bool m_casting = false;
    QList<QPointer<OverlayFrame>> m_windows;
};

} // namespace tavrik
