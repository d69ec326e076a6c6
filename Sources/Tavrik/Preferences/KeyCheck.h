#pragma once

#include <QObject>
#include <QPointer>

namespace tavrik {

class TextStreamCall;

// The Test button's question: does this key open the Messages API? It sends the smallest
// request there is (one word, one token back) and answers in plain words.
class KeyCheck : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    ~KeyCheck() override;

    // Replaces a check still under way.
    void check(const QString& key);
    bool isChecking() const { return !m_call.isNull(); }

signals:
    void answered(bool works, const QString& text);

private:
    QPointer<TextStreamCall> m_call;
};

} // namespace tavrik
