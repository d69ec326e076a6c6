#pragma once

#include "TavrikCore/Models/Recording.h"

namespace tavrik {

// Recordings on disk: recordings/<ID>/recording.json with its key frames in frames/. Holds no
// state; every call recomputes its paths from the support folder.
class RecordingStore {
public:
    // Creates <ID>/frames/ and returns it; the error names the folder that could not be made.
    std::optional<QString> prepareFramesDirectory(const QUuid& id, QString* error = nullptr) const;
    std::optional<QString> save(const Recording& recording) const;
    QString framePath(const QUuid& id, const QString& relativePath) const;
    QString framesDirectory(const QUuid& id) const;
    // Any read or decode failure gives nothing; `error` says why.
    std::optional<Recording> load(const QUuid& id, QString* error = nullptr) const;
    // Newest first; entries that are not UUID folders with a readable recording are skipped.
    QList<Recording> loadAll() const;
    std::optional<QString> remove(const QUuid& id) const;
};

} // namespace tavrik
