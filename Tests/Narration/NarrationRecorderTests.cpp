#include "Support/CoreApplication.h"
#include "Support/WaitUntil.h"
#include "TavrikCore/Recorder/NarrationRecorder.h"
#include "TavrikCore/Recorder/WavFileAudioInput.h"
#include "TavrikPlatform/Audio/PocketSphinxRecognizer.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>
#include <atomic>
#include <gtest/gtest.h>
#include <mutex>

using namespace tavrik;
using tavrik::audio::PocketSphinxRecognizer;
using Pace = WavFileAudioInput::Pace;

namespace {

// Real speech for the recogniser: espeak-ng's voice, resampled by sox to the narration format.
class Speech : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        tavrik::test::ensureCoreApplication();
        dir = new QTemporaryDir;
        QFile grammar(dir->filePath("narration.gram"));
        ASSERT_TRUE(grammar.open(QIODevice::WriteOnly));
        grammar.write("#JSGF V1.0;\ngrammar narration;\n"
                      "public <narration> = <sentence>+;\n"
                      "<sentence> = <action> the <thing> [button];\n"
                      "<action> = open | close | click | press;\n"
                      "<thing> = settings | file | window | menu;\n");
    }
    static void TearDownTestSuite() {
        delete dir;
        dir = nullptr;
    }

    // `ssml` may hold <break time="800ms"/> pauses.
    static QString speak(const QString& name, const QString& ssml) {
        const QString raw = dir->filePath(name + ".raw.wav");
        const QString wav = dir->filePath(name + ".wav");
        if (QFile::exists(wav)) {
            return wav;
        }
        EXPECT_EQ(QProcess::execute("espeak-ng", {"-m", "-w", raw, "<speak>" + ssml + "</speak>"}),
                  0);
        EXPECT_EQ(QProcess::execute("sox", {raw, "-r", "16000", "-c", "1", "-b", "16", wav}), 0);
        return wav;
    }

    static NarrationRecorder::RecognizerFactory grammarRecognizer() {
        return [] {
            PocketSphinxRecognizer::Options options;
            options.grammarFile = dir->filePath("narration.gram");
            return std::unique_ptr<SpeechRecognizer>(PocketSphinxRecognizer::create(options));
        };
    }

    static NarrationRecorder::InputFactory file(const QString& path, Pace pace) {
        return [path, pace] { return std::make_unique<WavFileAudioInput>(path, pace); };
    }

    static inline QTemporaryDir* dir = nullptr;
};

TEST_F(Speech, WavFilesOtherThanTheNarrationFormatAreRefusedWithTheReason) {
    const QString raw = dir->filePath("native.wav"); // espeak-ng writes 22050 Hz
    ASSERT_EQ(QProcess::execute("espeak-ng", {"-w", raw, "hello"}), 0);
    Result<QByteArray> native = WavFileAudioInput::readSamples(raw);
    EXPECT_FALSE(native.ok());
    EXPECT_TRUE(native.error().contains("16000 Hz")) << native.error().toStdString();

    QFile text(dir->filePath("notes.wav"));
    ASSERT_TRUE(text.open(QIODevice::WriteOnly));
    text.write("this is not audio");
    text.close();
    Result<QByteArray> notAudio = WavFileAudioInput::readSamples(text.fileName());
    EXPECT_EQ(notAudio.error(), text.fileName() + ": not a WAV file");

    const Result<QByteArray> samples = WavFileAudioInput::readSamples(speak("hello", "hello"));
    ASSERT_TRUE(samples.ok()) << samples.error().toStdString();
    EXPECT_GT(samples->size(), 16000); // more than half a second of audio
}

TEST_F(Speech, WithAGrammarEveryUtteranceIsTranscribedExactly) {
    const QString wav = speak("two", "open the settings <break time=\"800ms\"/> close the window");
    NarrationRecorder narration(file(wav, Pace::asFastAsPossible), grammarRecognizer());
    narration.setTail(std::chrono::milliseconds(300));
    std::mutex levelsLock;
    std::vector<float> levels;
    narration.setOnLevel([&](float level) {
        std::lock_guard lock(levelsLock);
        levels.push_back(level);
    });
    narration.start();
    EXPECT_TRUE(test::waitUntil([&] { return narration.isRunning(); }));
    EXPECT_EQ(narration.stop().result(), "open the settings close the window");
    EXPECT_FALSE(narration.isRunning());
    EXPECT_EQ(narration.transcript(), "open the settings close the window");

    {
        // Speech moves the meter; every level is within 0...1.
        std::lock_guard lock(levelsLock);
        ASSERT_FALSE(levels.empty());
        EXPECT_GT(*std::max_element(levels.begin(), levels.end()), 0.2f);
        EXPECT_TRUE(
            std::all_of(levels.begin(), levels.end(), [](float l) { return l >= 0 && l <= 1; }));
    }

    // The next recording starts from an empty transcript.
    narration.start();
    EXPECT_EQ(narration.transcript(), "");
    EXPECT_EQ(narration.stop().result(), "open the settings close the window");
}

TEST_F(Speech, WordsSpokenJustAfterStopStillCount) {
    // A phrase, a pause, then the last phrase (from about 1.7 s to 2.8 s), spoken in real time.
    // Stop is asked for as the last phrase begins: the tail keeps listening.
    const QString wav = speak("late", "open the settings <break time=\"400ms\"/> close the window");
    NarrationRecorder narration(file(wav, Pace::realTime), grammarRecognizer());
    narration.start();
    // The speech begins when capture does, which a busy machine delays.
    ASSERT_TRUE(test::waitUntil([&] { return narration.isRunning(); }));
    QThread::msleep(1900);
    EXPECT_EQ(narration.stop().result(), "open the settings close the window");
}

TEST_F(Speech, FreeDictationGivesSomeTranscript) {
    // Without a grammar the general model is poor on a synthetic voice: only ask for words.
    const QString wav = speak("free", "open the settings and close the window");
    NarrationRecorder narration(file(wav, Pace::asFastAsPossible), [] {
        return std::unique_ptr<SpeechRecognizer>(PocketSphinxRecognizer::create({}));
    });
    narration.setTail(std::chrono::milliseconds(300));
    narration.start();
    EXPECT_FALSE(narration.stop().result().trimmed().isEmpty());
}

TEST_F(Speech, WithoutAudioStopAnswersAtOnceWithNothing) {
    NarrationRecorder narration(file(dir->filePath("missing.wav"), Pace::realTime),
                                grammarRecognizer());
    // A recording with audio would keep listening this long after stop.
    narration.setTail(std::chrono::hours(1));
    narration.start();
    const QFuture<QString> stopped = narration.stop();
    ASSERT_TRUE(test::waitUntil([&] { return stopped.isFinished(); }, 60000));
    EXPECT_EQ(stopped.result(), "");
    EXPECT_TRUE(narration.errorString().contains("missing.wav"))
        << narration.errorString().toStdString();
    EXPECT_FALSE(narration.isRunning());
}

TEST_F(Speech, WithoutARecognizerTheMeterStillMoves) {
    const QString wav = speak("hello", "hello");
    NarrationRecorder narration(file(wav, Pace::asFastAsPossible), [] { return nullptr; });
    narration.setTail(std::chrono::milliseconds(200));
    std::atomic<float> loudest = 0;
    narration.setOnLevel([&](float level) { loudest = std::max(loudest.load(), level); });
    narration.start();
    EXPECT_EQ(narration.stop().result(), "");
    EXPECT_GT(loudest.load(), 0.2f);
}

TEST_F(Speech, ACancelledNarrationNeverBegins) {
    const QString wav = speak("hello", "hello");
    NarrationRecorder narration(file(wav, Pace::realTime), grammarRecognizer());
    narration.start();
    narration.cancel();
    QThread::msleep(100);
    EXPECT_FALSE(narration.isRunning());
    EXPECT_EQ(narration.stop().result(), "");
}

} // namespace
