#pragma once

#include "Tavrik/AppServices.h"
#include "TavrikCore/Synthesis/ClientError.h"
#include "TavrikCore/Synthesis/Synthesizer.h"

namespace tavrik {

// Skill drafts from the hosted model: the user's key when there is one (else the product's
// proxy) and the model chosen for writing skills.
class ModelSynthesis final : public SkillSynthesis {
public:
    explicit ModelSynthesis(QNetworkAccessManager* session = nullptr) : m_session(session) {}

    std::unique_ptr<Task> streamSkill(const Recording& recording, const QString& narration,
                                      std::function<void(const QString& fragment)> onDelta,
                                      std::function<void(Result)> done) override;

    // What the user reads when writing failed: the error, and what to do about it (a missing or
    // refused key names Preferences).
    static QString failureText(const ClientError& error, bool hasKey);

private:
    Synthesizer m_synthesizer;
    QNetworkAccessManager* m_session;
};

} // namespace tavrik
