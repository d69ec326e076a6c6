#include "Support/CoreApplication.h"
#include "TavrikCore/Recorder/NarrationRecorder.h"
#include "TavrikCore/Recorder/WavFileAudioInput.h"
#include "TavrikPlatform/Audio/MicrophoneInput.h"
#include "TavrikPlatform/Audio/PocketSphinxRecognizer.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>
#include <atomic>
#include <gtest/gtest.h>

using namespace tavrik;

namespace {

// A private PulseAudio server whose default source is a FIFO: whatever is written to it is what
// the microphone hears.
class VirtualMicrophone {
public:
    VirtualMicrophone() {
        const QString pulseaudio = QStandardPaths::findExecutable("pulseaudio");
        if (pulseaudio.isEmpty() || !m_dir.isValid()) {
            return;
        }
        m_socket = m_dir.filePath("native");
        m_fifo = m_dir.filePath("mic");
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("HOME", m_dir.path());
        env.insert("XDG_RUNTIME_DIR", m_dir.path());
        env.remove("DBUS_SESSION_BUS_ADDRESS");
        env.remove("DISPLAY");
        m_server.setProcessEnvironment(env);
        m_server.setStandardOutputFile(QProcess::nullDevice());
        m_server.setStandardErrorFile(m_dir.filePath("pulse.log"));
        m_server.start(pulseaudio,
                       {"-n", "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no",
                        "--disable-shm=yes",
                        "--load=module-native-protocol-unix auth-anonymous=1 socket=" + m_socket,
                        "--load=module-pipe-source source_name=tavrik_mic format=s16le "
                        "rate=16000 channels=1 file=" +
                            m_fifo,
                        "--load=module-null-sink", "--load=module-always-sink"});
        for (int i = 0; i < 100 && !QFile::exists(m_fifo); ++i) {
            QThread::msleep(50);
        }
        if (!QFile::exists(m_fifo)) {
            return;
        }
        qputenv("PULSE_SERVER", ("unix:" + m_socket).toLocal8Bit());
        m_ready = QProcess::execute("pactl", {"set-default-source", "tavrik_mic"}) == 0;
    }
    ~VirtualMicrophone() {
        qunsetenv("PULSE_SERVER");
        m_server.terminate();
        if (!m_server.waitForFinished(3000)) {
            m_server.kill();
            m_server.waitForFinished(3000);
        }
    }

    bool ready() const { return m_ready; }

    // Speaks the samples into the microphone in real time, from a thread of its own.
    std::unique_ptr<QThread> speak(QByteArray samples) {
        std::unique_ptr<QThread> thread(QThread::create([this, samples] {
            QFile fifo(m_fifo);
            if (!fifo.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
                return;
            }
            const qsizetype chunk = 16000 / 10 * 2; // 100 ms
            for (qsizetype at = 0; at < samples.size(); at += chunk) {
                fifo.write(samples.mid(at, chunk));
                QThread::msleep(100);
            }
            // A second of silence, so the source keeps running until stop.
            fifo.write(QByteArray(16000 * 2, '\0'));
        }));
        thread->start();
        return thread;
    }

private:
    QTemporaryDir m_dir;
    QProcess m_server;
    QString m_socket;
    QString m_fifo;
    bool m_ready = false;
};

TEST(Microphone, HearsSpeechThroughTheSoundServer) {
    tavrik::test::ensureCoreApplication();
    VirtualMicrophone mic;
    if (!mic.ready()) {
        GTEST_SKIP() << "no PulseAudio to make a virtual microphone with";
    }
    QTemporaryDir dir;
    const QString raw = dir.filePath("raw.wav");
    const QString wav = dir.filePath("speech.wav");
    ASSERT_EQ(QProcess::execute("espeak-ng", {"-w", raw, "open the settings"}), 0);
    ASSERT_EQ(QProcess::execute("sox", {raw, "-r", "16000", "-c", "1", "-b", "16", wav}), 0);
    const Result<QByteArray> samples = WavFileAudioInput::readSamples(wav);
    ASSERT_TRUE(samples.ok()) << samples.error().toStdString();
    QFile grammar(dir.filePath("g.gram"));
    ASSERT_TRUE(grammar.open(QIODevice::WriteOnly));
    grammar.write(
        "#JSGF V1.0;\ngrammar g;\npublic <s> = (open | close) the (settings | window);\n");
    grammar.close();

    NarrationRecorder narration([] { return std::make_unique<audio::MicrophoneInput>(); },
                                [&] {
                                    audio::PocketSphinxRecognizer::Options options;
                                    options.grammarFile = grammar.fileName();
                                    return std::unique_ptr<SpeechRecognizer>(
                                        audio::PocketSphinxRecognizer::create(options));
                                });
    std::atomic<float> loudest = 0;
    narration.setOnLevel([&](float level) { loudest = std::max(loudest.load(), level); });
    narration.start();
    for (int i = 0; i < 40 && !narration.isRunning(); ++i) {
        QThread::msleep(25);
    }
    ASSERT_TRUE(narration.isRunning()) << narration.errorString().toStdString();
    auto speaker = mic.speak(*samples);
    speaker->wait();
    EXPECT_EQ(narration.stop().result(), "open the settings");
    EXPECT_GT(loudest.load(), 0.2f);
}

} // namespace
