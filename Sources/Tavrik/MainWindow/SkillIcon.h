#pragma once

#include "TavrikCore/Models/Skill.h"

#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QString>

// The small symbol shown beside a skill, chosen afresh each time from the skill's own words.
namespace tavrik::SkillIcon {

// Symbol name (a system-symbol style name such as "envelope") for the skill. The keyword table is
// walked top to bottom and the first row with any keyword anywhere in the lower-cased text wins,
// so the row order is the tie-break.
QString symbol(const Skill& skill);

// The symbol for a lower-cased search text; exposed for callers that already hold the text.
QString symbolForText(const QString& lowerText);

// The freedesktop icon-theme name that stands for a symbol; empty when no standard name fits.
QString themeName(const QString& symbol);

// The symbol drawn from the bundled set in one colour, at `size` device-independent pixels.
// An unknown symbol draws the fallback bolt. Always non-null.
QPixmap bundledPixmap(const QString& symbol, int size, const QColor& color,
                      qreal devicePixelRatio = 1.0);

// The icon for a symbol: the icon theme's when it has one, else the bundled drawing.
QIcon icon(const QString& symbol, const QColor& color = QColor(0x3b, 0x4a, 0x5e));

// Every symbol the table can give, plus the fallback and the palette's record symbol.
QStringList allSymbols();

inline constexpr auto fallbackSymbol = "bolt.fill";
inline constexpr auto recordSymbol = "plus.circle.fill";

} // namespace tavrik::SkillIcon
