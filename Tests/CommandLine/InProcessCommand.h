#pragma once

#include "Tavrik/CommandLine.h"

#include <QString>
#include <QStringList>
#include <QTextStream>

namespace tavrik::test {

// What `tavrik ARGUMENTS` answered, run in this process.
struct CommandResult {
    int status;
    QString out;
    QString err;
};

inline CommandResult run(const QStringList& arguments) {
    CommandResult result{};
    QTextStream out(&result.out), err(&result.err);
    result.status = runCommand(arguments, out, err);
    out.flush();
    err.flush();
    return result;
}

} // namespace tavrik::test
