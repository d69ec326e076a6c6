#pragma once

#include "TavrikCore/Recorder/SpeechRecognizer.h"

#include <QString>
#include <QStringList>
#include <memory>
#include <optional>

struct ps_decoder_s;
struct cmd_ln_s;

namespace tavrik::audio {

// Speech to text with pocketsphinx and its US English model, entirely on this machine.
// Utterances are told apart by the decoder's own speech detection; the session's text is the
// utterances' hypotheses joined by spaces.
class PocketSphinxRecognizer final : public SpeechRecognizer {
public:
    struct Options {
        // Holds en-us/ (acoustic model), en-us.lm.bin and cmudict-en-us.dict.
        QString modelDirectory = QStringLiteral(TAVRIK_POCKETSPHINX_MODEL_DIR "/en-us");
        // A JSGF grammar instead of free dictation: only its sentences can be heard, much more
        // reliably.
        std::optional<QString> grammarFile;
    };

    // Absent, with `error` set, when the model cannot be loaded.
    static std::unique_ptr<PocketSphinxRecognizer> create(const Options& options,
                                                          QString* error = nullptr);
    ~PocketSphinxRecognizer() override;

    void begin() override;
    void accept(const qint16* samples, qsizetype count) override;
    QString partial() override;
    QString finish() override;

private:
    PocketSphinxRecognizer(cmd_ln_s* config, ps_decoder_s* decoder);
    void closeUtterance();
    QString joined(const QString& tail) const;

    cmd_ln_s* m_config;
    ps_decoder_s* m_decoder;
    QStringList m_utterances;
    bool m_inUtterance = false;
    bool m_heardSpeech = false;
};

} // namespace tavrik::audio
