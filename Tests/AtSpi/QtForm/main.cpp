// The Qt counterpart of form_app.py for the desktop tests: an entry, a password entry, a button
// and, when asked, a list long enough to scroll (and to make the accessibility tree big). Prints
// one JSON line with its pid and the screen rectangles of its widgets once the window manager has
// placed it and made it active, then "clicked" when the button is pressed and "activated" when
// Return is pressed in the entry.
// Usage: QtForm [--title TITLE] [--rows N]
#include <QApplication>
#include <QCommandLineParser>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
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

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setApplicationName("tavrik-qt-form");
    QCommandLineParser parser;
    const QCommandLineOption titleOption("title", "Window title.", "title", "Tavrik Qt Form");
    const QCommandLineOption rowsOption("rows", "Rows of a list under the button.", "count", "0");
    parser.addOptions({titleOption, rowsOption});
    parser.process(app);
    bool numeric = false;
    const int rows = parser.value(rowsOption).toInt(&numeric);
    if (!numeric || rows < 0) {
        std::fprintf(stderr, "--rows takes a count, not \"%s\"\n",
                     qPrintable(parser.value(rowsOption)));
        return 2;
    }

    QWidget window;
    window.setWindowTitle(parser.value(titleOption));
    auto layout = new QVBoxLayout(&window);
    auto entry = new QLineEdit("hello");
    auto password = new QLineEdit("hunter2");
    password->setEchoMode(QLineEdit::Password);
    auto button = new QPushButton("Submit");
    button->setAccessibleDescription("Sends the form");
    const auto say = [](const char* what) {
        std::printf("%s\n", what);
        std::fflush(stdout);
    };
    QObject::connect(button, &QPushButton::clicked, [&] { say("clicked"); });
    QObject::connect(entry, &QLineEdit::returnPressed, [&] { say("activated"); });
    layout->addWidget(entry);
    layout->addWidget(password);
    layout->addWidget(button);
    QListWidget* list = nullptr;
    if (rows > 0) {
        list = new QListWidget;
        for (int i = 1; i <= rows; ++i)
            list->addItem(QStringLiteral("Row %1").arg(i));
        layout->addWidget(list);
    }
    window.resize(360, list ? 320 : 200);
    window.move(700, 200);
    window.show();
    entry->setFocus();
    // Reported once an X window manager has placed the window and made it active (until then Qt
    // leaves out the frame the manager adds), and not before its first layout had time: sway
    // hands the focus before it tiles the window, and weston may never hand it.
    bool reported = false;
    bool laidOut = false;
    const bool placedByManager = QGuiApplication::platformName() == QLatin1String("xcb");
    const auto report = [&] {
        if (reported || !laidOut || (placedByManager && !window.isActiveWindow()))
            return;
        reported = true;
        QJsonObject layoutInfo{{"pid", qint64(QCoreApplication::applicationPid())},
                               {"window", rect(&window)},
                               {"entry", rect(entry)},
                               {"password", rect(password)},
                               {"button", rect(button)}};
        if (list)
            layoutInfo.insert("list", rect(list));
        std::printf("%s\n", QJsonDocument(layoutInfo).toJson(QJsonDocument::Compact).constData());
        std::fflush(stdout);
    };
    QObject::connect(window.windowHandle(), &QWindow::activeChanged, &window, report);
    QTimer::singleShot(300, &window, [&] {
        laidOut = true;
        report();
    });
    return app.exec();
}
