#pragma once

#include "TavrikCore/Support/Result.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QString>
#include <QUuid>
#include <optional>

// Shared encoding rules of every stored value: UUIDs as upper-case text, dates as ISO 8601 UTC
// with whole seconds, optionals left out rather than written as null.
namespace tavrik::json {

QString uuidText(const QUuid& uuid);
// Accepts only the canonical 8-4-4-4-12 hex form (either case), no braces.
std::optional<QUuid> parseUuid(QStringView text);

QString dateText(const QDateTime& date);
// Internet date-time: "2026-01-02T03:04:05Z" or with a numeric offset; fractions are accepted.
std::optional<QDateTime> parseDate(QStringView text);
QDateTime truncatedToSeconds(const QDateTime& date);

// Compact or pretty (keys are always sorted, as QJsonObject keeps them).
QByteArray compact(const QJsonObject& object);
QByteArray pretty(const QJsonObject& object);

template <typename T>
void putOptional(QJsonObject& object, const QString& key, const std::optional<T>& value) {
    if (value)
        object.insert(key, *value);
}

template <typename T> QJsonArray arrayOf(const QList<T>& items) {
    QJsonArray array;
    for (const T& item : items)
        array.append(item.toJson());
    return array;
}

// Reads one JSON object field by field and remembers the first problem, so decoders read as a
// straight list of fields and report "key: what was wrong".
class ObjectReader {
public:
    explicit ObjectReader(const QJsonValue& value);

    bool ok() const { return m_error.isEmpty(); }
    const QString& error() const { return m_error; }
    bool has(const QString& key) const;

    QString string(const QString& key);
    std::optional<QString> optionalString(const QString& key);
    double number(const QString& key);
    std::optional<double> optionalNumber(const QString& key);
    qint64 integer(const QString& key, qint64 min, qint64 max);
    std::optional<qint64> optionalInteger(const QString& key, qint64 min, qint64 max);
    bool boolean(const QString& key);
    QUuid uuid(const QString& key);
    std::optional<QUuid> optionalUuid(const QString& key);
    QDateTime date(const QString& key);
    std::optional<QDateTime> optionalDate(const QString& key);
    QList<QString> strings(const QString& key);
    std::optional<QList<QString>> optionalStrings(const QString& key);
    QList<qint64> integers(const QString& key);

    // A text naming one case of an enumeration; unknown texts fail the decode.
    template <typename E>
    E enumeration(const QString& key, std::optional<E> (*parse)(QStringView), const char* what) {
        const QString text = string(key);
        if (!ok())
            return E{};
        std::optional<E> value = parse(text);
        if (!value)
            fail(QStringLiteral("%1: unknown %2 %3").arg(key, QLatin1String(what), text.left(40)));
        return value.value_or(E{});
    }

    template <typename T> T object(const QString& key) {
        QJsonValue v = require(key);
        return ok() ? decodeNested<T>(key, v).value_or(T{}) : T{};
    }
    template <typename T> std::optional<T> optionalObject(const QString& key) {
        if (!has(key) || !ok())
            return std::nullopt;
        return decodeNested<T>(key, m_object.value(key));
    }
    template <typename T> QList<T> list(const QString& key) {
        QJsonValue v = require(key);
        return ok() ? decodeList<T>(key, v).value_or(QList<T>{}) : QList<T>{};
    }
    template <typename T> std::optional<QList<T>> optionalList(const QString& key) {
        if (!has(key) || !ok())
            return std::nullopt;
        return decodeList<T>(key, m_object.value(key));
    }

    void fail(const QString& message);

private:
    QJsonValue require(const QString& key);
    template <typename T> std::optional<T> decodeNested(const QString& key, const QJsonValue& v) {
        Result<T> decoded = T::fromJson(v);
        if (!decoded.ok()) {
            fail(key + "." + decoded.error());
            return std::nullopt;
        }
        return std::move(*decoded);
    }
    template <typename T>
    std::optional<QList<T>> decodeList(const QString& key, const QJsonValue& v) {
        if (!v.isArray()) {
            fail(key + ": expected an array");
            return std::nullopt;
        }
        QList<T> items;
        const QJsonArray array = v.toArray();
        items.reserve(array.size());
        for (qsizetype i = 0; i < array.size(); ++i) {
            Result<T> item = T::fromJson(array.at(i));
            if (!item.ok()) {
                fail(QStringLiteral("%1[%2].%3").arg(key).arg(i).arg(item.error()));
                return std::nullopt;
            }
            items.append(std::move(*item));
        }
        return items;
    }

    QJsonObject m_object;
    QString m_error;
};

// Ends a decoder: the value when every field was read, else the first problem.
template <typename T> Result<T> finish(const ObjectReader& reader, T value) {
    if (reader.ok())
        return value;
    return Failure{reader.error()};
}

} // namespace tavrik::json
