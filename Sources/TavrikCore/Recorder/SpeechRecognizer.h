#pragma once

#include <QString>

namespace tavrik {

// On-device speech to text over 16 kHz mono 16-bit audio. One session at a time: begin, accept
// audio, finish. Used from one thread at a time.
class SpeechRecognizer {
public:
    virtual ~SpeechRecognizer() = default;

    virtual void begin() = 0;
    virtual void accept(const qint16* samples, qsizetype count) = 0;
    // Everything heard so far in this session, the utterance in progress included.
    virtual QString partial() = 0;
    // Closes the utterance in progress and returns the session's whole text.
    virtual QString finish() = 0;
};

} // namespace tavrik
