#include "TavrikCore/MCP/MCPRegistry.h"

#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Support/Files.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>

namespace tavrik {

namespace {

const QString kFileName = QStringLiteral("mcp_servers.json");
constexpr QFileDevice::Permissions kOwnerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner;

// Tokens and a handful of servers; a bigger file is not this program's.
constexpr qint64 kFileLimit = 1 * Files::MiB;
// One broken entry is worth a line in the log; thousands of them are worth one more.
constexpr qsizetype kReportedEntries = 3;

enum class FileState { missing, unreadable, notAList, list };

struct UserFile {
    FileState state = FileState::missing;
    QJsonArray entries;
    QByteArray bytes;
};

UserFile parseUserFile(const QByteArray& contents, const QString& fileName) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(contents, &error);
    if (error.error != QJsonParseError::NoError || !document.isArray()) {
        qWarning("Tavrik: ignoring %s: %s", qPrintable(fileName),
                 error.error != QJsonParseError::NoError ? qPrintable(error.errorString())
                                                         : "not a JSON array");
        return {FileState::notAList, {}, {}};
    }
    return {FileState::list, document.array(), {}};
}

UserFile readUserFile() {
    const QString path = MCPRegistry::filePath();
    const QFileInfo info(path);
    if (!info.exists() && !info.isSymLink())
        return {};
    Result<QByteArray> bytes = Files::read(path, kFileLimit);
    if (!bytes.ok()) {
        qWarning("Tavrik: %s", qPrintable(bytes.error()));
        return {FileState::unreadable, {}, {}};
    }
    UserFile file = parseUserFile(*bytes, path);
    file.bytes = *bytes;
    return file;
}

// Entries are found by name through an index, so a long file loads in linear time.
QList<MCPServer> mergedWithBuiltIns(const QJsonArray& entries) {
    QList<MCPServer> servers = MCPRegistry::builtIns();
    QHash<QString, qsizetype> positions;
    for (qsizetype i = 0; i < servers.size(); ++i)
        positions.insert(servers[i].name, i);
    qsizetype skipped = 0;
    for (qsizetype i = 0; i < entries.size(); ++i) {
        Result<MCPServer> server = MCPServer::fromJson(entries.at(i));
        if (!server.ok()) {
            if (++skipped <= kReportedEntries)
                qWarning("Tavrik: skipping entry %lld of %s: %s", qlonglong(i),
                         qPrintable(MCPRegistry::filePath()), qPrintable(server.error()));
            continue;
        }
        const auto position = positions.constFind(server->name);
        if (position != positions.cend()) {
            servers[*position] = std::move(*server);
        } else {
            positions.insert(server->name, servers.size());
            servers.append(std::move(*server));
        }
    }
    if (skipped > kReportedEntries)
        qWarning("Tavrik: skipped %lld entries of %s in all", qlonglong(skipped),
                 qPrintable(MCPRegistry::filePath()));
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
        if (Result<> kept = Files::write(path + QStringLiteral(".broken"), file.bytes, kOwnerOnly);
            !kept.ok()) {
            qWarning("Tavrik: %s; not replacing %s", qPrintable(kept.error()), qPrintable(path));
            return false;
        }
    }

    // Replace the first entry of that name and drop any later duplicates, so the file ends with
    // exactly one.
    QJsonArray entries;
    bool placed = false;
    for (const auto& entry : std::as_const(file.entries)) {
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
    // The new file is restricted before any token is written to it.
    if (Result<> written =
            Files::write(path, QJsonDocument(entries).toJson(QJsonDocument::Indented), kOwnerOnly);
        !written.ok()) {
        qWarning("Tavrik: %s", qPrintable(written.error()));
        return false;
    }
    return true;
}

} // namespace tavrik
