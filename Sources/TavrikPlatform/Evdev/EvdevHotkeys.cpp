#include "TavrikPlatform/Evdev/EvdevHotkeys.h"

namespace tavrik::evdev {

EvdevHotkeys::EvdevHotkeys(std::unique_ptr<HotkeyGrabber> shortcuts, QString folder,
                           QObject* parent)
    : HotkeyGrabber(parent), m_shortcuts(std::move(shortcuts)),
      m_keyboards(EvdevDevices::Kind::keyboard, std::move(folder)), m_keys(*this) {
    connect(m_shortcuts.get(), &HotkeyGrabber::keyPressed, this, &HotkeyGrabber::keyPressed);
    connect(m_shortcuts.get(), &HotkeyGrabber::flagsChanged, this, &HotkeyGrabber::flagsChanged);
    connect(&m_keyboards, &EvdevDevices::input, this,
            [this](const InputEvent& event) { m_keys.take(event); });
    connect(&m_keyboards, &EvdevDevices::lost, this, [this] { m_keys.reset(); });
}

bool EvdevHotkeys::start() {
    m_keys.reset();
    if (!m_keyboards.start())
        qInfo("%s", qPrintable(m_keyboards.errorString()));
    return m_shortcuts->start();
}

void EvdevHotkeys::stop() {
    m_keyboards.stop();
    m_shortcuts->stop();
}

bool EvdevHotkeys::isRunning() const {
    return m_shortcuts->isRunning();
}

} // namespace tavrik::evdev
