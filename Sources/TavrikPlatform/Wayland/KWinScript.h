#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QTemporaryFile>
#include <memory>
#include <mutex>
#include <optional>

class QThread;

namespace tavrik::wayland {

class KWinScriptService;

// Tavrik's script inside KWin (shipped as a resource), loaded through KWin's scripting interface
// while some part of this process needs it and unloaded after the last one (or at exit). KWin
// tells an ordinary client nothing of other windows or the pointer; a script sees both, and
// reports them to this process's own connection to the session bus.
class KWinScript {
public:
    ~KWinScript();
    KWinScript(const KWinScript&) = delete;
    KWinScript& operator=(const KWinScript&) = delete;

    // Whether KWin answers on the session bus.
    static bool isOffered();
    // The process's script, loaded on first use; null when KWin refused it.
    static std::shared_ptr<KWinScript> shared();

    // A fresh report: {"serial", "cursor": {"x", "y"}, "windows": [...] topmost first}.
    std::optional<QByteArray> report(int timeoutMs);
    // Raises and focuses the window with KWin's id for it.
    void activate(const QString& kwinID);
    // A small number for KWin's window id, the same for as long as the script runs.
    qint64 numberFor(const QString& kwinID);
    QString kwinIDFor(qint64 number);
    QString errorString() const { return m_error; }

private:
    KWinScript() = default;
    bool load();
    void unload();

    QThread* m_thread = nullptr;
    KWinScriptService* m_service = nullptr;
    QTemporaryFile m_file;
    QString m_pluginName;
    QString m_connectionName;
    bool m_loaded = false;
    QString m_error;
    std::mutex m_mutex;
    int m_serial = 0;
    QHash<QString, qint64> m_numbers;
};

} // namespace tavrik::wayland
