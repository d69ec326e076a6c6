#pragma once

#include <QString>
#include <functional>

namespace tavrik {

// A source of narration audio: 16 kHz, mono, signed 16-bit samples. Created, started and stopped
// on the narration's audio thread, which runs an event loop.
class AudioInput {
public:
    using Sink = std::function<void(const qint16* samples, qsizetype count)>;

    static constexpr int sampleRate = 16000;

    virtual ~AudioInput() = default;

    // Begins delivering audio to `sink` on the calling thread. False when there is no audio to be
    // had (no device, no sound server, access refused, unreadable file); errorString says why.
    virtual bool start(Sink sink) = 0;
    virtual void stop() = 0;
    virtual QString errorString() const = 0;
};

} // namespace tavrik
