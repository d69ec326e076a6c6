#pragma once

#include "TavrikCore/Models/Skill.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QWidget>

namespace tavrik::testing {

inline Skill makeSkill(const QString& name, QList<Parameter> parameters = {}) {
    Skill skill;
    skill.name = name;
    skill.trigger = QStringLiteral("when asked to ") + name.toLower();
    skill.parameters = std::move(parameters);
    return skill;
}

inline Parameter makeParameter(const QString& name, const QString& example) {
    Parameter parameter;
    parameter.name = name;
    parameter.exampleValue = example;
    return parameter;
}

// Runs the event loop until `done` holds or `timeoutMs` passes; returns whether it held.
template <typename Predicate> bool processUntil(Predicate done, int timeoutMs = 2000) {
    QElapsedTimer timer;
    timer.start();
    while (!done()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    return true;
}

inline void pressKey(QWidget* target, int key, const QString& text = {}) {
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier, text);
    QCoreApplication::sendEvent(target, &press);
    QKeyEvent release(QEvent::KeyRelease, key, Qt::NoModifier, text);
    QCoreApplication::sendEvent(target, &release);
}

} // namespace tavrik::testing
