#pragma once

#include "TavrikPlatform/Wayland/ScreenCastSource.h"

#include <QDBusMessage>
#include <functional>

namespace tavrik::wayland {

// The whole screen through xdg-desktop-portal's ScreenCast interface. The first start shows the
// desktop's dialog; the portal then hands out a restore token, and a later start that passes it
// (in this session or after a login) is answered without asking.
class ScreenCastPortal final : public ScreenCastSource {
    Q_OBJECT
public:
    // `restoreToken` from an earlier start, or empty; `keepToken` is given each new token.
    ScreenCastPortal(QString restoreToken, std::function<void(const QString&)> keepToken,
                     QObject* parent = nullptr);
    ~ScreenCastPortal() override;

    // Whether the portal on the session bus offers screen casting.
    static bool isOffered();

    void start() override;

    // The streams of a Start response: the first one's node and place.
    static std::optional<Stream> streamFromResults(const QVariantMap& results);

private slots:
    void onResponse(const QDBusMessage& message);

private:
    enum class Step { none, createSession, selectSources, start };

    // Sends one portal request; its answer comes to onResponse.
    bool request(Step step, const QString& method, const QList<QVariant>& arguments,
                 QVariantMap options);
    void fail(const QString& error);
    void unsubscribe();

    QString m_restoreToken;
    std::function<void(const QString&)> m_keepToken;
    Step m_step = Step::none;
    QString m_requestPath;
    QString m_session;
};

} // namespace tavrik::wayland
