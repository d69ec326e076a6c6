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

QString ModelSynthesis::failureText(const ClientError& error, bool hasKey) {
    const QString what = error.description();
    if (!hasKey &&
        (error.kind() == ClientError::Kind::transport || error.kind() == ClientError::Kind::http))
        return QStringLiteral("Tavrik has no Anthropic API key, and its own service could not "
                              "write the skill (%1). "
                              "Add your API key in Preferences (Tavrik menu → Preferences…), then "
                              "press Try Again.")
            .arg(what);
    if (hasKey && error.kind() == ClientError::Kind::http &&
        (error.status() == 401 || error.status() == 403))
        return QStringLiteral("Your Anthropic API key was not accepted (%1). Check it in "
                              "Preferences, then press Try Again.")
            .arg(what);
    if (error.kind() == ClientError::Kind::transport)
        return QStringLiteral("%1. Check your connection, then press Try Again.").arg(what);
    return what;
}

std::unique_ptr<SkillSynthesis::Task>
ModelSynthesis::streamSkill(const Recording& recording, const QString& narration,
                            std::function<void(const QString&)> onDelta,
                            std::function<void(Result)> done) {
    const std::optional<QString> key = Secrets::anthropicAPIKey();
    SkillSynthesisCall* call = m_synthesizer.streamSkill(
        recording, key, QString::fromLatin1(AnthropicClient::Model::opus),
        narration.isEmpty() ? std::nullopt : std::optional(narration), m_session);
    QObject::connect(call, &SkillSynthesisCall::delta, call,
                     [onDelta](const QString& fragment) { onDelta(fragment); });
    QObject::connect(
        call, &SkillSynthesisCall::finished, call, [call, done, hasKey = key.has_value()] {
            if (call->error())
                done(Result{std::nullopt, failureText(*call->error(), hasKey)});
            else if (call->skill())
                done(Result{Draft{*call->skill(), call->markdown()}, {}});
            else
                done(Result{std::nullopt, QStringLiteral("The model's answer held no skill.")});
        });
    return std::make_unique<CallTask>(call);
}

} // namespace tavrik
