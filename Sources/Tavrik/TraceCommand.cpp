#include "Tavrik/TraceCommand.h"

#include "TavrikCore/Storage/RecordingStore.h"
#include "TavrikCore/Support/Json.h"
#include "TavrikCore/Synthesis/Synthesizer.h"

namespace tavrik {

namespace {

QString sizeText(QSize size) {
    return QStringLiteral("%1x%2").arg(size.width()).arg(size.height());
}

} // namespace

int runTraceCommand(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    std::optional<QString> id;
    std::optional<QString> narration;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        if (argument == QStringLiteral("--narration")) {
            if (i + 1 >= arguments.size()) {
                err << "tavrik: --narration needs the transcript text\n";
                return 2;
            }
            narration = arguments[++i];
        } else if (argument.startsWith(QStringLiteral("--"))) {
            err << "tavrik: unknown option for trace: " << argument << " (see tavrik --help)\n";
            return 2;
        } else if (id) {
            err << "tavrik: trace takes one recording, got " << *id << " and " << argument << '\n';
            return 2;
        } else {
            id = argument;
        }
    }
    if (!id) {
        err << "tavrik: trace needs a recording id (a folder name under recordings)\n";
        return 2;
    }
    const std::optional<QUuid> uuid = json::parseUuid(*id);
    if (!uuid) {
        err << "tavrik: " << *id << " is not a recording id (expected a UUID)\n";
        return 2;
    }
    const Synthesizer synthesizer;
    QString error;
    const std::optional<Recording> recording = synthesizer.store.load(*uuid, &error);
    if (!recording) {
        err << "tavrik: cannot read recording " << json::uuidText(*uuid) << ": " << error << '\n';
        return 1;
    }

    out << Synthesizer::traceDescription(*recording) << '\n';
    if (const std::optional<ContentBlock> spoken = Synthesizer::narrationBlock(narration))
        out << '\n' << spoken->text << '\n';

    const QList<Synthesizer::FramePlan> frames = synthesizer.framePlan(*recording);
    qsizetype attached = 0;
    for (const Synthesizer::FramePlan& plan : frames)
        attached += plan.sentSize.has_value();
    out << "\n--- " << attached << " of " << recording->frames.size()
        << " key frames would be attached as JPEG (nothing above has been sent) ---\n";
    for (const Synthesizer::FramePlan& plan : frames) {
        const QString label = QString::asprintf("%6lld  ", static_cast<long long>(plan.index + 1)) +
                              plan.frame.relativePath;
        if (plan.sentSize)
            out << label << "  " << sizeText(*plan.originalSize) << " -> "
                << sizeText(*plan.sentSize) << '\n';
        else
            out << label << "  skipped: missing or not an image\n";
    }
    return 0;
}

} // namespace tavrik
