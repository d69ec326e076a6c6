#pragma once

#include "TavrikCore/MCP/MCPServer.h"

namespace tavrik {

// The known tool servers: the built-ins, merged with the user's "mcp_servers.json" in the
// support folder (a JSON array of servers; an entry replaces the built-in of the same name).
// The file holds access tokens, so it is kept readable by the user only. Nothing here ever
// fails loudly: a missing or broken file leaves the built-ins.
class MCPRegistry {
public:
    // Loads the registry from the user file now.
    MCPRegistry();

    static QList<MCPServer> builtIns();
    static QString filePath();
    // The servers a user file with these contents gives, read as the constructor reads the file.
    static QList<MCPServer> fromFileContents(const QByteArray& contents);

    const QList<MCPServer>& servers() const { return m_servers; }

    // Servers whose bundle identifiers share at least one exact identifier with `bundleIDs`, in
    // registry order.
    QList<MCPServer> knownServers(const QList<QString>& bundleIDs) const;
    // Those of knownServers that have a token.
    QList<MCPServer> connectedServers(const QList<QString>& bundleIDs) const;
    std::optional<MCPServer> server(const QList<QString>& bundleIDs) const;

    // Stores `server` in the user file, replacing the entry of the same name or appending it,
    // and updates this registry. Entries of the file that this version cannot read are kept as
    // they are; a file that is not a JSON array at all is set aside as "mcp_servers.json.broken"
    // before being replaced. Returns false when the file could not be written (also logged).
    bool persist(const MCPServer& server);

private:
    QList<MCPServer> m_servers;
};

} // namespace tavrik
