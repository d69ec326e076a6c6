#pragma once

#include "TavrikCore/Recorder/AudioInput.h"
#include "TavrikCore/Recorder/SpeechRecognizer.h"

#include <QFuture>
#include <QMutex>
#include <QString>
#include <QThread>
#include <chrono>
#include <functional>
#include <memory>

namespace tavrik {

// What the user says while a demonstration is recorded: audio from an AudioInput, transcribed on
// the fly by a SpeechRecognizer, with a level for the pill's sound bars. Audio is handled on an
// audio thread of its own; the recogniser is made once, in the background, on first use, and
// audio heard while it loads is kept and transcribed once it is ready.
class NarrationRecorder {
public:
    using InputFactory = std::function<std::unique_ptr<AudioInput>()>;
    // May return null: then there is no speech recognition, and the level meter still works.
    using RecognizerFactory = std::function<std::unique_ptr<SpeechRecognizer>()>;
    // Called on the audio thread with a level in 0...1.
    using LevelCallback = std::function<void(float)>;

    static constexpr std::chrono::milliseconds defaultTail{1200};
    static constexpr float levelGain = 18.0f;
    // Audio is metered and recognised in frames of this many samples (64 ms).
    static constexpr int frameSamples = 1024;

    NarrationRecorder(InputFactory makeInput, RecognizerFactory makeRecognizer);
    ~NarrationRecorder();
    NarrationRecorder(const NarrationRecorder&) = delete;
    NarrationRecorder& operator=(const NarrationRecorder&) = delete;

    void setOnLevel(LevelCallback onLevel);
    // How long capture goes on after stop is asked for, so the last words still count.
    void setTail(std::chrono::milliseconds tail);

    // Clears the transcript and begins capture in the background. Does nothing while running.
    void start();
    // Ends capture after the tail and gives the whole transcript; when not running, the current
    // transcript at once.
    QFuture<QString> stop();
    // Drops the narration of a discarded recording: capture ends now, and a start still on its
    // way does not begin.
    void cancel();

    bool isRunning() const;
    QString transcript() const;
    // Why the last start did not capture anything; empty when it did.
    QString errorString() const;

    // Root mean square of the samples (as -1...1) times levelGain, clamped to 0...1.
    static float level(const qint16* samples, qsizetype count);

private:
    class Engine;
    friend class Engine;

    mutable QMutex m_lock;
    QString m_transcript;
    bool m_running = false;
    bool m_starting = false;
    bool m_cancelled = false;
    QString m_error;
    LevelCallback m_onLevel;
    std::optional<QFuture<QString>> m_stopping;
    std::chrono::milliseconds m_tail = defaultTail;

    QThread m_thread;
    Engine* m_engine = nullptr;
};

} // namespace tavrik
