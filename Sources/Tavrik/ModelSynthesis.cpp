#include "Tavrik/ModelSynthesis.h"

#include "TavrikCore/Synthesis/AnthropicClient.h"
#include "TavrikCore/Synthesis/Secrets.h"
#include "TavrikCore/Synthesis/SkillSynthesisCall.h"

#include <QPointer>

namespace tavrik {

namespace {

// Dropping the task cancels the call; the call itself goes with deleteLater, as it asks.
class CallTask final : public SkillSynthesis::Task {
public:
    explicit CallTask(SkillSynthesisCall* call) : m_call(call) {}
    ~CallTask() override {
        if (!m_call)
            return;
        m_call->disconnect();
        if (!m_call->isFinished())
            m_call->cancel();
        m_call->deleteLater();
    }

private:
    QPointer<SkillSynthesisCall> m_call;
};

} // namespace

std::unique_ptr<SkillSynthesis::Task> ModelSynthesis::streamSkill(const Recording& recording, const QString& narration,
                                                                  std::function<void(const QString&)> onDelta,
                                                                  std::function<void(Result)> done) {
    SkillSynthesisCall* call = m_synthesizer.streamSkill(recording, Secrets::anthropicAPIKey(),
                                                         QString::fromLatin1(AnthropicClient::Model::opus),
                                                         narration.isEmpty() ? std::nullopt : std::optional(narration),
                                                         m_session);
    QObject::connect(call, &SkillSynthesisCall::delta, call, [onDelta](const QString& fragment) { onDelta(fragment); });
    QObject::connect(call, &SkillSynthesisCall::finished, call, [call, done] {
        if (call->error())
            done(Result{std::nullopt, call->error()->description()});
        else if (call->skill())
            done(Result{Draft{*call->skill(), call->markdown()}, {}});
        else
            done(Result{std::nullopt, QStringLiteral("The model's answer held no skill.")});
    });
    return std::make_unique<CallTask>(call);
}

} // namespace tavrik
