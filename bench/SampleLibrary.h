#pragma once

#include "TavrikCore/Models/Skill.h"

#include <QDateTime>
#include <QStringList>

namespace tavrik::bench {

// A library that looks like a real one: verb + object + place names, triggers in plain words,
// and a sprinkling of accented and emoji names that take the general path.
inline QList<Skill> sampleLibrary(int count) {
    const QStringList verbs{"Search", "Open",  "File", "Send",  "Archive",   "Rename",   "Download",
                            "Export", "Share", "Book", "Order", "Translate", "Summarise"};
    const QStringList objects{
        "expense report",  "weekly notes", "invoice",           "flight",  "photos",
        "meeting minutes", "pull request", "calendar invite",   "receipt", "playlist",
        "Café order",      "résumé",       "🚀 launch checklist"};
    const QStringList places{"Google", "Firefox", "Files", "Thunderbird", "GitLab",  "Drive",
                             "Calc",   "Writer",  "Slack", "Matrix",      "the wiki"};
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QList<Skill> skills;
    skills.reserve(count);
    for (int i = 0; i < count; ++i) {
        Skill skill;
        const QString verb = verbs[i % verbs.size()];
        const QString object = objects[(i / 7) % objects.size()];
        const QString place = places[(i / 3) % places.size()];
        skill.name = QStringLiteral("%1 %2 in %3 %4").arg(verb, object, place).arg(i);
        skill.trigger =
            QStringLiteral("%1 the %2 for {{name}} using %3").arg(verb.toLower(), object, place);
        skill.summary = QStringLiteral("Opens %1 and works through the %2.").arg(place, object);
        skill.createdAt = now.addSecs(-i * 60);
        PlanStep step;
        step.intent = QStringLiteral("Open %1").arg(place);
        skill.plan << step;
        skills.append(skill);
    }
    return skills;
}

} // namespace tavrik::bench
