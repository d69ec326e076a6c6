#pragma once

#include "TavrikCore/Recorder/NarrationRecorder.h"
#include "TavrikPlatform/Audio/PocketSphinxRecognizer.h"

namespace tavrik::audio {

// The microphone; or, when TAVRIK_NARRATION_WAV names a WAV file (16 kHz mono 16-bit), that
// file spoken in real time, for trying narration without a microphone.
NarrationRecorder::InputFactory microphoneOrFileInput();

// pocketsphinx with the given options; a model that does not load means no speech (logged).
NarrationRecorder::RecognizerFactory pocketSphinx(PocketSphinxRecognizer::Options options = {});

} // namespace tavrik::audio
