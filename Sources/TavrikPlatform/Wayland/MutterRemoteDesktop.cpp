#include "TavrikPlatform/Wayland/MutterRemoteDesktop.h"

#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikPlatform/Wayland/MutterScreenCast.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QEventLoop>
#include <QTimer>

namespace tavrik::wayland {

namespace {

const QString kService = QStringLiteral("org.gnome.Mutter.RemoteDesktop");
const QString kSessionInterface = QStringLiteral("org.gnome.Mutter.RemoteDesktop.Session");
constexpr int kCallTimeoutMs = 5000;
constexpr int kStreamTimeoutMs = 5000;
// A new virtual device loses its first event, and events sent right after Start can be lost too.
constexpr int kSettleMs = 500;
constexpr quint32 kShiftL = 0xffe1;
constexpr quint32 kControlL = 0xffe3;
constexpr quint32 kAltL = 0xffe9;
constexpr quint32 kSuperL = 0xffeb;
constexpr quint32 kReturn = 0xff0d;
constexpr quint32 kTab = 0xff09;
constexpr uint kVerticalAxis = 0;
constexpr uint kHorizontalAxis = 1;
constexpr int kDragSteps = 8;

const std::pair<quint64, quint32> kModifiers[] = {{ModifierFlags::control, kControlL},
                                                  {ModifierFlags::shift, kShiftL},
                                                  {ModifierFlags::alt, kAltL},
                                                  {ModifierFlags::super, kSuperL}};

void waitMs(int ms) {
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

} // namespace

MutterRemoteDesktop::MutterRemoteDesktop() = default;

MutterRemoteDesktop::~MutterRemoteDesktop() {
    if (!m_session.isEmpty())
        session(QStringLiteral("Stop"), {});
}

bool MutterRemoteDesktop::isAvailable() const {
    const QDBusConnectionInterface* bus = QDBusConnection::sessionBus().interface();
    return !m_failed && bus && bus->isServiceRegistered(kService).value();
}

quint32 MutterRemoteDesktop::keysym(quint16 code) {
    using namespace KeyCodes;
    switch (code) {
    case returnKey:
        return kReturn;
    case keypadEnter:
        return 0xff8d;
    case tab:
        return kTab;
    case space:
        return 0x20;
    case deleteKey:
        return 0xff08; // BackSpace
    case forwardDelete:
        return 0xffff;
    case escape:
        return 0xff1b;
    case home:
        return 0xff50;
    case end:
        return 0xff57;
    case pageUp:
        return 0xff55;
    case pageDown:
        return 0xff56;
    case leftArrow:
        return 0xff51;
    case upArrow:
        return 0xff52;
    case rightArrow:
        return 0xff53;
    case downArrow:
        return 0xff54;
    }
    static constexpr quint16 functionKeys[12] = {f1, f2, f3, f4, f5, f6, f7, f8, f9, f10, f11, f12};
    for (int i = 0; i < 12; ++i) {
        if (code == functionKeys[i])
            return 0xffbe + i;
    }
    // The unshifted character of the key is its keysym.
    for (char c = '!'; c <= '~'; ++c) {
        if ((c < 'A' || c > 'Z') && forCharacter(char32_t(c)) == code)
            return quint32(c);
    }
    return 0;
}

quint32 MutterRemoteDesktop::keysymForCharacter(char32_t character) {
    if (character == U'\n' || character == U'\r')
        return kReturn;
    if (character == U'\t')
        return kTab;
    if ((character >= 0x20 && character <= 0x7e) || (character >= 0xa0 && character <= 0xff))
        return quint32(character);
    if (character < 0x20 || (character >= 0x7f && character < 0xa0) || character > 0x10ffff)
        return 0;
    return 0x01000000 | quint32(character);
}

int MutterRemoteDesktop::buttonCode(Button button) {
    switch (button) {
    case Button::left:
        return 0x110; // BTN_LEFT
    case Button::right:
        return 0x111;
    case Button::middle:
        return 0x112;
    }
    return 0x110;
}

bool MutterRemoteDesktop::ensureStarted() {
    if (m_started)
        return true;
    if (m_failed || !isAvailable())
        return false;
    m_failed = true; // until it has worked
    QDBusMessage create =
        QDBusMessage::createMethodCall(kService, QStringLiteral("/org/gnome/Mutter/RemoteDesktop"),
                                       kService, QStringLiteral("CreateSession"));
    const QDBusMessage created =
        QDBusConnection::sessionBus().call(create, QDBus::Block, kCallTimeoutMs);
    if (created.type() != QDBusMessage::ReplyMessage || created.arguments().isEmpty()) {
        qWarning("Tavrik: mutter made no remote-desktop session: %s",
                 qPrintable(created.errorMessage()));
        return false;
    }
    m_session = created.arguments().first().value<QDBusObjectPath>().path();
    QDBusMessage get = QDBusMessage::createMethodCall(
        kService, m_session, QStringLiteral("org.freedesktop.DBus.Properties"),
        QStringLiteral("Get"));
    get.setArguments({kSessionInterface, QStringLiteral("SessionId")});
    const QDBusMessage id = QDBusConnection::sessionBus().call(get, QDBus::Block, kCallTimeoutMs);
    if (id.type() != QDBusMessage::ReplyMessage || id.arguments().isEmpty())
        return false;
    m_screen = std::make_unique<MutterScreenCast>(
        id.arguments().first().value<QDBusVariant>().variant().toString());
    bool streaming = false;
    QEventLoop loop;
    QObject::connect(m_screen.get(), &ScreenCastSource::started, &loop,
                     [&](const ScreenCastSource::Stream& stream) {
                         m_origin = stream.frame.origin;
                         streaming = true;
                         loop.quit();
                     });
    QObject::connect(m_screen.get(), &ScreenCastSource::failed, &loop, &QEventLoop::quit);
    m_screen->start();
    if (m_screen->streamPath().isEmpty() || !session(QStringLiteral("Start"), {}))
        return false;
    QTimer::singleShot(kStreamTimeoutMs, &loop, &QEventLoop::quit);
    if (!streaming)
        loop.exec();
    // Keys need no stream; without one (no PipeWire) the pointer cannot be placed.
    m_streaming = streaming;
    if (!streaming)
        qWarning("Tavrik: mutter's remote-desktop session has no screen stream (is PipeWire "
                 "running?): keys only, no clicks at a place");
    m_started = true;
    m_failed = false;
    waitMs(kSettleMs);
    key(kShiftL, true);
    key(kShiftL, false);
    return true;
}

bool MutterRemoteDesktop::session(const QString& method, const QList<QVariant>& arguments) {
    QDBusMessage message =
        QDBusMessage::createMethodCall(kService, m_session, kSessionInterface, method);
    message.setArguments(arguments);
    const QDBusMessage reply =
        QDBusConnection::sessionBus().call(message, QDBus::Block, kCallTimeoutMs);
    return reply.type() == QDBusMessage::ReplyMessage;
}

bool MutterRemoteDesktop::key(quint32 sym, bool pressed) {
    return session(QStringLiteral("NotifyKeyboardKeysym"), {uint(sym), pressed});
}

bool MutterRemoteDesktop::button(Button b, bool pressed) {
    return session(QStringLiteral("NotifyPointerButton"), {buttonCode(b), pressed});
}

bool MutterRemoteDesktop::moveTo(Point at) {
    if (!m_streaming)
        return false;
    return session(QStringLiteral("NotifyPointerMotionAbsolute"),
                   {m_screen->streamPath(), at.x - m_origin.x, at.y - m_origin.y});
}

bool MutterRemoteDesktop::pressKey(quint16 keyCode, quint64 modifierFlags) {
    const quint32 sym = keysym(keyCode);
    if (sym == 0 || !ensureStarted())
        return false;
    bool ok = true;
    for (const auto& [flag, modifier] : kModifiers) {
        if (modifierFlags & flag)
            ok = key(modifier, true) && ok;
    }
    ok = key(sym, true) && ok;
    ok = key(sym, false) && ok;
    for (auto it = std::rbegin(kModifiers); it != std::rend(kModifiers); ++it) {
        if (modifierFlags & it->first)
            ok = key(it->second, false) && ok;
    }
    return ok;
}

bool MutterRemoteDesktop::typeText(const QString& text) {
    if (text.isEmpty())
        return true;
    QList<quint32> syms;
    for (const char32_t character : text.toUcs4()) {
        const quint32 sym = keysymForCharacter(character);
        if (sym == 0)
            return false;
        syms << sym;
    }
    if (!ensureStarted())
        return false;
    for (const quint32 sym : std::as_const(syms)) {
        if (!key(sym, true) || !key(sym, false))
            return false;
    }
    return true;
}

bool MutterRemoteDesktop::click(Point at, Button b, int count) {
    if (count < 1 || !ensureStarted() || !moveTo(at))
        return false;
    for (int i = 0; i < count; ++i) {
        if (!button(b, true) || !button(b, false))
            return false;
    }
    return true;
}

bool MutterRemoteDesktop::drag(Point from, Point to) {
    if (!ensureStarted() || !moveTo(from) || !button(Button::left, true))
        return false;
    bool ok = true;
    for (int i = 1; i <= kDragSteps && ok; ++i)
        ok = moveTo(Point{from.x + (to.x - from.x) * i / kDragSteps,
                          from.y + (to.y - from.y) * i / kDragSteps});
    return button(Button::left, false) && ok;
}

bool MutterRemoteDesktop::scroll(Point at, int dx, int dy) {
    if (!ensureStarted() || !moveTo(at))
        return false;
    bool ok = true;
    if (dy != 0)
        ok = session(QStringLiteral("NotifyPointerAxisDiscrete"), {kVerticalAxis, dy}) && ok;
    if (dx != 0)
        ok = session(QStringLiteral("NotifyPointerAxisDiscrete"), {kHorizontalAxis, dx}) && ok;
    return ok;
}

} // namespace tavrik::wayland
