#include "TavrikCore/Recorder/BrowserIdentity.h"

#include <QStringList>

namespace tavrik::BrowserIdentity {

bool isBrowser(const QString& appID) {
    // WM_CLASS classes and desktop ids as Debian and the vendors' packages set them.
    static const QStringList known = {
        "chromium",
        "chromium-browser",
        "org.chromium.chromium",
        "google-chrome",
        "google-chrome-beta",
        "google-chrome-unstable",
        "brave-browser",
        "com.brave.browser",
        "microsoft-edge",
        "microsoft-edge-beta",
        "vivaldi-stable",
        "vivaldi",
        "opera",
        "firefox",
        "firefox-esr",
        "org.mozilla.firefox",
        "librewolf",
    };
    const QString id = appID.trimmed().toLower();
    return !id.isEmpty() && known.contains(id);
}

std::optional<QString> pageAddress(const QMap<QString, QString>& documentAttributes) {
    for (const char* key : {"DocURL", "URI"}) {
        const QString value = documentAttributes.value(QString::fromLatin1(key)).trimmed();
        if (!value.isEmpty()) {
            return value;
        }
    }
    return std::nullopt;
}

} // namespace tavrik::BrowserIdentity
