// The Qt counterpart of form_app.py: an entry, a password entry and a button, for the
// accessibility tests. Prints one JSON line with its pid and widget rectangles once shown.
#include <QApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
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
    QApplication::setApplicationName("tavrik-qt-form");
    QWidget window;
    window.setWindowTitle("Tavrik Qt Form");
    auto layout = new QVBoxLayout(&window);
    auto entry = new QLineEdit("hello");
    auto password = new QLineEdit("hunter2");
    password->setEchoMode(QLineEdit::Password);
    auto button = new QPushButton("Submit");
    layout->addWidget(entry);
    layout->addWidget(password);
    layout->addWidget(button);
    window.resize(360, 200);
    window.move(700, 200);
    window.show();
    entry->setFocus();
    QTimer::singleShot(300, [&] {
        QJsonObject layoutInfo{{"pid", qint64(QCoreApplication::applicationPid())},
                               {"window", rect(&window)},
                               {"entry", rect(entry)},
                               {"password", rect(password)},
                               {"button", rect(button)}};
        std::printf("%s\n", QJsonDocument(layoutInfo).toJson(QJsonDocument::Compact).constData());
        std::fflush(stdout);
    });
    return app.exec();
}
