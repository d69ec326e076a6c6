#pragma once

#include <QString>

namespace tavrik {

// The application-wide mode that menus, palette, overlay and hotkeys consult.
class TavrikState {
public:
    enum class Kind { idle, recording, synthesizing, creatingSkill, casting };

    TavrikState() = default;
    static TavrikState idle() { return TavrikState(Kind::idle); }
    static TavrikState recording() { return TavrikState(Kind::recording); }
    static TavrikState synthesizing() { return TavrikState(Kind::synthesizing); }
    static TavrikState creatingSkill() { return TavrikState(Kind::creatingSkill); }
    static TavrikState casting(const QString& skillName) {
        return TavrikState(Kind::casting, skillName);
    }

    Kind kind() const { return m_kind; }
    // The skill's name while casting, empty otherwise.
    const QString& castingSkill() const { return m_skill; }

    // The recording frame is drawn only while recording, deliberately not while casting.
    bool showsOverlay() const { return m_kind == Kind::recording; }
    bool isCasting() const { return m_kind == Kind::casting; }

    bool operator==(const TavrikState&) const = default;

private:
    explicit TavrikState(Kind kind, QString skill = {}) : m_kind(kind), m_skill(std::move(skill)) {}

    Kind m_kind = Kind::idle;
    QString m_skill;
};

} // namespace tavrik
