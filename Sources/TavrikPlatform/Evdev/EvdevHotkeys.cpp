#include "TavrikPlatform/Evdev/EvdevHotkeys.h"

namespace tavrik::evdev {

EvdevHotkeys::EvdevHotkeys(std::unique_ptr<HotkeyGrabber> shortcuts, QString folder,
                           QObject* parent)
    : HotkeyGrabber(parent), m_shortcuts(std::move(shortcuts)),
      m_keyboards(EvdevDevices::Kind::keyboard, std::move(folder)), m_keys(*this) {
    if (m_shortcuts) {
        connect(m_shortcuts.get(), &HotkeyGrabber::keyPressed, this, &HotkeyGrabber::keyPressed);
        connect(m_shortcuts.get(), &HotkeyGrabber::flagsChanged, this,
                &HotkeyGrabber::flagsChanged);
    }
    connect(&m_keyboards, &EvdevDevices::input, this,
            [this](const InputEvent& event) { m_keys.take(event); });
    connect(&m_keyboards, &EvdevDevices::lost, this, [this] { m_keys.reset(); });
}

bool EvdevHotkeys::start() {
    m_keys.reset();
    const bool shortcuts = m_shortcuts && m_shortcuts->start();
    if (m_shortcuts && m_shortcuts->reportsControlTaps())
        return shortcuts;
    if (!m_readingKeyboards) {
        m_readingKeyboards = m_keyboards.start();
        if (!m_readingKeyboards)
            qInfo("%s", qPrintable(m_keyboards.errorString()));
    }
    return shortcuts;
}

void EvdevHotkeys::stop() {
    m_keyboards.stop();
    m_readingKeyboards = false;
    if (m_shortcuts)
        m_shortcuts->stop();
}

bool EvdevHotkeys::isRunning() const {
    return m_shortcuts ? m_shortcuts->isRunning() : m_readingKeyboards;
}

void EvdevHotkeys::setEscapeGrabbed(bool grabbed) {
    if (m_shortcuts)
        m_shortcuts->setEscapeGrabbed(grabbed);
}

QString EvdevHotkeys::errorString() const {
    if (m_shortcuts)
        return m_shortcuts->errorString();
    return QStringLiteral("This desktop lets no program take a shortcut, so Control-/ does not "
                          "open the palette: bind \"tavrik palette\" to a key in the desktop's "
                          "own settings.");
}

bool EvdevHotkeys::reportsControlTaps() const {
    return m_readingKeyboards || (m_shortcuts && m_shortcuts->reportsControlTaps());
}

} // namespace tavrik::evdev
