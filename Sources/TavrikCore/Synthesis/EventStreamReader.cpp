#include "TavrikCore/Synthesis/EventStreamReader.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace tavrik {

namespace {

QByteArrayView trimSpacesAndTabs(QByteArrayView view) {
    while (!view.isEmpty() && (view.front() == ' ' || view.front() == '\t'))
        view = view.sliced(1);
    while (!view.isEmpty() && (view.back() == ' ' || view.back() == '\t'))
        view.chop(1);
    return view;
}

} // namespace

bool EventStreamReader::feed(QByteArrayView bytes) {
    qsizetype start = 0;
    for (qsizetype i = 0; i < bytes.size() && !m_stopped; ++i) {
        const char c = bytes[i];
        if (c != '\n' && c != '\r')
            continue;
        // "\r\n" ends one line, even when the two arrive in different reads.
        const bool secondHalfOfCrLf =
            c == '\n' && i == start && m_afterCarriageReturn && m_partial.isEmpty();
        m_afterCarriageReturn = c == '\r';
        if (secondHalfOfCrLf) {
            start = i + 1;
            continue;
        }
        if (m_partial.size() + (i - start) > maxLineBytes) {
            stopAtLongLine();
            break;
        }
        if (m_partial.isEmpty()) {
            handleLine(bytes.sliced(start, i - start));
        } else {
            m_partial.append(bytes.sliced(start, i - start));
            const QByteArray line = std::exchange(m_partial, QByteArray());
            handleLine(line);
        }
        start = i + 1;
    }
    if (!m_stopped && start < bytes.size()) {
        keepPartial(bytes.sliced(start));
        m_afterCarriageReturn = false;
    }
    return !m_stopped;
}

void EventStreamReader::keepPartial(QByteArrayView bytes) {
    if (m_partial.size() + bytes.size() > maxLineBytes)
        stopAtLongLine();
    else
        m_partial.append(bytes);
}

void EventStreamReader::stopAtLongLine() {
    // A line that never ends is not an event of this API; holding on to it would eat memory.
    m_partial.clear();
    m_lineTooLong = true;
    m_stopped = true;
}

void EventStreamReader::finish() {
    if (!m_stopped && !m_partial.isEmpty()) {
        const QByteArray line = std::exchange(m_partial, QByteArray());
        handleLine(line);
    }
    m_stopped = true;
}

void EventStreamReader::handleLine(QByteArrayView line) {
    if (!line.startsWith("data:"))
        return;
    const QByteArrayView rest = trimSpacesAndTabs(line.sliced(5));
    if (rest.isEmpty())
        return;
    // Done markers, keep-alive text and broken JSON are not events of this API.
    QJsonParseError parseError;
    QJsonDocument document = QJsonDocument::fromJson(rest.toByteArray(), &parseError);
    if (parseError.error == QJsonParseError::IllegalUTF8String) {
        // Text is read leniently: broken sequences become U+FFFD rather than losing the fragment.
        document = QJsonDocument::fromJson(QString::fromUtf8(rest).toUtf8());
    }
    if (!document.isObject())
        return;
    const QJsonObject event = document.object();
    const QString type = event.value(QLatin1String("type")).toString();
    if (type == QLatin1String("content_block_delta")) {
        const QJsonObject delta = event.value(QLatin1String("delta")).toObject();
        const QJsonValue text = delta.value(QLatin1String("text"));
        if (delta.value(QLatin1String("type")).toString() == QLatin1String("text_delta") &&
            text.isString()) {
            const QString fragment = text.toString();
            m_text += fragment;
            if (m_onText)
                m_onText(fragment);
        }
    } else if (type == QLatin1String("message_stop")) {
        m_sawMessageStop = true;
        m_stopped = true;
    }
}

} // namespace tavrik
