#include "TavrikPlatform/AtSpi/ToolkitTraits.h"

#include <QRegularExpression>

namespace tavrik::atspi {

bool ToolkitTraits::extentsInWindow(const QString& toolkit, const QString& version) {
    if (toolkit.compare(QLatin1String("gtk"), Qt::CaseInsensitive) != 0)
        return false;
    bool ok = false;
    const int major = version.section(u'.', 0, 0).toInt(&ok);
    return ok && major >= 4;
}

bool ToolkitTraits::isTypeName(const QString& name) {
    static const QRegularExpression typeName(QStringLiteral("^Gtk[A-Z][A-Za-z0-9]*$"));
    return typeName.match(name).hasMatch();
}

} // namespace tavrik::atspi
