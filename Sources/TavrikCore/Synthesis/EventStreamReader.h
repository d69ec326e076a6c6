#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <functional>

namespace tavrik {

// Reads a Messages API event stream (server-sent events) as it arrives in arbitrary network
// chunks. Lines are reassembled before anything is decoded, so a line or a UTF-8 sequence split
// between two reads is seen whole. Only "data:" lines holding a JSON object count: text deltas
// are collected, "message_stop" ends the stream, everything else is ignored.
class EventStreamReader {
public:
    using TextHandler = std::function<void(const QString& fragment)>;

    // Longer lines are skipped whole; real events are a few kilobytes.
    static constexpr qsizetype maxLineBytes = 16 * 1024 * 1024;

    explicit EventStreamReader(TextHandler onText = {}) : m_onText(std::move(onText)) {}

    // Handles every complete line in `bytes`; stops early once stopped. Returns !stopped().
    bool feed(QByteArrayView bytes);
    // The body has ended: a last line without a line break still counts.
    void finish();
    // No further line is handled; the text gathered so far stays.
    void stop() { m_stopped = true; }

    bool stopped() const { return m_stopped; }
    bool sawMessageStop() const { return m_sawMessageStop; }
    const QString& text() const { return m_text; }

private:
    void handleLine(QByteArrayView line);
    void keepPartial(QByteArrayView bytes);

    TextHandler m_onText;
    QByteArray m_partial;
    bool m_afterCarriageReturn = false;
    bool m_overlong = false;
    bool m_stopped = false;
    bool m_sawMessageStop = false;
    QString m_text;
};

} // namespace tavrik
