#include "Tavrik/Shell/WindowStyle.h"
#include "ViewsTestSupport.h"

#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>
#include <gtest/gtest.h>

using namespace tavrik;
using namespace tavrik::testing;

// Outside a dialog a button ignores Return; an ordinary window presses the one that has the
// keyboard, and only that one, and leaves Return in a text field to the field.
TEST(WindowStyle, ReturnPressesTheFocusedButtonOnly) {
    QWidget window;
    WindowStyle::apply(&window);
    auto* field = new QLineEdit;
    auto* cancel = new QPushButton(QStringLiteral("Cancel"));
    auto* save = new QPushButton(QStringLiteral("Save"));
    auto* layout = new QVBoxLayout(&window);
    layout->addWidget(field);
    layout->addWidget(cancel);
    layout->addWidget(save);
    int cancels = 0;
    int saves = 0;
    QObject::connect(cancel, &QPushButton::clicked, [&] { ++cancels; });
    QObject::connect(save, &QPushButton::clicked, [&] { ++saves; });
    window.show();

    save->setFocus();
    pressKey(save, Qt::Key_Return);
    EXPECT_EQ(saves, 1);
    EXPECT_EQ(cancels, 0);

    field->setFocus();
    pressKey(field, Qt::Key_Return);
    EXPECT_EQ(saves + cancels, 1);
}
