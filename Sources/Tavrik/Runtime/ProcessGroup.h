#pragma once

#include <QProcess>

// A child started in a process group of its own can be ended together with everything it
// started (npx starts node, node may start a browser helper), not just the direct child.
namespace tavrik::ProcessGroup {

// Call before start(): the child becomes the leader of a new group whose id is its pid.
void startInOwnGroup(QProcess& process);

// SIGTERM to the whole group now, SIGKILL to whatever is left after `graceMs`. The process
// object is detached from its parent and deletes itself once the child has ended.
void terminate(QProcess& process, int graceMs);

// Processes of the group that are still running (zombies waiting to be reaped do not count).
int livingMembers(qint64 groupId);

} // namespace tavrik::ProcessGroup
