#pragma once

#include "TavrikCore/Models/Rect.h"

#include <QObject>
#include <QString>

namespace tavrik::wayland {

// A PipeWire stream of the whole screen, granted by the desktop: the ScreenCast portal (which
// asks the user once) or mutter's own interface (which asks nobody). The stream lasts as long as
// the source.
class ScreenCastSource : public QObject {
    Q_OBJECT
public:
    struct Stream {
        quint32 node = 0; // the PipeWire node to read
        Rect frame;       // what it shows, in global points
    };

    using QObject::QObject;

    // Asks for the stream; started() or failed() follows, possibly much later (a dialog).
    virtual void start() = 0;

signals:
    void started(const tavrik::wayland::ScreenCastSource::Stream& stream);
    void failed(const QString& error);
};

} // namespace tavrik::wayland
