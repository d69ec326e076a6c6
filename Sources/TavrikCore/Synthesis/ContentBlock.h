#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

namespace tavrik {

// One piece of the user message sent to the model: text, or an image as base64.
struct ContentBlock {
    enum class Kind { text, image };

    Kind kind = Kind::text;
    QString text;
    QString mediaType;
    QByteArray base64; // ASCII; kept as bytes because frames make large blocks

    static ContentBlock makeText(const QString& text);
    static ContentBlock makeImage(const QString& mediaType, const QByteArray& base64);

    bool operator==(const ContentBlock&) const = default;
    QJsonObject toJson() const;
};

} // namespace tavrik
