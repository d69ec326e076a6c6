#include "TavrikCore/MCP/MCPRegistry.h"

#include "TavrikCore/Storage/Paths.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>

namespace tavrik {

namespace {

const QString kFileName = QStringLiteral("mcp_servers.json");
constexpr QFileDevice::Permissions kOwnerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner;

enum class FileState { missing, unreadable, notAList, list };

struct UserFile {
    FileState state = FileState::missing;
    QJsonArray entries;
};

UserFile parseUserFile(const QByteArray& contents, const QString& fileName) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(contents, &error);
    if (error.error != QJsonParseError::NoError || !document.isArray()) {
        qWarning("Tavrik: ignoring %s: %s", qPrintable(fileName),
                 error.error != QJsonParseError::NoError ? qPrintable(error.errorString())
                                                         : "not a JSON array");
        return {FileState::notAList, {}};
    }
    return {FileState::list, document.array()};
}

UserFile readUserFile() {
    QFile file(MCPRegistry::filePath());
    if (!file.exists())
        return {};
    if (!file.open(QIODevice::ReadOnly)) {
        qWarning("Tavrik: cannot read %s: %s", qPrintable(file.fileName()),
                 qPrintable(file.errorString()));
        return {FileState::unreadable, {}};
    }
    return parseUserFile(file.readAll(), file.fileName());
}

QList<MCPServer> mergedWithBuiltIns(const QJsonArray& entries) {
    QList<MCPServer> servers = MCPRegistry::builtIns();
    for (qsizetype i = 0; i < entries.size(); ++i) {
        QString error;
        std::optional<MCPServer> server = MCPServer::fromJson(entries.at(i), &error);
        if (!server) {
            qWarning("Tavrik: skipping entry %lld of %s: %s", qlonglong(i),
                     qPrintable(MCPRegistry::filePath()), qPrintable(error));
            continue;
        }
        auto same = std::find_if(servers.begin(), servers.end(),
                                 [&](const MCPServer& s) { return s.name == server->name; });
        if (same != servers.end())
            *same = std::move(*server);
        else
            servers.append(std::move(*server));
    }
    return servers;
}

bool sameName(const QJsonValue& entry, const QString& name) {
    return entry.isObject() && entry.toObject().value(QStringLiteral("name")) == name;
}

} // namespace

QList<MCPServer> MCPRegistry::builtIns() {
    return {
        {QStringLiteral("linear"),
         QStringLiteral("https://mcp.linear.app/mcp"),
         {QStringLiteral("com.linear"), QStringLiteral("com.linear.linear")},
         std::nullopt},
        {QStringLiteral("notion"),
         QStringLiteral("https://mcp.notion.com/mcp"),
         {QStringLiteral("notion.id")},
         std::nullopt},
    };
}

QString MCPRegistry::filePath() {
    return Paths::support() + u'/' + kFileName;
}

MCPRegistry::MCPRegistry() : m_servers(mergedWithBuiltIns(readUserFile().entries)) {}

QList<MCPServer> MCPRegistry::fromFileContents(const QByteArray& contents) {
    return mergedWithBuiltIns(parseUserFile(contents, filePath()).entries);
}

QList<MCPServer> MCPRegistry::knownServers(const QList<QString>& bundleIDs) const {
    QList<MCPServer> result;
    for (const MCPServer& server : m_servers) {
        const bool matches =
            std::any_of(bundleIDs.begin(), bundleIDs.end(),
                        [&](const QString& id) { return server.bundleIDs.contains(id); });
        if (matches)
            result.append(server);
    }
    return result;
}

QList<MCPServer> MCPRegistry::connectedServers(const QList<QString>& bundleIDs) const {
    QList<MCPServer> result = knownServers(bundleIDs);
    result.removeIf([](const MCPServer& server) { return !server.isConfigured(); });
    return result;
}

std::optional<MCPServer> MCPRegistry::server(const QList<QString>& bundleIDs) const {
    const QList<MCPServer> connected = connectedServers(bundleIDs);
    if (connected.isEmpty())
        return std::nullopt;
    return connected.first();
}

bool MCPRegistry::persist(const MCPServer& server) {
    auto same = std::find_if(m_servers.begin(), m_servers.end(),
                             [&](const MCPServer& s) { return s.name == server.name; });
    if (same != m_servers.end())
        *same = server;
    else
        m_servers.append(server);

    const QString path = filePath();
    UserFile file = readUserFile();
    if (file.state == FileState::unreadable)
        return false; // writing now would lose whatever the file holds
    if (file.state == FileState::notAList) {
        // Keep what the user wrote where they can find it instead of overwriting it.
        const QString aside = path + QStringLiteral(".broken");
        QFile::remove(aside);
        if (!QFile::copy(path, aside)) {
            qWarning("Tavrik: cannot set %s aside, not replacing it", qPrintable(path));
            return false;
        }
        QFile::setPermissions(aside, kOwnerOnly);
    }

    // Replace the first entry of that name and drop any later duplicates, so the file ends with
    // exactly one.
    QJsonArray entries;
    bool placed = false;
    for (const QJsonValue& entry : std::as_const(file.entries)) {
        if (!sameName(entry, server.name)) {
            entries.append(entry);
        } else if (!placed) {
            entries.append(server.toJson());
            placed = true;
        }
    }
    if (!placed)
        entries.append(server.toJson());

    if (!QDir().mkpath(Paths::support())) {
        qWarning("Tavrik: cannot create %s", qPrintable(Paths::support()));
        return false;
    }
    QSaveFile out(path);
    // The temporary file is restricted before any token is written to it.
    const bool ok = out.open(QIODevice::WriteOnly) && out.setPermissions(kOwnerOnly) &&
                    out.write(QJsonDocument(entries).toJson(QJsonDocument::Indented)) >= 0 &&
                    out.commit();
    if (!ok) {
        qWarning("Tavrik: cannot write %s: %s", qPrintable(path), qPrintable(out.errorString()));
        out.cancelWriting();
    }
    return ok;
}

} // namespace tavrik
