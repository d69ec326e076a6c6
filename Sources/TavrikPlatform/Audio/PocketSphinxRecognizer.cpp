#include "TavrikPlatform/Audio/PocketSphinxRecognizer.h"

#include <QFileInfo>
#include <QStringList>
#include <pocketsphinx.h>

namespace tavrik::audio {

std::unique_ptr<PocketSphinxRecognizer> PocketSphinxRecognizer::create(const Options& options,
                                                                       QString* error) {
    const QString dir = options.modelDirectory;
    const QByteArray hmm = (dir + "/en-us").toLocal8Bit();
    const QByteArray dict = (dir + "/cmudict-en-us.dict").toLocal8Bit();
    const QByteArray lm = (dir + "/en-us.lm.bin").toLocal8Bit();
    const QByteArray grammar = options.grammarFile.value_or(QString()).toLocal8Bit();
    for (const QByteArray& path : {hmm, dict, options.grammarFile ? grammar : lm}) {
        if (!QFileInfo::exists(QString::fromLocal8Bit(path))) {
            if (error) {
                *error = QStringLiteral("speech model file missing: %1")
                             .arg(QString::fromLocal8Bit(path));
            }
            return nullptr;
        }
    }
    cmd_ln_t* config = cmd_ln_init(nullptr, ps_args(), TRUE, "-hmm", hmm.constData(), "-dict",
                                   dict.constData(), options.grammarFile ? "-jsgf" : "-lm",
                                   options.grammarFile ? grammar.constData() : lm.constData(),
                                   "-samprate", "16000", "-logfn", "/dev/null", nullptr);
    if (!config) {
        if (error) {
            *error = QStringLiteral("speech recogniser: bad configuration");
        }
        return nullptr;
    }
    ps_decoder_t* decoder = ps_init(config);
    if (!decoder) {
        cmd_ln_free_r(config);
        if (error) {
            *error = QStringLiteral("speech recogniser: the model did not load");
        }
        return nullptr;
    }
    return std::unique_ptr<PocketSphinxRecognizer>(new PocketSphinxRecognizer(config, decoder));
}

PocketSphinxRecognizer::PocketSphinxRecognizer(cmd_ln_s* config, ps_decoder_s* decoder)
    : m_config(config), m_decoder(decoder) {}

PocketSphinxRecognizer::~PocketSphinxRecognizer() {
    if (m_inUtterance) {
        ps_end_utt(m_decoder);
    }
    ps_free(m_decoder);
    cmd_ln_free_r(m_config);
}

void PocketSphinxRecognizer::begin() {
    if (m_inUtterance) {
        ps_end_utt(m_decoder);
    }
    m_utterances.clear();
    m_inUtterance = ps_start_utt(m_decoder) == 0;
    m_heardSpeech = false;
}

void PocketSphinxRecognizer::accept(const qint16* samples, qsizetype count) {
    // In small pieces, so that a pause inside a long stretch of audio still ends an utterance.
    constexpr qsizetype piece = 1024;
    for (qsizetype done = 0; done < count; done += piece) {
        if (!m_inUtterance) {
            m_inUtterance = ps_start_utt(m_decoder) == 0;
            m_heardSpeech = false;
        }
        ps_process_raw(m_decoder, samples + done, size_t(std::min(piece, count - done)), FALSE,
                       FALSE);
        if (ps_get_in_speech(m_decoder)) {
            m_heardSpeech = true;
        } else if (m_heardSpeech) {
            // Silence after speech: the utterance is over; its hypothesis is final.
            closeUtterance();
        }
    }
}

QString PocketSphinxRecognizer::partial() {
    QString current;
    if (m_inUtterance && m_heardSpeech) {
        int32 score = 0;
        const char* hyp = ps_get_hyp(m_decoder, &score);
        current = hyp ? QString::fromUtf8(hyp) : QString();
    }
    return joined(current);
}

QString PocketSphinxRecognizer::finish() {
    if (m_inUtterance) {
        closeUtterance();
    }
    return joined({});
}

void PocketSphinxRecognizer::closeUtterance() {
    ps_end_utt(m_decoder);
    m_inUtterance = false;
    int32 score = 0;
    const char* hyp = ps_get_hyp(m_decoder, &score);
    const QString text = hyp ? QString::fromUtf8(hyp).trimmed() : QString();
    if (!text.isEmpty()) {
        m_utterances.append(text);
    }
    m_heardSpeech = false;
}

QString PocketSphinxRecognizer::joined(const QString& tail) const {
    QStringList parts = m_utterances;
    if (!tail.trimmed().isEmpty()) {
        parts.append(tail.trimmed());
    }
    return parts.join(' ');
}

} // namespace tavrik::audio
