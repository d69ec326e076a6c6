#pragma once

#include "TavrikCore/Synthesis/AnthropicClient.h"
#include "TavrikCore/Synthesis/ClientError.h"
#include "TavrikCore/Synthesis/Synthesizer.h"

#include <QFutureWatcher>
#include <QObject>
#include <QPointer>

namespace tavrik {

class ModelCall;

// One synthesis in flight: the request content is built on worker threads, then the model is
// asked, then the skill is assembled. Signals come on the thread that started it; `finished`
// comes exactly once. Delete it with deleteLater(), never from inside its own signals.
class SkillSynthesisCall : public QObject {
    Q_OBJECT
public:
    enum class Path { markdown, structured };

    SkillSynthesisCall(const Synthesizer& synthesizer, const Recording& recording,
                       const AnthropicClient& client, Path path,
                       const std::optional<QString>& narration, QObject* parent = nullptr);
    ~SkillSynthesisCall() override;

    bool isFinished() const { return m_finished; }
    const std::optional<ClientError>& error() const { return m_error; }
    // The answer exactly as streamed (markdown path), or the JSON answer (structured path).
    const QString& markdown() const { return m_markdown; }
    const std::optional<Skill>& skill() const { return m_skill; }

    void cancel();
    bool waitForFinished();

signals:
    void delta(const QString& fragment);
    void finished();

private:
    void onContentReady();
    void onModelFinished();
    void finishWith(std::optional<ClientError> error);

    Synthesizer m_synthesizer;
    Recording m_recording;
    AnthropicClient m_client;
    Path m_path;
    QFutureWatcher<QList<ContentBlock>> m_content;
    QPointer<ModelCall> m_call;
    bool m_finished = false;
    std::optional<ClientError> m_error;
    QString m_markdown;
    std::optional<Skill> m_skill;
};

} // namespace tavrik
