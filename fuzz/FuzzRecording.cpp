#include "FuzzCheck.h"
#include "TavrikCore/Models/Recording.h"

#include <QJsonDocument>

// recording.json is read back from disk, where anything may have replaced it. Decode it as
// RecordingStore::load does; a recording that decodes must survive being saved and loaded again.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return 0;
    const tavrik::Result<tavrik::Recording> recording =
        tavrik::Recording::fromJson(document.object());
    if (!recording.ok())
        return 0;
    (void)recording->duration();
    // Decoding is lenient (fractions of seconds, lower-case UUIDs), so the check starts from
    // what saving writes: that must read back and save to the same bytes.
    const QJsonObject saved = recording->toJson();
    const tavrik::Result<tavrik::Recording> reloaded = tavrik::Recording::fromJson(saved);
    FUZZ_CHECK(reloaded.ok() && reloaded->toJson() == saved);
    return 0;
}
