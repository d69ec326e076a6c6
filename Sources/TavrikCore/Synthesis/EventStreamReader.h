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

    // Real events are a few kilobytes; a longer line stops reading (lineTooLong()).
    static constexpr qsizetype maxLineBytes = 1024 * 1024;

    explicit EventStreamReader(TextHandler onText = {}) : m_onText(std::move(onText)) {}

    // Handles every complete line in `bytes`; stops early once stopped. Returns !stopped().
    bool feed(QByteArrayView bytes);
    // The body has ended: a last line without a line break still counts.
    void finish();
    // No further line is handled; the text gathered so far stays.
    void stop() { m_stopped = true; }

    bool stopped() const { return m_stopped; }
    // Bytes after the last line break wait for the rest of their line.
    bool hasPartialLine() const { return !m_partial.isEmpty(); }
    bool sawMessageStop() const { return m_sawMessageStop; }
    // Reading stopped at a line longer than maxLineBytes: not an event stream of this API.
    bool lineTooLong() const { return m_lineTooLong; }
    const QString& text() const { return m_text; }

private:
    void handleLine(QByteArrayView line);
    void keepPartial(QByteArrayView bytes);
    void stopAtLongLine();

    TextHandler m_onText;
    QByteArray m_partial;
    bool m_afterCarriageReturn = false;
    bool m_stopped = false;
    bool m_sawMessageStop = false;
    bool m_lineTooLong = false;
    QString m_text;
};

} // namespace tavrik
