#pragma once

#include "TavrikCore/Models/Skill.h"
#include "TavrikCore/Models/TavrikState.h"
#include "TavrikCore/Storage/FuzzyMatch.h"

#include <QList>
#include <QMap>
#include <QString>
#include <utility>

namespace tavrik {

// What the palette shows and what choosing a row means, without any widget: the ranked skills
// (at most eight rows), the record row after them, and the selected row.
class PaletteModel {
public:
    static constexpr int maxSkillRows = 8;

    // What choosing a row asks of the application.
    struct Choice {
        enum class Kind { cast, record };
        Kind kind = Kind::record;
        Skill skill;
        QMap<QString, QString> parameters;
    };

    // What the record row does in each program mode.
    enum class RecordAction { start, stop, replaceDraft, none };

    void setSkills(QList<Skill> skills);
    // Works out what a query is matched against; done by the first query if not before. The
    // panel calls it just after its first paint, so opening stays quick with a large library.
    void prepareSearch();
    // A new query re-ranks and selects the first row again.
    void setQuery(const QString& query);
    const QString& query() const { return m_query; }

    // The skills on screen, best first.
    const QList<Skill>& shownSkills() const { return m_shown; }
    // Rows on screen including the record row.
    int rowCount() const { return int(m_shown.size()) + 1; }
    int recordRow() const { return int(m_shown.size()); }

    int selectedIndex() const { return m_selected; }
    // Moves the selection, clamped to the first row and the record row.
    void move(int step);

    // Return: the selected row. A click: the clicked row (index past the skills = record row).
    Choice activate() const { return choose(m_selected); }
    Choice choose(int row) const;

    // Each parameter's example value under its name; a later parameter of the same name wins.
    static QMap<QString, QString> exampleParameters(const Skill& skill);
    static RecordAction recordAction(const TavrikState& state);

private:
    void refresh();

    // A skill's matched texts, worked out once per library rather than on every keystroke.
    using Fields = decltype(FuzzyMatch::skillFields(std::declval<const Skill&>()));
    struct Entry {
        qsizetype index = 0;
        Fields fields;
    };

    QList<Skill> m_skills;
    QString m_texts; // the texts of all entries, which point into it
    QList<Entry> m_entries;
    bool m_prepared = false;
    QList<Skill> m_shown;
    QString m_query;
    int m_selected = 0;
};

} // namespace tavrik
