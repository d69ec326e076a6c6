#pragma once

#include "TavrikCore/Models/Recording.h"
#include "TavrikCore/Models/Skill.h"
#include "TavrikCore/Storage/RecordingStore.h"
#include "TavrikCore/Synthesis/ContentBlock.h"
#include "TavrikCore/Synthesis/SynthesisPrompts.h"

#include <QSize>
#include <optional>

class QNetworkAccessManager;
class QObject;

namespace tavrik {

class SkillSynthesisCall;

// Turns one finished recording into a skill: renders the recording as a plain-text trace, adds
// the spoken narration and a sample of key frames, asks the model and builds the skill from its
// answer together with the recorded events. Holds no mutable state.
class Synthesizer {
public:
    int maxImageLongEdge = 2576;
    int maxFrames = 12;
    RecordingStore store;

    static QString markdownSystemPrompt() { return SynthesisPrompts::markdownSystemPrompt(); }
    static QString systemPrompt() { return SynthesisPrompts::systemPrompt(); }
    static QJsonObject schema() { return SynthesisPrompts::schema(); }

    static constexpr int markdownMaxTokens = 4000;
    static constexpr int structuredMaxTokens = 16000;
    static constexpr int jpegQuality = 70;

    // The path the application uses: the model writes a SKILL.md, streamed as the call's deltas.
    // `session` defaults to the shared one; a recording's frames are read and encoded on worker
    // threads before the request goes out.
    SkillSynthesisCall* streamSkill(const Recording& recording,
                                    const std::optional<QString>& apiKey, const QString& model,
                                    const std::optional<QString>& narration,
                                    QNetworkAccessManager* session = nullptr,
                                    QObject* parent = nullptr) const;
    // The structured alternative: a JSON answer conforming to schema(), mapped onto the events.
    SkillSynthesisCall* synthesize(const Recording& recording, const std::optional<QString>& apiKey,
                                   const QString& model, QNetworkAccessManager* session = nullptr,
                                   QObject* parent = nullptr) const;

    // --- the pieces, each usable alone (the trace command shows them before anything is sent)

    static QString traceDescription(const Recording& recording);
    static QString eventDescription(const ActionEvent& event);
    // Nothing when the narration is absent or only white space.
    static std::optional<ContentBlock> narrationBlock(const std::optional<QString>& narration);

    // Which frames are sent: all of them, or `maxFrames` spread evenly when there are more.
    QList<qsizetype> sampledFrameIndices(qsizetype frameCount) const;
    // Size after downscaling to the long-edge limit; never enlarged.
    QSize downscaledSize(QSize original) const;
    // The frame's file, or nothing when its path would leave the recording's folder.
    std::optional<QString> framePath(const Recording& recording, const FrameRef& frame) const;
    // JPEG bytes of the downscaled image; nothing when the file is missing or not an image.
    std::optional<QByteArray> downscaledJpeg(const QString& path, QSize* size = nullptr) const;
    // The text sent just before a frame's image: "Frame at <t>s:".
    static QString frameLabel(const FrameRef& frame);
    // "Frame at <t>s:" and the image, for each sampled frame that could be encoded, in order.
    // Frames are encoded in parallel.
    QList<ContentBlock> frameBlocks(const Recording& recording) const;

    QList<ContentBlock> markdownContent(const Recording& recording,
                                        const std::optional<QString>& narration) const;
    QList<ContentBlock> structuredContent(const Recording& recording) const;

    // The skill from a streamed SKILL.md answer; never fails.
    static Skill skillFromMarkdown(const QString& markdown, const Recording& recording);
    // The skill from a structured answer; nothing (with the reason) when it does not decode.
    static std::optional<Skill> skillFromDraft(const QByteArray& answer, const Recording& recording,
                                               QString* error = nullptr);
};

} // namespace tavrik
