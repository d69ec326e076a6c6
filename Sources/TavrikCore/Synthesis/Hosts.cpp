#include "TavrikCore/Synthesis/Hosts.h"

#include <QtGlobal>

namespace tavrik::Hosts {

QUrl fromEnvironment(const char* variable, const char* fallback) {
    const QString value = qEnvironmentVariable(variable).trimmed();
    if (!value.isEmpty()) {
        const QUrl url(value, QUrl::StrictMode);
        const QString scheme = url.scheme().toLower();
        if (url.isValid() && (scheme == "http" || scheme == "https") && !url.host().isEmpty())
            return url;
        qWarning("Tavrik: ignoring %s=\"%s\": not an http or https address", variable,
                 qPrintable(value));
    }
    return QUrl(QString::fromLatin1(fallback));
}

QUrl modelApi() {
    return fromEnvironment(modelApiVariable, defaultModelApi);
}
QUrl web() {
    return fromEnvironment(webVariable, defaultWeb);
}
QUrl analytics() {
    return fromEnvironment(analyticsVariable, defaultAnalytics);
}

QUrl endpoint(const QUrl& host, const QString& path) {
    QUrl url = host;
    QString base = host.path();
    while (base.endsWith('/'))
        base.chop(1);
    url.setPath(base + path);
    url.setQuery(QString());
    url.setFragment(QString());
    return url;
}

} // namespace tavrik::Hosts
