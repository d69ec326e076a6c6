#pragma once

#include "TavrikCore/Models/Skill.h"
#include "TavrikCore/Support/Result.h"

#include <QStringList>

namespace tavrik {

// Steps that a replay carried out with the model's help, offered as a change to the skill for the
// user to review. It waits outside the skill, as "repairs/<skill id>.json" in the support folder,
// so nothing about the skill changes until the user accepts it.
struct RepairProposal {
    struct Change {
        qsizetype step = 0;
        QUuid stepID;
        QString intent;
        AXTarget before;
        AXTarget after;
        bool operator==(const Change&) const = default;
    };

    QUuid skillID;
    QString skillName;
    QList<Change> changes;

    bool operator==(const RepairProposal&) const = default;

    static QString path(const QUuid& skillID);
    // Replaces any earlier proposal for the same skill.
    Result<> save() const;
    // Nothing when there is none (or it cannot be read).
    static std::optional<RepairProposal> load(const QUuid& skillID);

    // One line per change: the step, then its element before and after.
    QStringList describe() const;

    // Rewrites the skill's plan with the new elements through the skill store, then drops the
    // proposal. Refused (and the skill left alone) when the skill's steps changed since.
    Result<> accept() const;
    // Drops the proposal; the skill is not touched.
    static Result<> reject(const QUuid& skillID);
};

} // namespace tavrik
