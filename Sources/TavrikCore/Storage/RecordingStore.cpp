#include "TavrikCore/Storage/RecordingStore.h"

#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Support/Files.h"
#include "TavrikCore/Support/Json.h"

#include <QDir>
#include <QJsonDocument>
#include <algorithm>

namespace tavrik {

namespace {
// Hours of recorded events stay far below this.
constexpr qint64 kRecordingLimit = 64 * Files::MiB;

QString recordingFile(const QUuid& id) {
    return Paths::recording(id) + QStringLiteral("/recording.json");
}
} // namespace

std::optional<QString> RecordingStore::prepareFramesDirectory(const QUuid& id,
                                                              QString* error) const {
    const QString folder = framesDirectory(id);
    if (auto failure = Files::makeFolder(folder)) {
        if (error)
            *error = *failure;
        return std::nullopt;
    }
    return folder;
}

std::optional<QString> RecordingStore::save(const Recording& recording) const {
    if (auto failure = Files::makeFolder(Paths::recording(recording.id)))
        return failure;
    return Files::write(recordingFile(recording.id), json::pretty(recording.toJson()));
}

QString RecordingStore::framePath(const QUuid& id, const QString& relativePath) const {
    return Paths::recording(id) + u'/' + relativePath;
}

QString RecordingStore::framesDirectory(const QUuid& id) const {
    return Paths::recording(id) + QStringLiteral("/frames");
}

std::optional<Recording> RecordingStore::load(const QUuid& id, QString* error) const {
    const QString path = recordingFile(id);
    std::optional<QByteArray> bytes = Files::read(path, kRecordingLimit, error);
    if (!bytes)
        return std::nullopt;
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(*bytes, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        if (error)
            *error = QStringLiteral("%1 is not valid JSON: %2").arg(path, parseError.errorString());
        return std::nullopt;
    }
    QString decodeError;
    std::optional<Recording> recording = Recording::fromJson(document.object(), &decodeError);
    if (!recording && error)
        *error = QStringLiteral("%1: %2").arg(path, decodeError);
    return recording;
}

QList<Recording> RecordingStore::loadAll() const {
    QList<Recording> recordings;
    const QStringList names =
        QDir(Paths::recordings())
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString& name : names) {
        if (std::optional<QUuid> id = json::parseUuid(name))
            if (std::optional<Recording> recording = load(*id))
                recordings.append(std::move(*recording));
    }
    std::stable_sort(
        recordings.begin(), recordings.end(),
        [](const Recording& a, const Recording& b) { return a.startedAt > b.startedAt; });
    return recordings;
}

std::optional<QString> RecordingStore::remove(const QUuid& id) const {
    return Files::removeFolder(Paths::recording(id));
}

} // namespace tavrik
