#pragma once

#include "TavrikCore/Recorder/AudioInput.h"
#include "TavrikCore/Support/Result.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QTimer>
#include <memory>

namespace tavrik {

// Narration audio from a WAV file (PCM, 16 kHz, mono, 16-bit), delivered in chunks as if spoken:
// in real time, or as fast as the event loop turns (then stopping delivers what is left first).
// After the last sample it falls silent.
class WavFileAudioInput final : public AudioInput {
public:
    enum class Pace { realTime, asFastAsPossible };

    explicit WavFileAudioInput(QString path, Pace pace = Pace::realTime);
    ~WavFileAudioInput() override;

    bool start(Sink sink) override;
    void stop() override;
    QString errorString() const override { return m_error; }

    // The samples of a WAV file in the narration format; absent with `error` set otherwise.
    static Result<QByteArray> readSamples(const QString& path);

private:
    void deliver();

    QString m_path;
    Pace m_pace;
    QString m_error;
    QByteArray m_samples;
    qsizetype m_position = 0;
    QElapsedTimer m_clock;
    Sink m_sink;
    std::unique_ptr<QTimer> m_timer;
};

} // namespace tavrik
