#include "TavrikPlatform/Audio/MicrophoneInput.h"

#include <QAudioDevice>
#include <QAudioFormat>
#include <QAudioSource>
#include <QMediaDevices>

namespace tavrik::audio {

MicrophoneInput::MicrophoneInput() = default;

MicrophoneInput::~MicrophoneInput() {
    stop();
}

bool MicrophoneInput::start(Sink sink) {
    const QAudioDevice device = QMediaDevices::defaultAudioInput();
    if (device.isNull()) {
        m_error = QStringLiteral("no microphone (no input device or sound server)");
        return false;
    }
    QAudioFormat format;
    format.setSampleRate(AudioInput::sampleRate);
    format.setChannelCount(1);
    format.setSampleFormat(QAudioFormat::Int16);
    m_source = std::make_unique<QAudioSource>(device, format);
    m_sink = std::move(sink);
    m_device = m_source->start();
    if (!m_device || m_source->error() != QAudio::NoError) {
        m_error = QStringLiteral("the microphone %1 did not open").arg(device.description());
        stop();
        return false;
    }
    QObject::connect(m_device, &QIODevice::readyRead, m_device, [this] {
        const QByteArray bytes = m_device->readAll();
        if (m_sink && bytes.size() >= 2) {
            m_sink(reinterpret_cast<const qint16*>(bytes.constData()), bytes.size() / 2);
        }
    });
    m_error.clear();
    return true;
}

void MicrophoneInput::stop() {
    if (m_source) {
        m_source->stop();
        m_source.reset();
    }
    m_device = nullptr;
    m_sink = nullptr;
}

} // namespace tavrik::audio
