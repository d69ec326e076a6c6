#include "TavrikCore/Recorder/NarrationRecorder.h"

#include <QMutexLocker>
#include <QPromise>
#include <QTimer>
#include <cmath>
#include <future>
#include <vector>

namespace tavrik {

namespace {

// Audio kept while the recogniser loads: enough for a slow first load, bounded all the same.
constexpr qsizetype maxBacklogSamples = qsizetype(AudioInput::sampleRate) * 60;
// How often the transcript is brought up to date with the utterance in progress.
constexpr int framesPerPartial = 8;

} // namespace

// Lives on the audio thread; everything here runs there.
class NarrationRecorder::Engine : public QObject {
public:
    Engine(NarrationRecorder& owner, InputFactory makeInput, RecognizerFactory makeRecognizer)
        : m_owner(owner), m_makeInput(std::move(makeInput)),
          m_makeRecognizer(std::move(makeRecognizer)) {}

    ~Engine() override {
        if (m_loading.valid()) {
            m_loading.wait();
        }
    }

    void begin() {
        {
            QMutexLocker lock(&m_owner.m_lock);
            if (m_owner.m_cancelled) {
                m_owner.m_starting = false;
                return;
            }
        }
        m_pending.clear();
        m_backlog.clear();
        m_framesSincePartial = 0;
        m_input = m_makeInput ? m_makeInput() : nullptr;
        const bool ok =
            m_input && m_input->start([this](const qint16* s, qsizetype n) { accept(s, n); });
        QMutexLocker lock(&m_owner.m_lock);
        m_owner.m_starting = false;
        if (!ok) {
            m_owner.m_error = m_input ? m_input->errorString() : QStringLiteral("no audio input");
            m_input.reset();
            return;
        }
        m_owner.m_error.clear();
        m_owner.m_running = true;
        lock.unlock();
        if (m_recognizer) {
            m_recognizer->begin();
            m_session = true;
        } else if (!m_loading.valid() && !m_recognizerTried && m_makeRecognizer) {
            m_recognizerTried = true;
            m_loading = std::async(std::launch::async, m_makeRecognizer);
        }
    }

    void finish(std::shared_ptr<QPromise<QString>> promise, std::chrono::milliseconds tail) {
        if (!m_input) {
            settle(promise);
            return;
        }
        QTimer::singleShot(tail, this, [this, promise] {
            endCapture();
            adoptRecognizer(true);
            if (m_recognizer && m_session) {
                if (!m_pending.empty()) {
                    m_recognizer->accept(m_pending.data(), qsizetype(m_pending.size()));
                }
                publish(m_recognizer->finish());
                m_session = false;
            }
            m_pending.clear();
            settle(promise);
        });
    }

    void cancel() {
        endCapture();
        if (m_recognizer && m_session) {
            m_recognizer->finish();
            m_session = false;
        }
        m_pending.clear();
        m_backlog.clear();
        QMutexLocker lock(&m_owner.m_lock);
        m_owner.m_running = false;
    }

private:
    void endCapture() {
        if (m_input) {
            m_input->stop();
            m_input.reset();
        }
    }

    void settle(const std::shared_ptr<QPromise<QString>>& promise) {
        QString text;
        {
            QMutexLocker lock(&m_owner.m_lock);
            m_owner.m_running = false;
            m_owner.m_stopping.reset();
            text = m_owner.m_transcript;
        }
        promise->addResult(text);
        promise->finish();
    }

    void accept(const qint16* samples, qsizetype count) {
        m_pending.insert(m_pending.end(), samples, samples + count);
        qsizetype used = 0;
        while (qsizetype(m_pending.size()) - used >= frameSamples) {
            frame(m_pending.data() + used);
            used += frameSamples;
        }
        m_pending.erase(m_pending.begin(), m_pending.begin() + used);
    }

    void frame(const qint16* samples) {
        LevelCallback onLevel;
        {
            QMutexLocker lock(&m_owner.m_lock);
            onLevel = m_owner.m_onLevel;
        }
        if (onLevel) {
            onLevel(NarrationRecorder::level(samples, frameSamples));
        }
        adoptRecognizer(false);
        if (m_recognizer && m_session) {
            m_recognizer->accept(samples, frameSamples);
            if (++m_framesSincePartial >= framesPerPartial) {
                m_framesSincePartial = 0;
                publish(m_recognizer->partial());
            }
        } else if (m_loading.valid() && qsizetype(m_backlog.size()) < maxBacklogSamples) {
            m_backlog.insert(m_backlog.end(), samples, samples + frameSamples);
        }
    }

    // Takes the recogniser once it has loaded (waiting for it when asked to) and catches it up
    // on the audio heard meanwhile.
    void adoptRecognizer(bool wait) {
        if (!m_loading.valid()) {
            return;
        }
        if (!wait && m_loading.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
            return;
        }
        m_recognizer = m_loading.get();
        if (!m_recognizer) {
            m_backlog.clear();
            return;
        }
        m_recognizer->begin();
        m_session = true;
        if (!m_backlog.empty()) {
            m_recognizer->accept(m_backlog.data(), qsizetype(m_backlog.size()));
            m_backlog.clear();
            publish(m_recognizer->partial());
        }
    }

    // An empty result leaves the transcript as it was.
    void publish(const QString& text) {
        if (text.trimmed().isEmpty()) {
            return;
        }
        QMutexLocker lock(&m_owner.m_lock);
        m_owner.m_transcript = text.trimmed();
    }

    NarrationRecorder& m_owner;
    InputFactory m_makeInput;
    RecognizerFactory m_makeRecognizer;
    std::unique_ptr<AudioInput> m_input;
    std::unique_ptr<SpeechRecognizer> m_recognizer;
    std::future<std::unique_ptr<SpeechRecognizer>> m_loading;
    bool m_recognizerTried = false;
    bool m_session = false;
    std::vector<qint16> m_pending;
    std::vector<qint16> m_backlog;
    int m_framesSincePartial = 0;
};

NarrationRecorder::NarrationRecorder(InputFactory makeInput, RecognizerFactory makeRecognizer) {
    m_thread.setObjectName(QStringLiteral("Tavrik narration"));
    m_engine = new Engine(*this, std::move(makeInput), std::move(makeRecognizer));
    m_engine->moveToThread(&m_thread);
    m_thread.start();
}

NarrationRecorder::~NarrationRecorder() {
    {
        QMutexLocker lock(&m_lock);
        m_cancelled = true;
    }
    // The input's timers and sockets belong to the audio thread: end them there.
    QMetaObject::invokeMethod(
        m_engine, [this] { m_engine->cancel(); }, Qt::BlockingQueuedConnection);
    m_thread.quit();
    m_thread.wait();
    delete m_engine;
}

void NarrationRecorder::setOnLevel(LevelCallback onLevel) {
    QMutexLocker lock(&m_lock);
    m_onLevel = std::move(onLevel);
}

void NarrationRecorder::setTail(std::chrono::milliseconds tail) {
    QMutexLocker lock(&m_lock);
    m_tail = tail;
}

void NarrationRecorder::start() {
    {
        QMutexLocker lock(&m_lock);
        if (m_running || m_starting) {
            return;
        }
        m_cancelled = false;
        m_transcript.clear();
        m_starting = true;
    }
    QMetaObject::invokeMethod(
        m_engine, [this] { m_engine->begin(); }, Qt::QueuedConnection);
}

QFuture<QString> NarrationRecorder::stop() {
    QMutexLocker lock(&m_lock);
    if (m_stopping) {
        return *m_stopping;
    }
    if (!m_running && !m_starting) {
        return QtFuture::makeReadyFuture(m_transcript);
    }
    auto promise = std::make_shared<QPromise<QString>>();
    promise->start();
    m_stopping = promise->future();
    const auto tail = m_tail;
    // Queued behind a start still on its way, so that start runs first.
    QMetaObject::invokeMethod(
        m_engine, [this, promise, tail] { m_engine->finish(promise, tail); }, Qt::QueuedConnection);
    return *m_stopping;
}

void NarrationRecorder::cancel() {
    {
        QMutexLocker lock(&m_lock);
        m_cancelled = true;
    }
    QMetaObject::invokeMethod(
        m_engine, [this] { m_engine->cancel(); }, Qt::QueuedConnection);
}

bool NarrationRecorder::isRunning() const {
    QMutexLocker lock(&m_lock);
    return m_running;
}

QString NarrationRecorder::transcript() const {
    QMutexLocker lock(&m_lock);
    return m_transcript;
}

QString NarrationRecorder::errorString() const {
    QMutexLocker lock(&m_lock);
    return m_error;
}

float NarrationRecorder::level(const qint16* samples, qsizetype count) {
    if (!samples || count <= 0) {
        return 0;
    }
    double sum = 0;
    for (qsizetype i = 0; i < count; ++i) {
        const double s = samples[i] / 32768.0;
        sum += s * s;
    }
    const double rms = std::sqrt(sum / double(count));
    return float(std::clamp(rms * levelGain, 0.0, 1.0));
}

} // namespace tavrik
