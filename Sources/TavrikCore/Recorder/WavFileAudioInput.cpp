#include "TavrikCore/Recorder/WavFileAudioInput.h"

#include <QFile>
#include <QtEndian>

namespace tavrik {

namespace {

constexpr int chunkMs = 64; // 1024 samples

quint16 le16(const char* p) {
    return qFromLittleEndian<quint16>(p);
}
quint32 le32(const char* p) {
    return qFromLittleEndian<quint32>(p);
}

} // namespace

WavFileAudioInput::WavFileAudioInput(QString path, Pace pace)
    : m_path(std::move(path)), m_pace(pace) {}

WavFileAudioInput::~WavFileAudioInput() = default;

Result<QByteArray> WavFileAudioInput::readSamples(const QString& path) {
    auto fail = [&](const QString& why) {
        return Failure{QStringLiteral("%1: %2").arg(path, why)};
    };
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return fail(file.errorString());
    }
    const QByteArray bytes = file.readAll();
    if (bytes.size() < 12 || !bytes.startsWith("RIFF") || bytes.mid(8, 4) != "WAVE") {
        return fail(QStringLiteral("not a WAV file"));
    }
    bool formatSeen = false;
    qsizetype offset = 12;
    while (offset + 8 <= bytes.size()) {
        const QByteArray id = bytes.mid(offset, 4);
        const quint32 size = le32(bytes.constData() + offset + 4);
        const qsizetype body = offset + 8;
        if (id == "fmt ") {
            if (size < 16 || body + 16 > bytes.size()) {
                return fail(QStringLiteral("truncated format chunk"));
            }
            const char* f = bytes.constData() + body;
            const quint16 format = le16(f);
            const quint16 channels = le16(f + 2);
            const quint32 rate = le32(f + 4);
            const quint16 bits = le16(f + 14);
            // 0xFFFE: the extensible header some writers use for plain PCM too.
            if ((format != 1 && format != 0xFFFE) || channels != 1 ||
                rate != quint32(AudioInput::sampleRate) || bits != 16) {
                return fail(QStringLiteral("needs 16-bit PCM, mono, 16000 Hz (found format %1, "
                                           "%2 channels, %3 Hz, %4-bit)")
                                .arg(format)
                                .arg(channels)
                                .arg(rate)
                                .arg(bits));
            }
            formatSeen = true;
        } else if (id == "data") {
            if (!formatSeen) {
                return fail(QStringLiteral("data before format"));
            }
            // Writers streaming to a pipe leave the size unset: take what is there.
            const qsizetype available = bytes.size() - body;
            qsizetype length = std::min<qsizetype>(size, available);
            length -= length % 2;
            return bytes.mid(body, length);
        }
        offset = body + size + (size % 2);
    }
    return fail(QStringLiteral("no audio data"));
}

bool WavFileAudioInput::start(Sink sink) {
    Result<QByteArray> samples = readSamples(m_path);
    if (!samples.ok()) {
        m_error = samples.error();
        return false;
    }
    m_samples = *samples;
    m_position = 0;
    m_sink = std::move(sink);
    m_timer = std::make_unique<QTimer>();
    m_timer->setTimerType(Qt::PreciseTimer);
    m_timer->setInterval(m_pace == Pace::realTime ? chunkMs : 0);
    QObject::connect(m_timer.get(), &QTimer::timeout, [this] { deliver(); });
    m_clock.start();
    m_timer->start();
    return true;
}

void WavFileAudioInput::stop() {
    // Played as fast as possible, the file stands for speech already spoken: however busy the
    // machine was, all of it counts. In real time, what the clock says was spoken by now counts,
    // even when the timer that would have delivered it is late.
    if (m_pace == Pace::realTime && m_sink)
        deliver();
    while (m_pace == Pace::asFastAsPossible && m_sink && m_position < m_samples.size())
        deliver();
    m_timer.reset();
    m_sink = nullptr;
}

void WavFileAudioInput::deliver() {
    // In real time, everything due by the clock goes out, so a late timer never slows the speech.
    const qsizetype chunkBytes = qsizetype(AudioInput::sampleRate) * chunkMs / 1000 * 2;
    const qsizetype due =
        m_pace == Pace::realTime
            ? std::min(m_samples.size(),
                       qsizetype(m_clock.elapsed() * AudioInput::sampleRate / 1000 * 2))
            : std::min(m_samples.size(), m_position + chunkBytes);
    while (m_position < due && m_sink) {
        const qsizetype length = std::min(chunkBytes, due - m_position);
        const char* start = m_samples.constData() + m_position;
        m_position += length;
        m_sink(reinterpret_cast<const qint16*>(start), length / 2);
    }
    if (m_position >= m_samples.size() && m_timer) {
        m_timer->stop();
    }
}

} // namespace tavrik
