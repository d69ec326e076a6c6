#include "TavrikPlatform/Audio/NarrationBackends.h"

#include "TavrikCore/Recorder/WavFileAudioInput.h"
#include "TavrikPlatform/Audio/MicrophoneInput.h"

#include <QDebug>

namespace tavrik::audio {

NarrationRecorder::InputFactory microphoneOrFileInput() {
    return []() -> std::unique_ptr<AudioInput> {
        const QString file = qEnvironmentVariable("TAVRIK_NARRATION_WAV");
        if (!file.isEmpty()) {
            return std::make_unique<WavFileAudioInput>(file);
        }
        return std::make_unique<MicrophoneInput>();
    };
}

NarrationRecorder::RecognizerFactory pocketSphinx(PocketSphinxRecognizer::Options options) {
    return [options]() -> std::unique_ptr<SpeechRecognizer> {
        QString error;
        auto recognizer = PocketSphinxRecognizer::create(options, &error);
        if (!recognizer) {
            qWarning().noquote() << "Tavrik:" << error;
        }
        return recognizer;
    };
}

} // namespace tavrik::audio
