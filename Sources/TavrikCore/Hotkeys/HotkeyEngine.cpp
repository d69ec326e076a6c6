#include "TavrikCore/Hotkeys/HotkeyEngine.h"

#include "TavrikCore/Hotkeys/HotkeyGrabber.h"
#include "TavrikCore/Hotkeys/KeyCodes.h"

namespace tavrik {

HotkeyEngine::HotkeyEngine(std::unique_ptr<HotkeyGrabber> grabber, QObject* parent)
    : QObject(parent), m_grabber(std::move(grabber)) {
    if (!m_grabber)
        return;
    connect(m_grabber.get(), &HotkeyGrabber::keyPressed, this,
            [this](quint16 code, quint64 flags) { handleKeyDown(code, flags); });
    connect(m_grabber.get(), &HotkeyGrabber::flagsChanged, this,
            [this](quint16 code, quint64 flags, double time) {
                handleFlagsChanged(code, flags, time);
            });
}

HotkeyEngine::~HotkeyEngine() {
    stop();
}

bool HotkeyEngine::start() {
    if (!m_grabber) {
        m_error = tr("Global hotkeys are not available on this desktop.");
        return false;
    }
    m_controlWasDown = false;
    m_sawOtherKeySinceControl = false;
    m_lastControlDownTime.reset();
    const bool ok = m_grabber->start();
    m_error = ok ? QString() : m_grabber->errorString();
    if (m_casting)
        m_grabber->setEscapeGrabbed(true);
    return ok;
}

void HotkeyEngine::stop() {
    if (m_grabber)
        m_grabber->stop();
}

void HotkeyEngine::setCasting(bool casting) {
    if (m_casting == casting)
        return;
    m_casting = casting;
    if (m_grabber && m_grabber->isRunning())
        m_grabber->setEscapeGrabbed(casting);
}

bool HotkeyEngine::swallows(quint16 keyCode, quint64 flags, bool casting) {
    if (keyCode == KeyCodes::escape)
        return casting;
    return keyCode == KeyCodes::slash && (flags & ModifierFlags::control) &&
           !(flags & ModifierFlags::super);
}

bool HotkeyEngine::handleKeyDown(quint16 keyCode, quint64 flags) {
    // Any key between two Control presses means Control was used as a modifier.
    m_sawOtherKeySinceControl = true;
    if (!swallows(keyCode, flags, m_casting))
        return false;
    emit triggered(keyCode == KeyCodes::escape ? Event::panic : Event::openPalette);
    return true;
}

void HotkeyEngine::handleFlagsChanged(quint16 keyCode, quint64 flags, double time) {
    if (keyCode != KeyCodes::control && keyCode != KeyCodes::rightControl)
        return;
    const bool down = flags & ModifierFlags::control;
    if (down && !m_controlWasDown) {
        // Timed between the two presses. A clock that went backwards (a wrapped server time)
        // never completes a pair.
        const std::optional<double> gap =
            m_lastControlDownTime ? std::optional(time - *m_lastControlDownTime) : std::nullopt;
        if (gap && *gap >= 0 && *gap < doubleTapWindow && !m_sawOtherKeySinceControl) {
            m_lastControlDownTime.reset();
            emit triggered(Event::toggleRecording);
        } else {
            m_lastControlDownTime = time;
        }
        m_sawOtherKeySinceControl = false;
    }
    m_controlWasDown = down;
}

} // namespace tavrik
