#pragma once

#include <QObject>

class QLocalServer;

namespace tavrik {

// One running application per user session. A second start hands over to the first (which
// shows its main window again) and ends; the socket lives in the session's runtime folder.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    explicit SingleInstance(QObject* parent = nullptr);

    // True when another instance answered and was asked to show itself.
    bool handOverToRunning();
    // Starts listening; false when the socket cannot be made (then every start runs on its own).
    bool listen();
    static QString socketName();

signals:
    void reopenRequested();

private:
    QLocalServer* m_server = nullptr;
};

} // namespace tavrik
