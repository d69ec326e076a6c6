#include "Tavrik/Runtime/DirectBrowser.h"

#include <QSettings>

namespace tavrik::DirectBrowser {

namespace {
constexpr auto kKey = "directSkillsBrowser";
} // namespace

Choice current() {
    const QSettings settings(QStringLiteral("Tavrik"), QStringLiteral("Tavrik"));
    return settings.value(QLatin1String(kKey)).toString() == QStringLiteral("tavrik")
               ? Choice::tavrik
               : Choice::desktopDefault;
}

void set(Choice choice) {
    QSettings settings(QStringLiteral("Tavrik"), QStringLiteral("Tavrik"));
    settings.setValue(QLatin1String(kKey), environmentValue(choice));
}

QString environmentValue(Choice choice) {
    return choice == Choice::tavrik ? QStringLiteral("tavrik") : QStringLiteral("default");
}

} // namespace tavrik::DirectBrowser
