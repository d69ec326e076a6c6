#pragma once

#include <QColor>
#include <QFont>
#include <QRegion>
#include <QSize>

class QWidget;

// Colours and metrics shared by the floating windows, so the palette and the pill read as one
// product. The look is designed to hold up opaque: without a compositor nothing is translucent.
namespace tavrik::Theme {

inline const QColor window{0xfb, 0xfb, 0xfd};
inline const QColor border{0xd6, 0xda, 0xe2};
inline const QColor divider{0xe7, 0xe9, 0xef};
inline const QColor text{0x1d, 0x23, 0x2e};
inline const QColor secondaryText{0x6b, 0x73, 0x85};
inline const QColor tertiaryText{0x9a, 0xa1, 0xb0};
inline const QColor accent{0x3b, 0x66, 0xd8};
inline const QColor accentSoft{0xe6, 0xed, 0xfc};
inline const QColor chip{0xee, 0xf0, 0xf5};
inline const QColor chipSymbol{0x46, 0x53, 0x6b};
inline const QColor selection{0xe4, 0xeb, 0xfb};
inline const QColor hover{0xf1, 0xf3, 0xf8};
inline const QColor danger{0xc9, 0x3c, 0x3c};
inline const QColor dangerSoft{0xfb, 0xea, 0xea};
inline const QColor success{0x2f, 0x8f, 0x5b};
inline const QColor successSoft{0xe5, 0xf4, 0xec};
inline const QColor recording{0xe0, 0x45, 0x45};
inline const QColor dark{0x24, 0x29, 0x33};

inline constexpr int cornerRadius = 14;
inline constexpr int spacing = 12;

// The default font at `pointSize`, optionally heavier.
QFont font(qreal pointSize, QFont::Weight weight = QFont::Normal);
QFont monospaceFont(qreal pointSize);

// A rounded-rectangle shape for a top-level window, so corners show the desktop beneath even
// where the window cannot be translucent.
QRegion roundedShape(QSize size, int radius = cornerRadius);

// Gives a frameless top-level window its rounded shape now and whenever it is resized.
void keepRounded(QWidget* window, int radius = cornerRadius);

} // namespace tavrik::Theme
