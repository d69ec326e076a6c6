#pragma once

#include <QByteArray>
#include <QMap>
#include <optional>

// The values of secure steps as they pass from the program that asked for them to the replay
// process: one JSON object line on its standard input, keyed by step position. Never on a command
// line (other users can read those) and never in a file.
namespace tavrik::ReplaySecrets {

QByteArray encode(const QMap<qsizetype, QString>& secrets);
// Nothing when the line is not such an object.
std::optional<QMap<qsizetype, QString>> decode(const QByteArray& line);

} // namespace tavrik::ReplaySecrets
