#pragma once

#include <QJsonObject>
#include <QString>

// Anonymous usage events sent to a PostHog-compatible capture endpoint ("/capture/" on the
// analytics host). Nothing is sent when the user opted out, nothing is retried, no failure is
// reported: a lost event is lost. Nothing is sent either before the user has answered whether
// to send (the answer is the stored opt-out value, from onboarding or Preferences). Reads and
// writes the settings store (organisation and application "Tavrik").
namespace tavrik::Analytics {

inline constexpr const char* distinctIDKey = "tavrik.analytics.id";
inline constexpr const char* optOutKey = "tavrik.analytics.optOut";
inline constexpr const char* apiKey = "phc_C3J27XDCG2LmlZGEONYlgCtjfIZ4SOcMz9CPVNPkNa1H";

// The stored anonymous identifier, created (a random UUID) and stored on first use.
QString distinctID();
bool isOptedOut();
// Whether the user has said yes or no yet.
bool isAnswered();
// The user's answer.
void setOptedOut(bool optedOut);

// Added to every event: "app_version", "source" and "$os".
QJsonObject baseProperties();
// The request body for one event: the event's properties are set over the base properties.
QJsonObject captureBody(const QString& event, const QJsonObject& properties = {});

// Sends the event without waiting. Any thread; the transfer runs on the application's thread
// and needs a running QCoreApplication there. Returns false when nothing was sent (opted out,
// not answered yet, no application).
bool capture(const QString& event, const QJsonObject& properties = {});

} // namespace tavrik::Analytics
