#include "TavrikCore/Support/Json.h"

#include <QJsonDocument>
#include <QRegularExpression>
#include <cmath>

namespace tavrik::json {

QString uuidText(const QUuid& uuid) {
    return uuid.toString(QUuid::WithoutBraces).toUpper();
}

std::optional<QUuid> parseUuid(QStringView text) {
    if (text.size() != 36)
        return std::nullopt;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        if (dash ? c != u'-' : !isxdigit(c.toLatin1()) || c.unicode() > 0x7f)
            return std::nullopt;
    }
    QUuid uuid = QUuid::fromString(text);
    if (uuid.isNull() && text != u"00000000-0000-0000-0000-000000000000")
        return std::nullopt;
    return uuid;
}

QString dateText(const QDateTime& date) {
    return date.toUTC().toString(QStringLiteral("yyyy-MM-dd'T'HH:mm:ss'Z'"));
}

std::optional<QDateTime> parseDate(QStringView text) {
    static const QRegularExpression pattern(
        QStringLiteral(R"(^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d(\.\d+)?(Z|[+-]\d\d:\d\d)$)"));
    if (!pattern.match(text).hasMatch())
        return std::nullopt;
    const QDateTime date = QDateTime::fromString(text.toString(), Qt::ISODateWithMs).toUTC();
    // An offset can carry the last day of 9999 into a year dateText writes with five digits,
    // which would make a file that loads once unreadable after the next save.
    if (!date.isValid() || date.date().year() < 1 || date.date().year() > 9999)
        return std::nullopt;
    return date;
}

QDateTime truncatedToSeconds(const QDateTime& date) {
    const qint64 ms = date.toMSecsSinceEpoch();
    const qint64 seconds = ms >= 0 ? ms / 1000 : -((-ms + 999) / 1000);
    return QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC);
}

QByteArray compact(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QByteArray pretty(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Indented);
}

ObjectReader::ObjectReader(const QJsonValue& value) {
    if (!value.isObject())
        m_error = QStringLiteral("expected an object");
    else
        m_object = value.toObject();
}

bool ObjectReader::has(const QString& key) const {
    return m_object.contains(key);
}

void ObjectReader::fail(const QString& message) {
    if (m_error.isEmpty())
        m_error = message;
}

QJsonValue ObjectReader::require(const QString& key) {
    if (!ok())
        return {};
    if (!m_object.contains(key)) {
        fail(key + ": missing");
        return {};
    }
    return m_object.value(key);
}

QString ObjectReader::string(const QString& key) {
    QJsonValue v = require(key);
    if (ok() && !v.isString())
        fail(key + ": expected a string");
    return v.toString();
}

std::optional<QString> ObjectReader::optionalString(const QString& key) {
    if (!has(key))
        return std::nullopt;
    return string(key);
}

double ObjectReader::number(const QString& key) {
    QJsonValue v = require(key);
    if (ok() && !v.isDouble())
        fail(key + ": expected a number");
    return v.toDouble();
}

std::optional<double> ObjectReader::optionalNumber(const QString& key) {
    if (!has(key))
        return std::nullopt;
    return number(key);
}

qint64 ObjectReader::integer(const QString& key, qint64 min, qint64 max) {
    const double d = number(key);
    if (!ok())
        return 0;
    if (d != std::floor(d) || d < double(min) || d > double(max)) {
        fail(QStringLiteral("%1: %2 is not an integer in %3...%4")
                 .arg(key)
                 .arg(d)
                 .arg(min)
                 .arg(max));
        return 0;
    }
    return m_object.value(key).toInteger();
}

std::optional<qint64> ObjectReader::optionalInteger(const QString& key, qint64 min, qint64 max) {
    if (!has(key))
        return std::nullopt;
    return integer(key, min, max);
}

bool ObjectReader::boolean(const QString& key) {
    QJsonValue v = require(key);
    if (ok() && !v.isBool())
        fail(key + ": expected true or false");
    return v.toBool();
}

QUuid ObjectReader::uuid(const QString& key) {
    const QString text = string(key);
    if (!ok())
        return {};
    std::optional<QUuid> parsed = parseUuid(text);
    if (!parsed)
        fail(key + ": not a UUID: " + text.left(40));
    return parsed.value_or(QUuid{});
}

std::optional<QUuid> ObjectReader::optionalUuid(const QString& key) {
    if (!has(key))
        return std::nullopt;
    return uuid(key);
}

QDateTime ObjectReader::date(const QString& key) {
    const QString text = string(key);
    if (!ok())
        return {};
    std::optional<QDateTime> parsed = parseDate(text);
    if (!parsed)
        fail(key + ": not an ISO 8601 date: " + text.left(40));
    return parsed.value_or(QDateTime{});
}

std::optional<QDateTime> ObjectReader::optionalDate(const QString& key) {
    if (!has(key))
        return std::nullopt;
    return date(key);
}

QList<QString> ObjectReader::strings(const QString& key) {
    QJsonValue v = require(key);
    if (!ok())
        return {};
    if (!v.isArray()) {
        fail(key + ": expected an array");
        return {};
    }
    QList<QString> result;
    for (const QJsonValue& item : v.toArray()) {
        if (!item.isString()) {
            fail(key + ": expected strings");
            return {};
        }
        result.append(item.toString());
    }
    return result;
}

std::optional<QList<QString>> ObjectReader::optionalStrings(const QString& key) {
    if (!has(key))
        return std::nullopt;
    return strings(key);
}

QList<qint64> ObjectReader::integers(const QString& key) {
    QJsonValue v = require(key);
    if (!ok())
        return {};
    if (!v.isArray()) {
        fail(key + ": expected an array");
        return {};
    }
    QList<qint64> result;
    for (const QJsonValue& item : v.toArray()) {
        const double d = item.toDouble(0.5);
        if (!item.isDouble() || d != std::floor(d)) {
            fail(key + ": expected integers");
            return {};
        }
        result.append(item.toInteger());
    }
    return result;
}

} // namespace tavrik::json
