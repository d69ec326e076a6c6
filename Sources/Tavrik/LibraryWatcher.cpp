#include "Tavrik/LibraryWatcher.h"

#include "TavrikCore/Storage/Paths.h"

#include <QDir>

namespace tavrik {

LibraryWatcher::LibraryWatcher(QObject* parent) : QObject(parent) {
    m_settle.setSingleShot(true);
    m_settle.setInterval(settleMs);
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, &m_settle,
            qOverload<>(&QTimer::start));
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, &m_settle, qOverload<>(&QTimer::start));
    connect(&m_settle, &QTimer::timeout, this, [this] {
        rewatch();
        emit libraryChanged();
    });
    rewatch();
}

QStringList LibraryWatcher::watched() const {
    return m_watcher.directories() + m_watcher.files();
}

void LibraryWatcher::rewatch() {
    const QDir root(Paths::skills());
    QStringList wanted;
    if (root.exists())
        wanted << root.absolutePath();
    for (const QString& name : root.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QDir folder(root.filePath(name));
        wanted << folder.absolutePath();
        // An edit in place changes no folder; the files loading reads are watched themselves.
        for (const QString& file :
             folder.entryList({QStringLiteral("*.md"), QStringLiteral("*.json")}, QDir::Files))
            wanted << folder.filePath(file);
    }
    // Files are watched afresh each time: one replaced by a rename is a new file.
    if (!m_watcher.files().isEmpty())
        m_watcher.removePaths(m_watcher.files());
    const QStringList folders = m_watcher.directories();
    QStringList gone;
    for (const QString& path : folders)
        if (!wanted.contains(path))
            gone << path;
    if (!gone.isEmpty())
        m_watcher.removePaths(gone);
    QStringList added;
    for (const QString& path : wanted)
        if (!folders.contains(path))
            added << path;
    if (!added.isEmpty())
        m_watcher.addPaths(added);
}

} // namespace tavrik
