#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QtGlobal>

// Where the program's log lines go: every qDebug/qInfo/qWarning/qCritical line is sent to the
// system log as "tavrik" (so `journalctl -t tavrik` shows it) and, when the program was started
// from a terminal, also written to stderr. Each line begins "Tavrik: ".
namespace tavrik::SystemLog {

inline constexpr const char* identifier = "tavrik";
inline constexpr const char* prefix = "Tavrik: ";
// Names another syslog socket than /dev/log (tests listen on their own).
inline constexpr const char* socketVariable = "TAVRIK_SYSLOG_SOCKET";

// Installs the handler for the whole process: the socket is TAVRIK_SYSLOG_SOCKET or /dev/log,
// stderr only when it is a terminal (otherwise a launcher's journal would get every line twice).
void install();
void install(const QString& socketPath, bool alsoToStderr);

// The logged lines of one message: one per line of text, each with the prefix (not doubled).
QStringList lines(const QString& message);
// One syslog datagram as the C library writes it: "<PRI>Mmm dd hh:mm:ss tavrik[PID]: LINE".
QByteArray datagram(QtMsgType type, const QString& line);

} // namespace tavrik::SystemLog
