#pragma once

#include <QString>
#include <QUrl>

// Every remote host the program talks to. Each has a built-in default and an environment
// override, read on every call so tests (and people running their own proxy) can point it
// elsewhere without rebuilding:
//
//   ANTHROPIC_BASE_URL     the model provider's API (Messages endpoint /v1/messages);
//                          the same variable the provider's own SDKs honour.
//                          Default https://api.anthropic.com
//   TAVRIK_WEB_HOST        the product's own web host: model proxy /api/anthropic, release feed
//                          /releases.json, downloads. Default https://tavrik.app
//   TAVRIK_ANALYTICS_HOST  the PostHog-compatible analytics host: /capture/.
//                          Default https://us.i.posthog.com
//
// An override is a base address such as "http://127.0.0.1:8080" (a path prefix is kept). One that
// is not an absolute http or https address is ignored with a log line, and the default is used.
namespace tavrik::Hosts {

inline constexpr const char* modelApiVariable = "ANTHROPIC_BASE_URL";
inline constexpr const char* webVariable = "TAVRIK_WEB_HOST";
inline constexpr const char* analyticsVariable = "TAVRIK_ANALYTICS_HOST";

inline constexpr const char* defaultModelApi = "https://api.anthropic.com";
inline constexpr const char* defaultWeb = "https://tavrik.app";
inline constexpr const char* defaultAnalytics = "https://us.i.posthog.com";

QUrl modelApi();
QUrl web();
QUrl analytics();

// `path` (beginning with "/") appended to the host's own path, so a base with a prefix keeps it.
QUrl endpoint(const QUrl& host, const QString& path);

// The host from `variable` when it holds a usable override, else `fallback`.
QUrl fromEnvironment(const char* variable, const char* fallback);

} // namespace tavrik::Hosts
