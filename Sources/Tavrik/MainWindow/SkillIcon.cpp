#include "Tavrik/MainWindow/SkillIcon.h"

#include <QFile>
#include <QHash>
#include <QPainter>
#include <QSvgRenderer>
#include <array>
#include <initializer_list>

namespace tavrik::SkillIcon {

namespace {

struct Row {
    std::initializer_list<const char*> keywords;
    const char* symbol;
};

// Order matters: earlier rows win ("send the report" is a document, not a message sent).
const std::array<Row, 24> table = {{
    {{"email", "gmail", "mail", "outlook", "inbox"}, "envelope"},
    {{"slack", "message", "chat", "imessage", "whatsapp", "telegram"}, "message"},
    {{"calendar", "meeting", "event", "schedule", "invite", "remind"}, "calendar"},
    {{"invoice", "payment", "billing", "stripe", "refund", "checkout"}, "creditcard"},
    {{"spreadsheet", "sheet", "excel", "numbers", "csv"}, "tablecells"},
    {{"report", "document", "write", "note", "draft", "essay", "doc"}, "doc.text"},
    {{"search", "find", "lookup", "query"}, "magnifyingglass"},
    {{"download"}, "arrow.down.circle"},
    {{"upload", "send", "submit", "post", "publish"}, "paperplane"},
    {{"screenshot", "screen capture", "capture screen"}, "camera.viewfinder"},
    {{"photo", "image", "picture", "crop", "resize"}, "photo"},
    {{"video", "youtube", "movie", "stream"}, "video"},
    {{"music", "spotify", "song", "playlist"}, "music.note"},
    {{"github", "code", "terminal", "deploy", "build", "compile", "pull request"},
     "chevron.left.forwardslash.chevron.right"},
    {{"ticket", "jira", "issue", "task", "todo", "linear"}, "checklist"},
    {{"delete", "remove", "trash", "clean up"}, "trash"},
    {{"setting", "config", "preference"}, "gearshape"},
    {{"login", "sign in", "signin", "password", "auth"}, "key"},
    {{"map", "location", "direction", "navigate", "address"}, "map"},
    {{"weather", "forecast"}, "cloud.sun"},
    {{"browser", "website", "url", "safari", "chrome", "webpage"}, "globe"},
    {{"folder", "file", "finder", "rename", "organize"}, "folder"},
    {{"translate", "language"}, "character.bubble"},
    {{"summar", "chatgpt", "claude", "prompt", "generate"}, "sparkles"},
}};

// Standard names first; symbols without a fitting standard name rely on the bundled drawing.
const QHash<QString, QString>& themeNames() {
    static const QHash<QString, QString> names = {
        {"envelope", "mail-unread"},
        {"message", "internet-chat"},
        {"calendar", "x-office-calendar"},
        {"tablecells", "x-office-spreadsheet"},
        {"doc.text", "x-office-document"},
        {"magnifyingglass", "edit-find"},
        {"arrow.down.circle", "go-down"},
        {"paperplane", "mail-send"},
        {"camera.viewfinder", "camera-photo"},
        {"photo", "image-x-generic"},
        {"video", "video-x-generic"},
        {"music.note", "audio-x-generic"},
        {"chevron.left.forwardslash.chevron.right", "utilities-terminal"},
        {"trash", "user-trash"},
        {"gearshape", "preferences-system"},
        {"key", "dialog-password"},
        {"cloud.sun", "weather-few-clouds"},
        {"globe", "web-browser"},
        {"folder", "folder"},
        {"character.bubble", "preferences-desktop-locale"},
        {"plus.circle.fill", "list-add"},
    };
    return names;
}

QByteArray svgSource(const QString& symbol) {
    static QHash<QString, QByteArray> cache;
    auto found = cache.constFind(symbol);
    if (found != cache.constEnd())
        return *found;
    QFile file(QStringLiteral(":/symbols/%1.svg").arg(symbol));
    QByteArray data;
    if (file.open(QIODevice::ReadOnly))
        data = file.readAll();
    cache.insert(symbol, data);
    return data;
}

} // namespace

QString symbolForText(const QString& lowerText) {
    for (const Row& row : table) {
        for (const char* keyword : row.keywords) {
            if (lowerText.contains(QLatin1String(keyword)))
                return QString::fromLatin1(row.symbol);
        }
    }
    return QString::fromLatin1(fallbackSymbol);
}

QString symbol(const Skill& skill) {
    QStringList words{skill.name, skill.trigger, skill.summary};
    words += skill.appScope;
    return symbolForText(words.join(QLatin1Char(' ')).toLower());
}

QString themeName(const QString& symbol) {
    return themeNames().value(symbol);
}

QStringList allSymbols() {
    QStringList symbols;
    for (const Row& row : table)
        symbols << QString::fromLatin1(row.symbol);
    symbols << QString::fromLatin1(fallbackSymbol) << QString::fromLatin1(recordSymbol);
    return symbols;
}

QPixmap bundledPixmap(const QString& symbol, int size, const QColor& color,
                      qreal devicePixelRatio) {
    QByteArray svg = svgSource(symbol);
    if (svg.isEmpty())
        svg = svgSource(QString::fromLatin1(fallbackSymbol));
    svg.replace("currentColor", color.name(QColor::HexRgb).toLatin1());

    const int pixels = qMax(1, qRound(size * devicePixelRatio));
    QPixmap pixmap(pixels, pixels);
    pixmap.fill(Qt::transparent);
    QSvgRenderer renderer(svg);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setOpacity(color.alphaF());
    renderer.render(&painter, QRectF(0, 0, pixels, pixels));
    painter.end();
    pixmap.setDevicePixelRatio(devicePixelRatio);
    return pixmap;
}

QIcon icon(const QString& symbol, const QColor& color) {
    const QString name = themeName(symbol);
    if (!name.isEmpty() && QIcon::hasThemeIcon(name))
        return QIcon::fromTheme(name);
    QIcon drawn;
    for (int size : {16, 24, 32, 48, 64})
        drawn.addPixmap(bundledPixmap(symbol, size, color));
    return drawn;
}

} // namespace tavrik::SkillIcon
