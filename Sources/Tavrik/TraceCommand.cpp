#include "Tavrik/TraceCommand.h"

#include "Tavrik/CommandFailure.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Support/Json.h"
#include "TavrikCore/Synthesis/Synthesizer.h"

#include <QDir>
#include <QFileInfo>

namespace tavrik {

int traceRecording(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    std::optional<QString> ref;
    std::optional<QString> narration;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        if (argument == QStringLiteral("--narration")) {
            if (i + 1 >= arguments.size())
                return failCommand(err, QStringLiteral("--narration needs the spoken text"), 2);
            narration = arguments[++i];
        } else if (argument.startsWith(QStringLiteral("--"))) {
            return failCommand(
                err,
                QStringLiteral("unknown option for trace: %1 (see tavrik --help)").arg(argument),
                2);
        } else if (ref) {
            return failCommand(
                err, QStringLiteral("trace takes one recording, got %1 and %2").arg(*ref, argument),
                2);
        } else {
            ref = argument;
        }
    }
    if (!ref)
        return failCommand(err,
                           QStringLiteral("trace needs a recording id (the folder name under %1)")
                               .arg(Paths::recordings()),
                           2);
    // A recording folder's path works as well as its id, with or without the "/" that shell
    // completion leaves. Recordings are read from the library, so a folder elsewhere is refused
    // rather than standing in for the library's recording of the same id.
    const QFileInfo folder(QDir::cleanPath(*ref));
    std::optional<QUuid> id = json::parseUuid(folder.fileName());
    if (!id)
        return failCommand(err, QStringLiteral("%1 is not a recording id").arg(*ref), 2);
    if (folder.isDir() && QFileInfo(folder.absolutePath()).canonicalFilePath() !=
                              QFileInfo(Paths::recordings()).canonicalFilePath())
        return failCommand(
            err, QStringLiteral("%1 is not a recording in %2").arg(*ref, Paths::recordings()), 2);
    Synthesizer synthesizer;
    const Result<Recording> recording = synthesizer.store.load(*id);
    if (!recording.ok())
        return failCommand(err, recording.error(), 1);

    out << Synthesizer::traceDescription(*recording) << '\n';
    if (std::optional<ContentBlock> spoken = Synthesizer::narrationBlock(narration))
        out << spoken->text << '\n';

    const QList<qsizetype> sampled = synthesizer.sampledFrameIndices(recording->frames.size());
    out << "\n--- frames: " << sampled.size() << " of " << recording->frames.size()
        << " would be attached\n";
    for (qsizetype index : sampled) {
        const FrameRef& frame = recording->frames[index];
        out << frame.relativePath << "  " << Synthesizer::frameLabel(frame) << "  ";
        std::optional<QString> path = synthesizer.framePath(*recording, frame);
        QSize size;
        if (path && synthesizer.downscaledJpeg(*path, &size))
            out << size.width() << "×" << size.height() << " JPEG\n";
        else
            out << "not attached ("
                << (path && QFileInfo::exists(*path) ? "not an image" : "missing") << ")\n";
    }
    out.flush();
    return 0;
}

} // namespace tavrik
