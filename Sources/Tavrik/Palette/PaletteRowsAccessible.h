#pragma once

#include <QAccessibleWidget>
#include <QHash>

namespace tavrik {

class PaletteRows;

// The palette's painted rows as a screen reader reads them: a list whose items are the rows,
// each named after its skill (or "Record a new skill") with the slash command as description,
// and the selected one marked selected and focused.
class PaletteRowsAccessible : public QAccessibleWidget {
public:
    explicit PaletteRowsAccessible(PaletteRows* rows);
    ~PaletteRowsAccessible() override;

    // Makes Qt use this class for every PaletteRows; once per process is enough.
    static void install();

    int childCount() const override;
    QAccessibleInterface* child(int index) const override;
    int indexOfChild(const QAccessibleInterface* child) const override;
    QAccessibleInterface* childAt(int x, int y) const override;
    QAccessibleInterface* focusChild() const override;

    PaletteRows* rows() const;

private:
    mutable QHash<int, QAccessible::Id> m_children;
};

} // namespace tavrik
