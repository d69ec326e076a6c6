#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QTimer>

namespace tavrik {

// Notices skill folders added, edited or removed behind the application's back (by hand, by
// a sync tool) and reports once a burst of changes has settled. Watches the skills folder,
// each skill folder and the files loading reads, through inotify: nothing is polled.
class LibraryWatcher : public QObject {
    Q_OBJECT
public:
    static constexpr int settleMs = 300;

    explicit LibraryWatcher(QObject* parent = nullptr);

    // Watches what is on disk now; called after every reload, as folders come and go.
    void rewatch();
    QStringList watched() const;

signals:
    void libraryChanged();

private:
    QFileSystemWatcher m_watcher;
    QTimer m_settle;
};

} // namespace tavrik
