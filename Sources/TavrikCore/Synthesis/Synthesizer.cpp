#include "TavrikCore/Synthesis/Synthesizer.h"

#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Storage/SkillMarkdown.h"
#include "TavrikCore/Support/Files.h"
#include "TavrikCore/Support/Json.h"
#include "TavrikCore/Support/NetworkSession.h"
#include "TavrikCore/Synthesis/SkillSynthesisCall.h"

#include <QBuffer>
#include <QDir>
#include <QImage>
#include <QImageReader>
#include <QImageWriter>
#include <QJsonDocument>
#include <QSet>
#include <QThread>
#include <QThreadPool>
#include <charconv>
#include <cmath>

namespace tavrik {

namespace {

AnthropicClient clientFor(const std::optional<QString>& apiKey, const QString& model,
                          QNetworkAccessManager* session) {
    return AnthropicClient(apiKey, model, session ? session : sharedNetworkSession());
}

// printf's "%.1f" (ties go to even on the exact binary value), without the locale's decimal comma.
QString oneDecimal(double value) {
    char buffer[64];
    const auto [end, error] =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, 1);
    return error == std::errc() ? QString::fromLatin1(buffer, end - buffer) : QStringLiteral("0.0");
}

QString quoted(const QString& text) {
    return u'"' + text + u'"';
}

} // namespace

// --- requests

SkillSynthesisCall*
Synthesizer::streamSkill(const Recording& recording, const std::optional<QString>& apiKey,
                         const QString& model, const std::optional<QString>& narration,
                         QNetworkAccessManager* session, QObject* parent) const {
    return new SkillSynthesisCall(*this, recording, clientFor(apiKey, model, session),
                                  SkillSynthesisCall::Path::markdown, narration, parent);
}

SkillSynthesisCall* Synthesizer::synthesize(const Recording& recording,
                                            const std::optional<QString>& apiKey,
                                            const QString& model, QNetworkAccessManager* session,
                                            QObject* parent) const {
    return new SkillSynthesisCall(*this, recording, clientFor(apiKey, model, session),
                                  SkillSynthesisCall::Path::structured, std::nullopt, parent);
}

QList<ContentBlock> Synthesizer::markdownContent(const Recording& recording,
                                                 const std::optional<QString>& narration) const {
    QList<ContentBlock> content{ContentBlock::makeText(traceDescription(recording))};
    if (std::optional<ContentBlock> spoken = narrationBlock(narration))
        content.append(*spoken);
    content.append(frameBlocks(recording));
    return content;
}

QList<ContentBlock> Synthesizer::structuredContent(const Recording& recording) const {
    QList<ContentBlock> content{ContentBlock::makeText(traceDescription(recording))};
    content.append(frameBlocks(recording));
    return content;
}

// --- text

QString Synthesizer::eventDescription(const ActionEvent& event) {
    const std::optional<AXTarget>& target = event.target;
    const QString targetPart = target ? QStringLiteral(" on ") + target->humanLabel() : QString();
    const QString pagePart =
        target && target->url ? QStringLiteral(" [page: ") + *target->url + u']' : QString();
    QString verb;
    switch (event.type) {
    case ActionType::click:
        verb = QStringLiteral("Click");
        break;
    case ActionType::rightClick:
        verb = QStringLiteral("Right-click");
        break;
    case ActionType::doubleClick:
        verb = QStringLiteral("Double-click");
        break;
    case ActionType::drag:
        verb = QStringLiteral("Drag");
        break;
    case ActionType::scroll:
        verb = QStringLiteral("Scroll");
        break;
    case ActionType::appSwitch:
        verb = QStringLiteral("Switch app");
        break;
    case ActionType::windowFocus:
        verb = QStringLiteral("Focus window");
        break;
    case ActionType::wait:
        return QStringLiteral("Wait");
    case ActionType::keystroke:
        // What was typed into a secure field never leaves the machine.
        if (target && target->isSecure)
            return QStringLiteral("Type into a secure field") + targetPart +
                   QStringLiteral(" [redacted]") + pagePart;
        if (event.typedText)
            verb = QStringLiteral("Type ") + quoted(*event.typedText);
        else if (event.keyCode)
            verb = QStringLiteral("Press key ") + QString::number(*event.keyCode);
        else
            verb = QStringLiteral("Keystroke");
        break;
    }
    return verb + targetPart + pagePart;
}

QString Synthesizer::traceDescription(const Recording& recording) {
    QStringList lines{
        QStringLiteral("# Recorded task"),
        QStringLiteral("Duration: ") + oneDecimal(recording.duration()) +
            QString::fromUtf8("s \u00b7 ") + QString::number(recording.events.size()) +
            QString::fromUtf8(" interactions \u00b7 ") + QString::number(recording.frames.size()) +
            QStringLiteral(" key frames.")};
    if (!recording.appContexts.isEmpty()) {
        lines.append(QStringLiteral("\n## Apps involved (in order of first use)"));
        for (const AppContextSnapshot& app : recording.appContexts) {
            QString line = QStringLiteral("- ") +
                           app.appName.value_or(app.bundleID.value_or(QStringLiteral("unknown")));
            if (app.bundleID)
                line += QStringLiteral(" (") + *app.bundleID + u')';
            if (app.windowTitle)
                line += QString::fromUtf8(" \u2014 window: ") + quoted(*app.windowTitle);
            lines.append(line);
        }
    }
    lines.append(QStringLiteral("\n## Interaction trace"));
    for (qsizetype i = 0; i < recording.events.size(); ++i)
        lines.append(QString::number(i + 1) + QStringLiteral(". ") +
                     eventDescription(recording.events[i]));
    lines.append(SynthesisPrompts::taskStatement());
    return lines.join(u'\n');
}

std::optional<ContentBlock> Synthesizer::narrationBlock(const std::optional<QString>& narration) {
    const QString spoken = narration.value_or(QString()).trimmed();
    if (spoken.isEmpty())
        return std::nullopt;
    return ContentBlock::makeText(SynthesisPrompts::narrationFraming() +
                                  QStringLiteral("values are parameters vs. fixed:\n\n") +
                                  quoted(spoken));
}

// --- frames

QList<qsizetype> Synthesizer::sampledFrameIndices(qsizetype frameCount) const {
    QList<qsizetype> indices;
    if (maxFrames >= 1 && frameCount > maxFrames) {
        const double step = double(frameCount) / double(maxFrames);
        for (int i = 0; i < maxFrames; ++i)
            indices.append(qsizetype(std::trunc(double(i) * step)));
        return indices;
    }
    for (qsizetype i = 0; i < frameCount; ++i)
        indices.append(i);
    return indices;
}

QSize Synthesizer::downscaledSize(QSize original) const {
    const int longer = qMax(original.width(), original.height());
    const double scale =
        longer > maxImageLongEdge ? double(maxImageLongEdge) / double(longer) : 1.0;
    return QSize(int(double(original.width()) * scale), int(double(original.height()) * scale));
}

std::optional<QString> Synthesizer::framePath(const Recording& recording,
                                              const FrameRef& frame) const {
    const QString folder = QDir::cleanPath(Paths::recording(recording.id));
    if (frame.relativePath.isEmpty() || QDir::isAbsolutePath(frame.relativePath))
        return std::nullopt;
    const QString path = QDir::cleanPath(folder + u'/' + frame.relativePath);
    if (!path.startsWith(folder + u'/'))
        return std::nullopt;
    return path;
}

std::optional<QByteArray> Synthesizer::downscaledJpeg(const QString& path, QSize* size) const {
    // A frame is a screen's PNG: far below this, while a pipe or a device in its place would
    // never end.
    Result<QByteArray> file = Files::read(path, 64 * Files::MiB);
    if (!file.ok())
        return std::nullopt;
    QBuffer source(&*file);
    source.open(QIODevice::ReadOnly);
    QImageReader reader(&source);
    reader.setAutoTransform(false);
    QImage image = reader.read();
    if (image.isNull())
        return std::nullopt;
    const QSize target = downscaledSize(image.size());
    if (target.isEmpty())
        return std::nullopt;
    // Opaque RGB: the frame may carry alpha, JPEG cannot.
    image = image.convertToFormat(QImage::Format_RGB32);
    if (target != image.size())
        image = image.scaled(target, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "jpeg");
    writer.setQuality(jpegQuality);
    if (!writer.write(image))
        return std::nullopt;
    if (size)
        *size = target;
    return bytes;
}

QList<ContentBlock> Synthesizer::frameBlocks(const Recording& recording) const {
    const QList<qsizetype> indices = sampledFrameIndices(recording.frames.size());
    QList<std::optional<QByteArray>> encoded(indices.size());
    QThreadPool pool;
    pool.setMaxThreadCount(qMax(1, QThread::idealThreadCount()));
    for (qsizetype i = 0; i < indices.size(); ++i) {
        const std::optional<QString> path = framePath(recording, recording.frames[indices[i]]);
        if (!path)
            continue;
        std::optional<QByteArray>* slot = &encoded[i];
        pool.start([this, slot, file = *path] { *slot = downscaledJpeg(file); });
    }
    pool.waitForDone();

    QList<ContentBlock> blocks;
    for (qsizetype i = 0; i < indices.size(); ++i) {
        if (!encoded[i])
            continue;
        const FrameRef& frame = recording.frames[indices[i]];
        blocks.append(ContentBlock::makeText(frameLabel(frame)));
        blocks.append(
            ContentBlock::makeImage(QStringLiteral("image/jpeg"), encoded[i]->toBase64()));
    }
    return blocks;
}

QString Synthesizer::frameLabel(const FrameRef& frame) {
    return QStringLiteral("Frame at ") + oneDecimal(frame.timeOffset) + QStringLiteral("s:");
}

// --- skills from answers

namespace {

PlanStep stepFromEvent(const ActionEvent& event, qsizetype index) {
    PlanStep step;
    step.index = index;
    step.intent = Synthesizer::eventDescription(event);
    step.action = event.type;
    step.target = event.target;
    step.location = event.location;
    step.text = event.typedText;
    step.keyCode = event.keyCode;
    step.modifierFlags = event.modifierFlags;
    step.endLocation = event.endLocation;
    step.scrollDelta = event.scrollDelta;
    return step;
}

bool isPageAddress(const QString& url) {
    const QString lower = url.toLower();
    return !lower.startsWith(QLatin1String("chrome://")) &&
           !lower.startsWith(QLatin1String("about:"));
}

// The last URL among the events' targets that passes `accept`, preferring keystroke events.
std::optional<QString> recordedUrl(const QList<ActionEvent>& events,
                                   bool (*accept)(const QString&)) {
    for (bool keystrokesOnly : {true, false}) {
        for (auto it = events.crbegin(); it != events.crend(); ++it) {
            if (keystrokesOnly && it->type != ActionType::keystroke)
                continue;
            if (it->target && it->target->url && accept(*it->target->url))
                return *it->target->url;
        }
    }
    return std::nullopt;
}

// Models sometimes put blank lines or a code fence around the document despite being told not to.
QString documentText(const QString& answer) {
    QString text = answer;
    qsizetype start = 0;
    while (start < text.size() && text[start].isSpace())
        ++start;
    text = text.mid(start);
    if (text.startsWith(QLatin1String("```"))) {
        const qsizetype firstBreak = text.indexOf(u'\n');
        text = firstBreak < 0 ? QString() : text.mid(firstBreak + 1);
        QString trimmedEnd = text;
        while (!trimmedEnd.isEmpty() && trimmedEnd.back().isSpace())
            trimmedEnd.chop(1);
        if (trimmedEnd.endsWith(QLatin1String("```")))
            text = trimmedEnd.chopped(3);
    }
    return text;
}

} // namespace

Skill Synthesizer::skillFromMarkdown(const QString& markdown, const Recording& recording) {
    // Without front matter the answer is not a SKILL.md at all (prose, an apology...).
    const QString document = documentText(markdown);
    std::optional<Skill> parsed;
    if (document.startsWith(QLatin1String("---")))
        parsed = SkillMarkdown::parse(document);
    if (!parsed) {
        parsed = Skill{};
        parsed->name = QStringLiteral("Untitled Skill");
    }

    Skill skill;
    skill.name = parsed->name;
    skill.summary = parsed->summary;
    skill.parameters = parsed->parameters;
    skill.runtime = parsed->runtime;
    skill.mode = ExecutionMode::skill;
    for (qsizetype i = 0; i < recording.events.size(); ++i)
        skill.plan.append(stepFromEvent(recording.events[i], i));
    skill.url = parsed->url ? parsed->url : recordedUrl(recording.events, isPageAddress);
    skill.trigger = parsed->trigger.isEmpty() ? parsed->name : parsed->trigger;
    if (!parsed->appScope.isEmpty()) {
        skill.appScope = parsed->appScope;
    } else {
        QSet<QString> seen;
        for (const ActionEvent& event : recording.events) {
            if (event.target && event.target->appBundleID &&
                !seen.contains(*event.target->appBundleID)) {
                seen.insert(*event.target->appBundleID);
                skill.appScope.append(*event.target->appBundleID);
            }
        }
    }
    skill.createdAt = json::truncatedToSeconds(QDateTime::currentDateTimeUtc());
    skill.sourceRecordingID = recording.id;
    return skill;
}

namespace {

// The structured answer, read with the schema's snake-case keys. Nullable fields accept null.
struct StepDraft {
    QString intent;
    std::optional<QString> precondition;
    bool isDestructive = false;
};

struct SkillDraft {
    QString name;
    QString trigger;
    QString summary;
    QList<QString> appScope;
    QList<StepDraft> plan;
};

std::optional<QString> nullableText(json::ObjectReader& reader, const QString& key) {
    if (!reader.has(key))
        return std::nullopt;
    return reader.optionalString(key);
}

bool isNull(const QJsonObject& object, const QString& key) {
    return object.value(key).isNull();
}

std::optional<SkillDraft> decodeDraft(const QByteArray& answer, QString* error) {
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(answer, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        *error = QStringLiteral("not JSON (%1 at offset %2)")
                     .arg(parseError.errorString())
                     .arg(parseError.offset);
        return std::nullopt;
    }
    json::ObjectReader reader(document.object());
    if (!document.isObject())
        reader.fail(QStringLiteral("expected a JSON object"));
    SkillDraft draft;
    draft.name = reader.string("name");
    draft.trigger = reader.string("trigger");
    draft.summary = reader.string("summary");
    reader.string("mode"); // read, deliberately unused: every skill runs in one mode
    draft.appScope = reader.strings("app_scope");

    const QJsonObject object = document.object();
    const auto eachObject = [&](const QString& key, const auto& read) {
        const QJsonValue value = object.value(key);
        if (!reader.ok())
            return;
        if (!value.isArray()) {
            reader.fail(key + QStringLiteral(": expected an array"));
            return;
        }
        const QJsonArray items = value.toArray();
        for (qsizetype i = 0; i < items.size() && reader.ok(); ++i) {
            json::ObjectReader item(items[i]);
            if (!items[i].isObject())
                item.fail(QStringLiteral("expected an object"));
            read(item, items[i].toObject());
            if (!item.ok())
                reader.fail(QStringLiteral("%1[%2].%3").arg(key).arg(i).arg(item.error()));
        }
    };
    // Parameters are checked for shape, then dropped: the structured path keeps values literal.
    eachObject("parameters", [](json::ObjectReader& item, const QJsonObject&) {
        item.string("name");
        item.string("type");
        item.string("prompt");
        item.string("example_value");
        item.integers("used_in_steps");
    });
    eachObject("plan", [&](json::ObjectReader& item, const QJsonObject& raw) {
        StepDraft step;
        item.integer("index", std::numeric_limits<qint32>::min(),
                     std::numeric_limits<qint32>::max());
        step.intent = item.string("intent");
        item.string("action");
        if (!isNull(raw, "text"))
            nullableText(item, "text");
        if (!isNull(raw, "precondition"))
            step.precondition = nullableText(item, "precondition");
        step.isDestructive = item.boolean("is_destructive");
        if (raw.contains("target") && !isNull(raw, "target")) {
            const QJsonValue target = raw.value("target");
            if (!target.isObject()) {
                item.fail(QStringLiteral("target: expected an object or null"));
            } else {
                json::ObjectReader fields(target);
                for (const char* key :
                     {"app_bundle_id", "app_name", "ax_role", "ax_title", "ax_identifier"})
                    if (!isNull(target.toObject(), key))
                        nullableText(fields, key);
                if (!fields.ok())
                    item.fail(QStringLiteral("target.") + fields.error());
            }
        }
        draft.plan.append(step);
    });
    if (!reader.ok()) {
        *error = reader.error();
        return std::nullopt;
    }
    return draft;
}

bool anyAddress(const QString&) {
    return true;
}

} // namespace

std::optional<Skill> Synthesizer::skillFromDraft(const QByteArray& answer,
                                                 const Recording& recording, QString* error) {
    QString problem;
    const std::optional<SkillDraft> draft = decodeDraft(answer, &problem);
    if (!draft) {
        if (error)
            *error = problem;
        return std::nullopt;
    }
    Skill skill;
    skill.name = draft->name;
    skill.trigger = draft->trigger;
    skill.summary = draft->summary;
    skill.appScope = draft->appScope;
    skill.mode = ExecutionMode::skill;
    // Paired by position: the model's own index, action, text and target are not trusted over
    // what was recorded.
    for (qsizetype i = 0; i < recording.events.size(); ++i) {
        PlanStep step = stepFromEvent(recording.events[i], i);
        if (i < draft->plan.size()) {
            step.intent = draft->plan[i].intent;
            step.precondition = draft->plan[i].precondition;
            step.isDestructive = draft->plan[i].isDestructive;
        }
        skill.plan.append(step);
    }
    skill.url = recordedUrl(recording.events, anyAddress);
    skill.createdAt = json::truncatedToSeconds(QDateTime::currentDateTimeUtc());
    skill.sourceRecordingID = recording.id;
    return skill;
}

} // namespace tavrik
