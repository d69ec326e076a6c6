#pragma once

#include <QString>

namespace tavrik {

// A failed model call. `description()` is what the user sees, so its wording is fixed.
class ClientError {
public:
    enum class Kind {
        http,          // a status outside 2xx, or -1 when the answer was not HTTP at all
        refusal,       // the model declined
        noTextContent, // the answer had no text block
        truncated,     // the answer hit max_tokens
        transport,     // the network failed or timed out before an answer
        decoding,      // a 2xx answer that is not the expected JSON
        cancelled,     // the caller cancelled
        redirected,    // the host redirected to another origin, which was not followed
        tooLarge,      // the answer passed the limit set for it
    };

    static ClientError http(int status, const QString& body);
    static ClientError noHttpResponse() { return http(-1, QStringLiteral("no HTTP response")); }
    static ClientError refusal(const QString& message);
    static ClientError noTextContent();
    static ClientError truncated();
    static ClientError transport(const QString& message);
    static ClientError decoding(const QString& detail);
    static ClientError cancelled();
    static ClientError redirected(const QString& origin);
    static ClientError tooLarge();

    Kind kind() const { return m_kind; }
    int status() const { return m_status; }
    // The body for http, the message for refusal, transport and decoding, the origin for
    // redirected.
    const QString& text() const { return m_text; }
    QString description() const;

    bool operator==(const ClientError&) const = default;

private:
    ClientError(Kind kind, int status, const QString& text)
        : m_kind(kind), m_status(status), m_text(text) {}

    Kind m_kind;
    int m_status;
    QString m_text;
};

} // namespace tavrik
