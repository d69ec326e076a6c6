#pragma once

#include "TavrikCore/Recorder/AudioInput.h"

#include <memory>

class QAudioSource;
class QIODevice;

namespace tavrik::audio {

// The default microphone through Qt Multimedia (PulseAudio or PipeWire). Without a sound server
// or an input device, start fails and says so.
class MicrophoneInput final : public AudioInput {
public:
    MicrophoneInput();
    ~MicrophoneInput() override;

    bool start(Sink sink) override;
    void stop() override;
    QString errorString() const override { return m_error; }

private:
    std::unique_ptr<QAudioSource> m_source;
    QIODevice* m_device = nullptr;
    Sink m_sink;
    QString m_error;
};

} // namespace tavrik::audio
