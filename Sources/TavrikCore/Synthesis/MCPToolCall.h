#pragma once

#include <QList>
#include <QString>

namespace tavrik {

// One remote tool invocation the model made during an MCP run.
struct MCPToolCall {
    QString server;
    QString tool;
    bool operator==(const MCPToolCall&) const = default;
};

struct MCPRunResult {
    QString text; // every answer text of every turn, concatenated
    QList<MCPToolCall> toolCalls;
    bool operator==(const MCPRunResult&) const = default;
};

} // namespace tavrik
