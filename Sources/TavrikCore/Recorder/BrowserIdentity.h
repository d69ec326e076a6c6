#pragma once

#include <QMap>
#include <QString>
#include <optional>

namespace tavrik {

// Which applications are web browsers whose page address is worth reading, and how to read it
// from the attributes of the page's document.
namespace BrowserIdentity {

// True for the Chromium family and Firefox, by application identity (GTK application id or
// WM_CLASS class, compared without regard to case).
bool isBrowser(const QString& appID);

// The page address among a document's attributes: Firefox names it "DocURL", Chromium "URI".
// Absent when neither is present or the value is empty.
std::optional<QString> pageAddress(const QMap<QString, QString>& documentAttributes);

} // namespace BrowserIdentity

} // namespace tavrik
