#pragma once

#include <QJsonObject>
#include <gtest/gtest.h>

namespace tavrik::test {

// Whether the order form saved what the order skill fills in: the name and password given to
// the replay, and the notes, box and row it recorded.
inline testing::AssertionResult isTheReplayedOrder(const QJsonObject& saved, const QString& name,
                                                   const QString& password) {
    const QJsonObject wanted{{"name", name},
                             {"notes", QStringLiteral("fast")},
                             {"password", password},
                             {"subscribe", true},
                             {"fruit", QStringLiteral("Pears")}};
    for (auto it = wanted.begin(); it != wanted.end(); ++it) {
        if (saved.value(it.key()) != it.value())
            return testing::AssertionFailure()
                   << it.key().toStdString() << " is "
                   << saved.value(it.key()).toVariant().toString().toStdString();
    }
    return testing::AssertionSuccess();
}

} // namespace tavrik::test
