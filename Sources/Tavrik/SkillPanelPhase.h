#pragma once

#include <QMetaType>
#include <QString>

namespace tavrik {

// What the skill panel beside the pill shows. No panel is shown while `idle`.
enum class SkillPanelPhase { idle, generating, running, editable, saved, error };

// How the last attempt to create a skill went; the pill's tips look at it.
struct SkillCreationStatus {
    enum class Kind { idle, creating, success, failure };
    Kind kind = Kind::idle;
    QString name; // the skill's name on success

    static SkillCreationStatus idle() { return {}; }
    bool operator==(const SkillCreationStatus&) const = default;
};

} // namespace tavrik

Q_DECLARE_METATYPE(tavrik::SkillPanelPhase)
Q_DECLARE_METATYPE(tavrik::SkillCreationStatus)
