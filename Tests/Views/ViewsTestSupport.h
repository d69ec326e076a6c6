#pragma once

#include "Support/WaitUntil.h"
#include "TavrikCore/Models/Skill.h"

#include <QCoreApplication>
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

using test::waitUntil;

inline void pressKey(QWidget* target, int key, const QString& text = {}) {
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier, text);
    QCoreApplication::sendEvent(target, &press);
    QKeyEvent release(QEvent::KeyRelease, key, Qt::NoModifier, text);
    QCoreApplication::sendEvent(target, &release);
}

} // namespace tavrik::testing
