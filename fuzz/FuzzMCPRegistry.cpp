#include "FuzzCheck.h"
#include "TavrikCore/MCP/MCPRegistry.h"

// mcp_servers.json is the user's to edit by hand. Whatever it holds, the registry loads and its
// servers can be looked up and handed to the model request.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    const QList<tavrik::MCPServer> servers = tavrik::MCPRegistry::fromFileContents(bytes);
    FUZZ_CHECK(servers.size() >= tavrik::MCPRegistry::builtIns().size());
    for (const tavrik::MCPServer& server : servers) {
        (void)server.isConfigured();
        (void)server.connectorJSON();
        const tavrik::Result<tavrik::MCPServer> again =
            tavrik::MCPServer::fromJson(server.toJson());
        FUZZ_CHECK(again.ok() && *again == server);
    }
    return 0;
}
