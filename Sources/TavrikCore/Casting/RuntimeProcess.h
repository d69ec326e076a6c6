#pragma once

#include <QByteArray>
#include <QObject>

namespace tavrik {

// One started run process (the agent runtime or `tavrik replay`), as the runner sees it: bytes
// of its merged output as they arrive, and its end.
class RuntimeProcess : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    // Ends the process and everything it started: a polite signal, a forced one after `graceMs`.
    // Nothing is reported afterwards.
    virtual void stop(int graceMs) = 0;

signals:
    void output(const QByteArray& data);
    // Exactly once, after the last output; `success` is a normal exit with status 0.
    void ended(bool success);
};

} // namespace tavrik
