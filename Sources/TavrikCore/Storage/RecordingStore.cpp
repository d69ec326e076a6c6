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

Result<QString> RecordingStore::prepareFramesDirectory(const QUuid& id) const {
    QString folder = framesDirectory(id);
    if (Result<> made = Files::makeFolder(folder); !made.ok())
        return Failure{made.error()};
    return folder;
}

Result<> RecordingStore::save(const Recording& recording) const {
    if (Result<> made = Files::makeFolder(Paths::recording(recording.id)); !made.ok())
        return made;
    return Files::write(recordingFile(recording.id), json::pretty(recording.toJson()));
}

QString RecordingStore::framePath(const QUuid& id, const QString& relativePath) const {
    return Paths::recording(id) + u'/' + relativePath;
}

QString RecordingStore::framesDirectory(const QUuid& id) const {
    return Paths::recording(id) + QStringLiteral("/frames");
}

Result<Recording> RecordingStore::load(const QUuid& id) const {
    const QString path = recordingFile(id);
    Result<QByteArray> bytes = Files::read(path, kRecordingLimit);
    if (!bytes.ok())
        return Failure{bytes.error()};
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(*bytes, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return Failure{
            QStringLiteral("%1 is not valid JSON: %2").arg(path, parseError.errorString())};
    Result<Recording> recording = Recording::fromJson(document.object());
    if (!recording.ok())
        return Failure{QStringLiteral("%1: %2").arg(path, recording.error())};
    return recording;
}

QList<Recording> RecordingStore::loadAll() const {
    QList<Recording> recordings;
    const QStringList names =
        QDir(Paths::recordings())
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString& name : names) {
        if (std::optional<QUuid> id = json::parseUuid(name))
            if (Result<Recording> recording = load(*id); recording.ok())
                recordings.append(std::move(*recording));
    }
    std::stable_sort(
        recordings.begin(), recordings.end(),
        [](const Recording& a, const Recording& b) { return a.startedAt > b.startedAt; });
    return recordings;
}

Result<> RecordingStore::remove(const QUuid& id) const {
    return Files::removeFolder(Paths::recording(id));
}

} // namespace tavrik
