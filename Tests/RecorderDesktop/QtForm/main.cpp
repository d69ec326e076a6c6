// A small Qt Widgets form for the recording test: an entry, a password entry, a button and a
// list long enough to scroll. Prints one JSON line with its pid and the screen rectangles of its
// widgets once shown.
#include <QApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>
#include <QWidget>
#include <cstdio>

namespace {

QJsonArray rect(const QWidget* w) {
    const QPoint origin = w->mapToGlobal(QPoint(0, 0));
    return {origin.x(), origin.y(), w->width(), w->height()};
}

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setApplicationName("tavrik-recorder-form");
    QWidget window;
    window.setWindowTitle("Recorder Qt Form");
    auto layout = new QVBoxLayout(&window);
    auto entry = new QLineEdit("hello");
    auto password = new QLineEdit("hunter2");
    password->setEchoMode(QLineEdit::Password);
    auto button = new QPushButton("Submit");
    auto list = new QListWidget;
    for (int i = 1; i <= 100; ++i)
        list->addItem(QStringLiteral("Row %1").arg(i));
    layout->addWidget(entry);
    layout->addWidget(password);
    layout->addWidget(button);
    layout->addWidget(list);
    window.resize(360, 320);
    window.move(700, 200);
    window.show();
    entry->setFocus();
    QTimer::singleShot(300, [&] {
        const QJsonObject layoutInfo{{"pid", qint64(QCoreApplication::applicationPid())},
                                     {"window", rect(&window)},
                                     {"entry", rect(entry)},
                                     {"password", rect(password)},
                                     {"button", rect(button)},
                                     {"list", rect(list)}};
        std::printf("%s\n", QJsonDocument(layoutInfo).toJson(QJsonDocument::Compact).constData());
        std::fflush(stdout);
    });
    return app.exec();
}
