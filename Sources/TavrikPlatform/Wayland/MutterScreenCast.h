#pragma once

#include "TavrikPlatform/Wayland/ScreenCastSource.h"

#include <QDBusMessage>

namespace tavrik::wayland {

// The whole screen through mutter's own ScreenCast interface, which asks the user nothing. It is
// also the stream a remote-desktop session needs before mutter takes absolute pointer motion;
// such a linked session is started by its remote-desktop session, not here.
class MutterScreenCast final : public ScreenCastSource {
    Q_OBJECT
public:
    explicit MutterScreenCast(QString remoteDesktopSessionId = {}, QObject* parent = nullptr);
    ~MutterScreenCast() override;

    static bool isOffered();

    // Records the primary monitor; started() follows once mutter has made its PipeWire node.
    void start() override;
    // The stream object, for pointer motion in its coordinates; empty before start().
    QString streamPath() const { return m_stream; }

private slots:
    void onStreamAdded(const QDBusMessage& message);

private:
    QString m_remoteDesktopSessionId;
    QString m_session;
    QString m_stream;
};

} // namespace tavrik::wayland
