#include "TavrikPlatform/Wayland/SwayHotkeys.h"

#include "TavrikCore/Hotkeys/KeyCodes.h"
#include "TavrikPlatform/Wayland/SwayIpc.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <algorithm>
#include <chrono>

namespace tavrik::wayland {

namespace {

// The commands sway runs for bindings that only Tavrik hears; nop ignores its arguments.
const QString kControlTap = QStringLiteral("nop tavrik-control-tap");
const QString kEscape = QStringLiteral("nop tavrik-escape");
const QString kPalette = QStringLiteral("nop tavrik-palette");
// sway's reply to a subscription has the type asked; events have the high bit set.
constexpr quint32 kEventBit = 0x80000000u;
constexpr int kTimeoutMs = 1000;

double monotonicSeconds() {
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

// Modifiers in one order and spelling, then the keys, all lower case: sway takes them in any
// order.
QString normalised(const QString& keys) {
    static const QStringList modifiers{QStringLiteral("ctrl"), QStringLiteral("shift"),
                                       QStringLiteral("alt"),  QStringLiteral("mod1"),
                                       QStringLiteral("mod4"), QStringLiteral("super"),
                                       QStringLiteral("logo"), QStringLiteral("mod2"),
                                       QStringLiteral("mod3"), QStringLiteral("mod5")};
    QStringList held;
    QStringList pressed;
    for (QString part : keys.toLower().split(u'+', Qt::SkipEmptyParts)) {
        if (part == QLatin1String("control"))
            part = QStringLiteral("ctrl");
        (modifiers.contains(part) ? held : pressed).append(part);
    }
    held.sort();
    pressed.sort();
    return (held + pressed).join(u'+');
}

// A path sway passes to the shell as it is: sway strips quotes once when binding and again when
// running, so a path needing them cannot be bound.
bool plainPath(const QString& path) {
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z0-9_./+-]+$"));
    return plain.match(path).hasMatch();
}

QString describe(const QString& keys) {
    return keys == QLatin1String("ctrl+slash") ? QStringLiteral("Control-/") : keys;
}

} // namespace

SwayHotkeys::SwayHotkeys(QString socketPath, QString tavrik, QObject* parent)
    : HotkeyGrabber(parent), m_socketPath(std::move(socketPath)), m_tavrik(std::move(tavrik)) {}

SwayHotkeys::~SwayHotkeys() {
    stop();
}

QList<SwayHotkeys::Binding> SwayHotkeys::bindings(const QString& tavrik) {
    // Where the program cannot be named to the shell, the binding event opens the palette.
    const QString palette = plainPath(tavrik)
                                ? QStringLiteral("exec ") + tavrik + QStringLiteral(" palette")
                                : kPalette;
    return {
        {QString(), QStringLiteral("ctrl+slash"), palette},
        {QStringLiteral("--release"), QStringLiteral("Control_L"), kControlTap},
        {QStringLiteral("--release"), QStringLiteral("Control_R"), kControlTap},
    };
}

QStringList SwayHotkeys::conflicts(const QString& config, const QString& keys) {
    const QString wanted = normalised(keys);
    QStringList found;
    for (const QString& raw : config.split(u'\n')) {
        const QString line = raw.trimmed();
        QStringList words =
            line.split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts);
        if (words.isEmpty() || words.takeFirst() != QLatin1String("bindsym"))
            continue;
        while (!words.isEmpty() && words.first().startsWith(QLatin1String("--")))
            words.removeFirst();
        if (!words.isEmpty() && normalised(words.first()) == wanted)
            found.append(line);
    }
    return found;
}

QString SwayHotkeys::tagOf(const QByteArray& event) {
    const QJsonObject binding =
        QJsonDocument::fromJson(event).object().value(QLatin1String("binding")).toObject();
    const QString command = binding.value(QLatin1String("command")).toString().trimmed();
    return command == kControlTap || command == kEscape || command == kPalette ? command
                                                                               : QString();
}

bool SwayHotkeys::command(const QString& text) {
    SwayIpc ipc(m_socketPath, kTimeoutMs);
    const std::optional<QJsonDocument> reply = ipc.request(SwayIpc::runCommand, text.toUtf8());
    if (!reply) {
        m_error = ipc.errorString();
        return false;
    }
    const QJsonArray results = reply->array();
    return !results.isEmpty() && results.first()[QLatin1String("success")].toBool();
}

bool SwayHotkeys::start() {
    if (m_running)
        return true;
    m_error.clear();
    SwayIpc ipc(m_socketPath, kTimeoutMs);
    const std::optional<QJsonDocument> config = ipc.request(SwayIpc::getConfig);
    if (!config) {
        m_error = QStringLiteral("sway cannot be reached, so Tavrik has no shortcuts: %1")
                      .arg(ipc.errorString());
        return false;
    }
    const QString text = config->object().value(QLatin1String("config")).toString();
    QStringList problems;
    for (const Binding& binding : bindings(m_tavrik)) {
        if (const QStringList taken = conflicts(text, binding.keys); !taken.isEmpty()) {
            problems << QStringLiteral("sway's configuration already binds %1 (\"%2\"), so "
                                       "Tavrik leaves it alone.")
                            .arg(describe(binding.keys), taken.first());
            continue;
        }
        const QString line =
            QStringList{QStringLiteral("bindsym"), binding.flags, binding.keys, binding.command}
                .join(u' ')
                .simplified();
        if (command(line))
            m_bound.append(binding);
        else
            problems << QStringLiteral("sway refused to bind %1.").arg(describe(binding.keys));
    }
    // Binding events tell which of Tavrik's bindings fired.
    m_subscribed = subscribe();
    if (!m_subscribed)
        problems << QStringLiteral("sway's binding events cannot be heard: %1")
                        .arg(m_events.errorString());
    m_running = true;
    if (!problems.isEmpty())
        m_error = problems.join(u' ');
    return problems.isEmpty();
}

bool SwayHotkeys::subscribe() {
    m_events.connectToServer(m_socketPath);
    if (!m_events.waitForConnected(kTimeoutMs))
        return false;
    m_events.write(SwayIpc::encode(SwayIpc::subscribe, QByteArrayLiteral("[\"binding\"]")));
    if (!m_events.waitForBytesWritten(kTimeoutMs))
        return false;
    // Bindings that fire before sway has taken the subscription would go unheard.
    while (m_events.waitForReadyRead(kTimeoutMs)) {
        m_buffer += m_events.readAll();
        if (std::optional<SwayIpc::Message> reply = SwayIpc::take(m_buffer)) {
            if (!QJsonDocument::fromJson(reply->payload)
                     .object()
                     .value(QLatin1String("success"))
                     .toBool())
                return false;
            connect(&m_events, &QLocalSocket::readyRead, this, &SwayHotkeys::readEvents,
                    Qt::UniqueConnection);
            // Events that came with the reply.
            QMetaObject::invokeMethod(this, &SwayHotkeys::readEvents, Qt::QueuedConnection);
            return true;
        }
    }
    return false;
}

void SwayHotkeys::stop() {
    if (!m_running)
        return;
    setEscapeGrabbed(false);
    for (const Binding& binding : std::as_const(m_bound))
        command(QStringList{QStringLiteral("unbindsym"), binding.flags, binding.keys}
                    .join(u' ')
                    .simplified());
    m_bound.clear();
    m_subscribed = false;
    m_events.abort();
    m_buffer.clear();
    m_running = false;
}

bool SwayHotkeys::reportsControlTaps() const {
    // sway runs a lone Control's release binding only when no other key went down while it was
    // held, so a Control that served Control-C is no tap.
    const auto bound = [this](const char* key) {
        return std::any_of(m_bound.cbegin(), m_bound.cend(), [key](const Binding& b) {
            return b.command == kControlTap && b.keys == QLatin1String(key);
        });
    };
    return m_running && m_subscribed && bound("Control_L") && bound("Control_R");
}

void SwayHotkeys::setEscapeGrabbed(bool grabbed) {
    if (grabbed == m_escapeBound || (grabbed && !m_running))
        return;
    if (grabbed)
        m_escapeBound = command(QStringLiteral("bindsym Escape ") + kEscape);
    else if (command(QStringLiteral("unbindsym Escape")))
        m_escapeBound = false;
}

void SwayHotkeys::readEvents() {
    m_buffer += m_events.readAll();
    bool malformed = false;
    while (std::optional<SwayIpc::Message> message = SwayIpc::take(m_buffer, &malformed)) {
        if (message->type & kEventBit)
            hear(tagOf(message->payload));
    }
    if (malformed) {
        m_error = QStringLiteral("sway's binding events stopped making sense.");
        m_subscribed = false;
        m_events.abort();
    }
}

void SwayHotkeys::hear(const QString& tag) {
    if (tag == kControlTap) {
        // sway reports a tap once released: both halves at once.
        const double now = monotonicSeconds();
        emit flagsChanged(KeyCodes::control, ModifierFlags::control, now);
        emit flagsChanged(KeyCodes::control, 0, now);
    } else if (tag == kEscape) {
        emit keyPressed(KeyCodes::escape, 0);
    } else if (tag == kPalette) {
        emit keyPressed(KeyCodes::slash, ModifierFlags::control);
    }
}

} // namespace tavrik::wayland
