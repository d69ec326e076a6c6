#pragma once

#include "TavrikCore/Models/Recording.h"
#include "TavrikCore/Support/Result.h"

namespace tavrik {

// Recordings on disk: recordings/<ID>/recording.json with its key frames in frames/. Holds no
// state; every call recomputes its paths from the support folder.
class RecordingStore {
public:
    // Creates <ID>/frames/ and returns it; the error names the folder that could not be made.
    Result<QString> prepareFramesDirectory(const QUuid& id) const;
    Result<> save(const Recording& recording) const;
    QString framePath(const QUuid& id, const QString& relativePath) const;
    QString framesDirectory(const QUuid& id) const;
    // Fails on any read or decode failure.
    Result<Recording> load(const QUuid& id) const;
    // Newest first; entries that are not UUID folders with a readable recording are skipped.
    QList<Recording> loadAll() const;
    Result<> remove(const QUuid& id) const;
};

} // namespace tavrik
