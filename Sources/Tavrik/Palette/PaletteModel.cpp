#include "Tavrik/Palette/PaletteModel.h"

#include "TavrikCore/Storage/FuzzyMatch.h"

namespace tavrik {

void PaletteModel::setSkills(QList<Skill> skills) {
    m_skills = std::move(skills);
    refresh();
}

void PaletteModel::setQuery(const QString& query) {
    m_query = query;
    m_selected = 0;
    refresh();
}

void PaletteModel::refresh() {
    QList<Skill> ranked = FuzzyMatch::rank(m_skills, m_query, FuzzyMatch::skillFields);
    if (ranked.size() > maxSkillRows)
        ranked.resize(maxSkillRows);
    m_shown = std::move(ranked);
    m_selected = qBound(0, m_selected, recordRow());
}

void PaletteModel::move(int step) { m_selected = qBound(0, m_selected + step, recordRow()); }

PaletteModel::Choice PaletteModel::choose(int row) const {
    Choice choice;
    if (row < 0 || row >= recordRow())
        return choice;
    choice.kind = Choice::Kind::cast;
    choice.skill = m_shown.at(row);
    choice.parameters = exampleParameters(choice.skill);
    return choice;
}

QMap<QString, QString> PaletteModel::exampleParameters(const Skill& skill) {
    QMap<QString, QString> values;
    for (const Parameter& parameter : skill.parameters)
        values.insert(parameter.name, parameter.exampleValue);
    return values;
}

PaletteModel::RecordAction PaletteModel::recordAction(const TavrikState& state) {
    switch (state.kind()) {
    case TavrikState::Kind::idle:
        return RecordAction::start;
    case TavrikState::Kind::recording:
        return RecordAction::stop;
    case TavrikState::Kind::creatingSkill:
        return RecordAction::replaceDraft;
    case TavrikState::Kind::synthesizing:
    case TavrikState::Kind::casting:
        return RecordAction::none;
    }
    return RecordAction::none;
}

} // namespace tavrik
