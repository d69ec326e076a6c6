#pragma once

#include "TavrikCore/Replay/DesktopActor.h"
#include "TavrikCore/Replay/StepRepairer.h"
#include "TavrikCore/Replay/SyntheticInput.h"
#include "TavrikCore/Synthesis/AnthropicClient.h"

#include <QJsonArray>
#include <memory>

namespace tavrik {

class FrameCapturer;

// Repairs a step with the hosted model: it gets the step's intent, a key frame of the screen
// (secure fields blacked out) and the front window's elements as an indexed listing, and acts
// through a few desktop tools until it names the element that now stands for the step or gives
// up. Turns and answers are bounded; the model never sees a secret or a field's value.
class ModelStepRepairer : public StepRepairer {
public:
    struct Options {
        int maxTurns = 6;
        int maxTokens = 2048;
        int elementLimit = 400;
        // Key frames are scaled down to at most this width.
        int frameWidth = 1280;
    };

    // `frames` may be null (no key frame is sent then).
    ModelStepRepairer(const AnthropicClient& client, DesktopActor& actor, SyntheticInput& input,
                      FrameCapturer* frames);
    ModelStepRepairer(const AnthropicClient& client, DesktopActor& actor, SyntheticInput& input,
                      FrameCapturer* frames, Options options);

    // On the user's own key, else null: without a key nothing is sent and replay stops at a missing
    // step as it always did.
    static std::unique_ptr<ModelStepRepairer>
    withUsersKey(DesktopActor& actor, SyntheticInput& input, FrameCapturer* frames);

    Result repair(const Request& request,
                  const std::function<void(const QString&)>& emitLine) override;

private:
    struct Session;
    std::optional<LiveWindow> frontWindow(const AXTarget& expected);
    QList<LiveElement> elementsOf(const LiveWindow& window);
    std::optional<QByteArray> keyFrame(const LiveWindow& window,
                                       const QList<LiveElement>& elements);
    QString runTool(Session& session, const QString& name, const QJsonObject& input, bool* failed,
                    const std::function<void(const QString&)>& emitLine);

    AnthropicClient m_client;
    DesktopActor& m_actor;
    SyntheticInput& m_input;
    FrameCapturer* m_frames;
    Options m_options;
};

} // namespace tavrik
