#include "TavrikCore/Palette/PaletteModel.h"

#include "TavrikCore/Storage/FuzzyMatch.h"

namespace tavrik {

void PaletteModel::setSkills(QList<Skill> skills) {
    m_skills = std::move(skills);
    m_entries.clear();
    m_texts.clear();
    m_prepared = false;
    refresh();
}

void PaletteModel::prepareSearch() {
    if (m_prepared)
        return;
    // Every keystroke scans all these texts. Left where the library's parsing put them they lie
    // scattered over the heap, a cache miss each, which makes a search of a large library from
    // disk several times slower than one made in memory; so they are copied into one block.
    QList<Fields> fields;
    fields.reserve(m_skills.size());
    qsizetype total = 0;
    for (const Skill& skill : std::as_const(m_skills)) {
        fields.append(FuzzyMatch::skillFields(skill));
        for (const QString& text : fields.last())
            total += text.size();
    }
    QString block;
    block.reserve(total);
    for (const Fields& texts : std::as_const(fields))
        for (const QString& text : texts)
            block.append(text);
    m_texts = block;
    const QChar* next = m_texts.constData();
    m_entries.reserve(m_skills.size());
    for (qsizetype i = 0; i < fields.size(); ++i) {
        Entry entry{i, {}};
        for (size_t k = 0; k < entry.fields.size(); ++k) {
            const qsizetype size = fields[i][k].size();
            entry.fields[k] = QString::fromRawData(next, size);
            next += size;
        }
        m_entries.append(std::move(entry));
    }
    m_prepared = true;
}

void PaletteModel::setQuery(const QString& query) {
    m_query = query;
    m_selected = 0;
    refresh();
}

void PaletteModel::refresh() {
    m_shown.clear();
    if (m_query.trimmed().isEmpty()) {
        // A blank query keeps the library's order.
        m_shown = m_skills.mid(0, maxSkillRows);
    } else {
        prepareSearch();
        const QList<Entry> ranked = FuzzyMatch::rank(
            m_entries, m_query, [](const Entry& entry) -> const Fields& { return entry.fields; });
        for (qsizetype i = 0; i < ranked.size() && i < maxSkillRows; ++i)
            m_shown.append(m_skills.at(ranked.at(i).index));
    }
    m_selected = qBound(0, m_selected, recordRow());
}

void PaletteModel::move(int step) {
    m_selected = qBound(0, m_selected + step, recordRow());
}

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
