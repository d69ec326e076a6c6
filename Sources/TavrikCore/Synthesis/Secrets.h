#pragma once

#include "TavrikCore/Support/Result.h"

#include <QString>
#include <optional>

// The user's own Messages API key. Looked up afresh on every call, so a key added while the
// program runs is used at the next synthesis.
namespace tavrik::Secrets {

// "anthropic_key.txt" in the support folder.
QString anthropicKeyFilePath();
// ANTHROPIC_API_KEY when it holds more than white space, else the key file's trimmed UTF-8
// text when not empty; nothing means requests go through the product's proxy.
std::optional<QString> anthropicAPIKey();
bool hasAnthropicKey();
// Whether ANTHROPIC_API_KEY holds a key, which then wins over the key file.
bool environmentHasAnthropicKey();
// Writes the key file atomically, readable by the user alone; an empty key removes it.
Result<> saveAnthropicKey(const QString& key);

} // namespace tavrik::Secrets
