// The Qt counterpart of task_app.py for the replay tests, with the same widgets, options and
// JSON lines: the layout once placed and active, then one line per thing that happens.
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QCommandLineParser>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenuBar>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QTimer>
#include <QVBoxLayout>
#include <QWidget>
#include <QWindow>
#include <cstdio>

namespace {

QJsonArray rect(const QWidget* w) {
    const QPoint origin = w->mapToGlobal(QPoint(0, 0));
    return {origin.x(), origin.y(), w->width(), w->height()};
}

void emitLine(const QJsonObject& object) {
    std::printf("%s\n", QJsonDocument(object).toJson(QJsonDocument::Compact).constData());
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setApplicationName("tavrik-qt-task-form");
    QCommandLineParser parser;
    const QCommandLineOption at("at", "Window position x,y.", "x,y", "700,120");
    const QCommandLineOption size("size", "Window size w,h.", "w,h", "420,560");
    const QCommandLineOption fontSize("font-size", "Font size in points.", "pt", "0");
    const QCommandLineOption extraFruit("extra-fruit", "A fruit listed first.", "name", "");
    const QCommandLineOption title("title", "Window title.", "title", "Qt Order Form");
    const QCommandLineOption menu("menu", "A menu bar with a File menu.");
    const QCommandLineOption sizes("sizes", "A combo box of sizes above the form.");
    const QCommandLineOption longView("long-view",
                                      "A read-only \"Log\" of 200 lines that scrolls.");
    parser.addOptions({at, size, fontSize, extraFruit, title, menu, sizes, longView});
    parser.process(app);
    if (const int pt = parser.value(fontSize).toInt(); pt > 0) {
        QFont font = app.font();
        font.setPointSize(pt);
        app.setFont(font);
    }

    QWidget window;
    window.setWindowTitle(parser.value(title));
    auto* layout = new QVBoxLayout(&window);
    if (parser.isSet(menu)) {
        // Qt opens a menu bar's menus in windows of their own that its accessibility tree does
        // not list among the application's windows.
        auto* bar = new QMenuBar;
        QMenu* file = bar->addMenu("File");
        for (const char* item : {"New", "Open…", "Save As…", "Print…"})
            QObject::connect(file->addAction(item), &QAction::triggered, [item] {
                emitLine({{"event", "menu"}, {"item", QString(item)}});
            });
        layout->setMenuBar(bar);
    }
    if (parser.isSet(sizes)) {
        auto* box = new QComboBox;
        box->addItems({"Small", "Medium", "Large"});
        box->setCurrentIndex(1);
        QObject::connect(box, &QComboBox::currentTextChanged, [](const QString& text) {
            emitLine({{"event", "size"}, {"size", text}});
        });
        layout->addWidget(box);
    }
    auto* name = new QLineEdit;
    name->setAccessibleName("Name");
    auto* notes = new QLineEdit;
    auto* password = new QLineEdit;
    password->setEchoMode(QLineEdit::Password);
    password->setAccessibleName("Password");
    // How much was typed, never what: tests wait for it where accessibility hides the text.
    QObject::connect(password, &QLineEdit::textChanged, [](const QString& text) {
        emitLine({{"event", "password"}, {"length", text.size()}});
    });
    auto* subscribe = new QCheckBox("Subscribe");
    auto* fruits = new QListWidget;
    if (!parser.value(extraFruit).isEmpty())
        fruits->addItem(parser.value(extraFruit));
    fruits->addItems({"Apples", "Pears", "Plums"});
    auto* choose = new QPushButton("Choose Colour…");
    auto* save = new QPushButton("Save");
    auto* remove = new QPushButton("Delete All");
    layout->addWidget(new QLabel("Your order"));
    for (QWidget* w : {static_cast<QWidget*>(name), static_cast<QWidget*>(notes),
                       static_cast<QWidget*>(password), static_cast<QWidget*>(subscribe),
                       static_cast<QWidget*>(fruits), static_cast<QWidget*>(choose),
                       static_cast<QWidget*>(save), static_cast<QWidget*>(remove)})
        layout->addWidget(w);
    if (parser.isSet(longView)) {
        auto* log = new QPlainTextEdit;
        log->setReadOnly(true);
        log->setAccessibleName("Log");
        QStringList lines;
        for (int i = 1; i <= 200; ++i)
            lines << QStringLiteral("Line %1").arg(i);
        log->setPlainText(lines.join(u'\n'));
        log->setMinimumHeight(160);
        QScrollBar* bar = log->verticalScrollBar();
        QObject::connect(bar, &QScrollBar::valueChanged, [bar](int value) {
            emitLine({{"event", "scrolled"}, {"value", value}, {"page", bar->pageStep()}});
        });
        layout->addWidget(log);
    }

    QString colour = "none";
    QObject::connect(choose, &QPushButton::clicked, [&] {
        QMessageBox box(&window);
        box.setWindowTitle("Pick a Colour");
        box.setText("Pick a colour");
        QPushButton* red = box.addButton("Red", QMessageBox::AcceptRole);
        box.addButton("Blue", QMessageBox::AcceptRole);
        box.exec();
        colour = box.clickedButton() == red ? "red" : "blue";
    });
    QObject::connect(save, &QPushButton::clicked, [&] {
        emitLine(
            {{"event", "saved"},
             {"name", name->text()},
             {"notes", notes->text()},
             {"password", password->text()},
             {"subscribe", subscribe->isChecked()},
             {"fruit", fruits->selectedItems().isEmpty() ? QString()
                                                         : fruits->selectedItems().first()->text()},
             {"colour", colour}});
    });
    QObject::connect(remove, &QPushButton::clicked, [] { emitLine({{"event", "deleted"}}); });

    const QStringList position = parser.value(at).split(',');
    const QStringList dimensions = parser.value(size).split(',');
    window.resize(dimensions.value(0).toInt(), dimensions.value(1).toInt());
    window.move(position.value(0).toInt(), position.value(1).toInt());
    window.show();
    name->setFocus();
    // Reported once an X window manager has placed the window and handed it the focus: until
    // then Qt puts the window where it asked to be, without the frame the manager adds above it,
    // and a test would click a field too high. Nor before the first layout had time: sway hands
    // the focus before it tiles the window, and weston may never hand it.
    bool reported = false;
    bool laidOut = false;
    const bool placedByManager = QGuiApplication::platformName() == QLatin1String("xcb");
    const auto report = [&] {
        if (reported || !laidOut || (placedByManager && !window.isActiveWindow()))
            return;
        reported = true;
        emitLine({{"pid", qint64(QCoreApplication::applicationPid())},
                  {"window", rect(&window)},
                  {"name", rect(name)},
                  {"notes", rect(notes)},
                  {"password", rect(password)},
                  {"subscribe", rect(subscribe)},
                  {"fruits", rect(fruits)},
                  {"pears",
                   [&] {
                       const QRect r = fruits->visualItemRect(
                           fruits->findItems("Pears", Qt::MatchExactly).first());
                       const QPoint origin = fruits->viewport()->mapToGlobal(r.topLeft());
                       return QJsonArray{origin.x(), origin.y(), r.width(), r.height()};
                   }()},
                  {"choose", rect(choose)},
                  {"save", rect(save)},
                  {"delete", rect(remove)}});
    };
    QObject::connect(window.windowHandle(), &QWindow::activeChanged, &window, report);
    QTimer::singleShot(300, &window, [&] {
        laidOut = true;
        report();
    });
    return app.exec();
}
