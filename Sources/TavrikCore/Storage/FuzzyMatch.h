#pragma once

#include "TavrikCore/Models/Skill.h"

#include <QList>
#include <QString>
#include <array>
#include <optional>

// Subsequence ranking of what the user typed against each item's texts; adjacent runs and a
// match at the very start score higher. Characters are user-perceived characters (grapheme
// clusters), so an accented letter or an emoji counts once however many code points it takes.
namespace tavrik::FuzzyMatch {

// Score of a lower-cased query against one lower-cased text; nothing when it does not match.
std::optional<int> score(const QString& query, const QString& text);

// Matching items, best first; equal scores keep their input order. A blank query keeps all.
// `fields` gives an item's texts (any range of QString), e.g. `skillFields`.
template <typename Item, typename Fields>
QList<Item> rank(const QList<Item>& items, const QString& query, Fields fields);

// The texts a skill is matched on in the palette: slash command, name, trigger.
std::array<QString, 3> skillFields(const Skill& skill);

} // namespace tavrik::FuzzyMatch

#include "TavrikCore/Storage/FuzzyMatchRank.h"
