#pragma once

#include "TavrikCore/Recorder/FrameCapturer.h"

#include <QHash>
#include <QThreadPool>
#include <memory>

namespace tavrik::x11 {

class XConnection;

// Key frames on X11: the monitor's region of the root window read through shared memory
// (MIT-SHM), scaled when asked for another size, redacted and PNG-encoded on one worker thread
// that owns its own X connection.
//
// The root window shows what is on screen, Tavrik's own windows included. To keep them out of
// key frames, the capturer asks the server to keep every top-level window's contents off screen
// as well (Composite, automatic redirection: the screen looks the same) and repaints the places
// of this process's windows from the windows beneath them. Without Composite they stay visible.
// The pointer is drawn in, as the user saw it.
class X11FrameCapturer : public FrameCapturer {
public:
    X11FrameCapturer();
    ~X11FrameCapturer() override;

    bool isAvailable() const override;
    QString errorString() const override { return m_error; }
    QList<DisplayInfo> displays() const override;
    QFuture<std::optional<Size>> captureAndSave(quint32 displayID, int pixelWidth, int pixelHeight,
                                                QList<Rect> redact, QString path) override;

    // One capture of a display's pixels as they are on screen, on the calling thread; for the
    // worker and for measurements. Null on failure.
    class Grabber;

private:
    std::shared_ptr<Grabber> m_grabber; // used only on the worker thread
    mutable std::unique_ptr<XConnection> m_query;
    QThreadPool m_worker;
    QString m_error;
};

class X11FrameCapturer::Grabber {
public:
    Grabber();
    ~Grabber();
    // The display's pixels with this process's windows left out and the pointer drawn in (valid
    // until the next grab), or a null image with `error` set.
    QImage grab(quint32 displayID, QString* error);
    bool captureAndSave(quint32 displayID, int pixelWidth, int pixelHeight,
                        const QList<Rect>& redact, const QString& path, Size* written,
                        QString* error);

private:
    struct Shared;
    struct TopLevel;
    bool prepare(int width, int height);
    void release();
    QImage grabRoot(int x, int y, int width, int height, QString* error);
    QList<TopLevel> topLevels();
    bool isOurs(unsigned long window);
    void leaveOutOwnWindows(QImage& image, int originX, int originY);
    void drawPointer(QImage& image, int originX, int originY);
    std::unique_ptr<XConnection> m_connection;
    std::unique_ptr<Shared> m_shared;
    bool m_composite = false;
    bool m_fixes = false;
    QHash<unsigned long, bool> m_ownership; // top-level window -> belongs to this process
};

} // namespace tavrik::x11
