#include "TavrikCore/Replay/ModelStepRepairer.h"

#include "TavrikCore/Recorder/FrameCapturer.h"
#include "TavrikCore/Recorder/Recorder.h"
#include "TavrikCore/Replay/KeyChord.h"
#include "TavrikCore/Replay/RepairPrompt.h"
#include "TavrikCore/Replay/TargetMatcher.h"
#include "TavrikCore/Support/NetworkSession.h"
#include "TavrikCore/Synthesis/ModelCall.h"
#include "TavrikCore/Synthesis/Secrets.h"

#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <cmath>

namespace tavrik {

struct ModelStepRepairer::Session {
    LiveWindow window;
    QList<LiveElement> elements;
    bool acted = false;
    int actions = 0;
};

namespace {

QString quoted(const QString& text) {
    return QStringLiteral("“") + text + QStringLiteral("”");
}

// The position a tool call's index names in a listing of `count`, if it names one.
std::optional<qsizetype> listIndex(const QJsonValue& index, qsizetype count) {
    if (!index.isDouble())
        return std::nullopt;
    const double d = index.toDouble();
    if (!(d >= 0 && d < double(count)) || d != std::floor(d))
        return std::nullopt;
    return qsizetype(d);
}

// The element as the recorder would have stored it.
AXTarget recordedAs(const LiveElement& element, const LiveWindow& window) {
    AXTarget target;
    target.appBundleID = window.appID;
    if (!window.appName.isEmpty())
        target.appName = window.appName;
    target.windowTitle = window.title;
    target.axRole = element.role;
    if (!element.name.isEmpty())
        target.axTitle = element.name;
    if (!element.description.isEmpty())
        target.axDescription = element.description;
    if (!element.identifier.isEmpty())
        target.axIdentifier = element.identifier;
    target.axPath = element.path;
    target.isSecure = element.secure;
    target.windowFrame = window.frame;
    target.frameInWindow = Rect(element.frame.origin.x - window.frame.origin.x,
                                element.frame.origin.y - window.frame.origin.y,
                                element.frame.size.width, element.frame.size.height);
    return target;
}

// A value the model sent, as it wrote it.
QString asWritten(const QJsonValue& value) {
    const QByteArray array = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(array.mid(1, array.size() - 2)).left(40);
}

QString noSuchElement(const QJsonValue& index, qsizetype count) {
    return QStringLiteral("There is no element %1; the listing goes from 0 to %2.")
        .arg(asWritten(index))
        .arg(count - 1);
}

QJsonObject toolResult(const QString& id, const QString& text, bool isError) {
    QJsonObject result{{"type", "tool_result"}, {"tool_use_id", id}, {"content", text}};
    if (isError)
        result.insert("is_error", true);
    return result;
}

} // namespace

ModelStepRepairer::ModelStepRepairer(const AnthropicClient& client, DesktopActor& actor,
                                     SyntheticInput& input, FrameCapturer* frames)
    : ModelStepRepairer(client, actor, input, frames, Options{}) {}

ModelStepRepairer::ModelStepRepairer(const AnthropicClient& client, DesktopActor& actor,
                                     SyntheticInput& input, FrameCapturer* frames, Options options)
    : m_client(client), m_actor(actor), m_input(input), m_frames(frames), m_options(options) {}

std::unique_ptr<ModelStepRepairer>
ModelStepRepairer::withUsersKey(DesktopActor& actor, SyntheticInput& input, FrameCapturer* frames) {
    std::optional<QString> key = Secrets::anthropicAPIKey();
    if (!key)
        return nullptr;
    return std::make_unique<ModelStepRepairer>(
        AnthropicClient(std::move(key), QString::fromLatin1(AnthropicClient::Model::sonnet),
                        sharedNetworkSession()),
        actor, input, frames);
}

std::optional<LiveWindow> ModelStepRepairer::frontWindow(const AXTarget& expected) {
    const QList<LiveWindow> windows = m_actor.windows();
    for (const LiveWindow& w : windows)
        if (w.active)
            return w;
    for (const LiveWindow& w : windows)
        if (TargetMatcher::sameApplication(expected, w))
            return w;
    if (windows.isEmpty())
        return std::nullopt;
    return windows.first();
}

QList<LiveElement> ModelStepRepairer::elementsOf(const LiveWindow& window) {
    QList<LiveElement> shown;
    for (const LiveElement& e : m_actor.elements(window, QString(), m_options.elementLimit))
        if (e.showing)
            shown.append(e);
    return shown;
}

std::optional<QByteArray> ModelStepRepairer::keyFrame(const LiveWindow& window,
                                                      const QList<LiveElement>& elements) {
    if (!m_frames || !m_frames->isAvailable())
        return std::nullopt;
    const Point middle{window.frame.origin.x + window.frame.size.width / 2,
                       window.frame.origin.y + window.frame.size.height / 2};
    const QList<DisplayInfo> displays = m_frames->displays();
    if (displays.isEmpty())
        return std::nullopt;
    DisplayInfo display = displays.first();
    for (const DisplayInfo& d : displays)
        if (middle.x >= d.frame.origin.x && middle.x < d.frame.origin.x + d.frame.size.width &&
            middle.y >= d.frame.origin.y && middle.y < d.frame.origin.y + d.frame.size.height)
            display = d;
    if (display.frame.size.width <= 0 || display.frame.size.height <= 0)
        return std::nullopt;
    display.scaleFactor =
        std::min(display.scaleFactor, m_options.frameWidth / display.frame.size.width);
    QList<Rect> secure;
    for (const LiveElement& e : elements)
        if (e.secure)
            secure.append(e.frame);
    // Password fields of the other windows on screen too.
    for (const LiveWindow& other : m_actor.windows())
        if (other.handle != window.handle)
            for (const LiveElement& e :
                 m_actor.elements(other, QStringLiteral("password text"), 200))
                if (e.showing)
                    secure.append(e.frame);
    QTemporaryDir folder;
    if (!folder.isValid())
        return std::nullopt;
    const QString path = folder.filePath(QStringLiteral("frame.png"));
    QFuture<std::optional<Size>> capture =
        m_frames->captureAndSave(display.id, int(display.frame.size.width * display.scaleFactor),
                                 int(display.frame.size.height * display.scaleFactor),
                                 Recorder::pixelRegions(secure, display), path);
    capture.waitForFinished();
    if (capture.isCanceled() || capture.resultCount() == 0 || !capture.result())
        return std::nullopt;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return file.readAll().toBase64();
}

QString ModelStepRepairer::runTool(Session& session, const QString& name, const QJsonObject& input,
                                   bool* failed,
                                   const std::function<void(const QString&)>& emitLine) {
    *failed = true;
    const auto element = [&]() -> const LiveElement* {
        const auto i = listIndex(input.value(QLatin1String("index")), session.elements.size());
        return i ? &session.elements[*i] : nullptr;
    };
    const QString app =
        session.window.appName.isEmpty() ? session.window.appID : session.window.appName;
    if (name == QLatin1String("act")) {
        const LiveElement* e = element();
        if (!e)
            return noSuchElement(input.value(QLatin1String("index")), session.elements.size());
        emitLine(QStringLiteral("→ click ") + quoted(e->name.isEmpty() ? e->role : e->name) +
                 QStringLiteral(" in ") + app);
        session.acted = true;
        ++session.actions;
        bool done = false;
        if (const std::optional<QString> action = e->pressAction())
            done = m_actor.performAction(*e, *action);
        else if (e->editable || TargetMatcher::isTextRole(e->role))
            done = m_actor.focus(*e);
        if (!done) {
            if (!session.window.active)
                m_actor.activateWindow(session.window);
            done = m_input.click(Point{e->frame.origin.x + e->frame.size.width / 2,
                                       e->frame.origin.y + e->frame.size.height / 2},
                                 SyntheticInput::Button::left, 1);
        }
        *failed = !done;
        return done ? QStringLiteral("Done.")
                    : QStringLiteral("The element did not take the action.");
    }
    if (name == QLatin1String("set_text")) {
        const LiveElement* e = element();
        if (!e)
            return noSuchElement(input.value(QLatin1String("index")), session.elements.size());
        const QJsonValue text = input.value(QLatin1String("text"));
        if (!text.isString())
            return QStringLiteral("set_text needs a text.");
        if (e->secure)
            return QStringLiteral(
                "That field holds a secret; Tavrik does not let the model type into it.");
        emitLine(QStringLiteral("→ type into ") + quoted(e->name.isEmpty() ? e->role : e->name) +
                 QStringLiteral(" in ") + app);
        session.acted = true;
        ++session.actions;
        const bool done = m_actor.replaceText(*e, text.toString());
        *failed = !done;
        return done ? QStringLiteral("Done.")
                    : QStringLiteral("The element did not take the text.");
    }
    if (name == QLatin1String("press_keys")) {
        const QString keys = input.value(QLatin1String("keys")).toString();
        const auto chord = KeyChord::parse(keys);
        if (!chord)
            return QStringLiteral("Unknown keys %1.").arg(quoted(keys));
        emitLine(QStringLiteral("→ press ") + keys + QStringLiteral(" in ") + app);
        session.acted = true;
        ++session.actions;
        if (!session.window.active)
            m_actor.activateWindow(session.window);
        const bool done = m_input.pressKey(chord->first, chord->second);
        *failed = !done;
        return done ? QStringLiteral("Done.") : QStringLiteral("The keys could not be pressed.");
    }
    return QStringLiteral("Unknown tool %1.").arg(quoted(name));
}

StepRepairer::Result
ModelStepRepairer::repair(const Request& request,
                          const std::function<void(const QString&)>& emitLine) {
    const std::optional<LiveWindow> window = frontWindow(request.expected);
    if (!window)
        return {false, {}, QStringLiteral("no window is open")};
    Session session{*window, elementsOf(*window)};

    const QString brief = RepairPrompt::brief(request, *window, session.elements);

    QJsonArray first{QJsonObject{{"type", "text"}, {"text", brief}}};
    if (const std::optional<QByteArray> frame = keyFrame(*window, session.elements))
        first.append(ContentBlock::makeImage(QStringLiteral("image/png"), *frame).toJson());
    QJsonArray messages{QJsonObject{{"role", "user"}, {"content", first}}};

    for (int turn = 0; turn < m_options.maxTurns; ++turn) {
        std::unique_ptr<ToolTurnCall> call(m_client.toolTurn(QLatin1String(RepairPrompt::system),
                                                             messages, RepairPrompt::tools(),
                                                             m_options.maxTokens));
        if (!call->waitForFinished())
            return {false, {}, call->error()->description()};
        const QJsonArray content = call->content();
        messages.append(QJsonObject{{"role", "assistant"}, {"content", content}});
        QJsonArray results;
        QString said;
        const int actionsBefore = session.actions;
        for (const auto& value : content) {
            const QJsonObject block = value.toObject();
            const QString type = block.value(QLatin1String("type")).toString();
            if (type == QLatin1String("text"))
                said += block.value(QLatin1String("text")).toString();
            if (type != QLatin1String("tool_use"))
                continue;
            const QString id = block.value(QLatin1String("id")).toString();
            const QString name = block.value(QLatin1String("name")).toString();
            const QJsonObject input = block.value(QLatin1String("input")).toObject();
            if (name == QLatin1String("finish")) {
                const QString givenUp = input.value(QLatin1String("give_up")).toString().trimmed();
                if (!givenUp.isEmpty())
                    return {false, {}, givenUp.left(500)};
                const QJsonValue index = input.value(QLatin1String("index"));
                if (index.isUndefined() || index.isNull()) {
                    if (session.acted)
                        return {true, std::nullopt, {}};
                    results.append(toolResult(
                        id, QStringLiteral("Nothing was done yet: carry out the step or give up."),
                        true));
                    continue;
                }
                const std::optional<qsizetype> i = listIndex(index, session.elements.size());
                if (!i) {
                    results.append(
                        toolResult(id, noSuchElement(index, session.elements.size()), true));
                    continue;
                }
                return {true, recordedAs(session.elements[*i], session.window), {}};
            }
            bool failed = false;
            const QString outcome = runTool(session, name, input, &failed, emitLine);
            results.append(toolResult(id, outcome, failed));
        }
        if (results.isEmpty()) {
            const QString reason = said.trimmed().left(500);
            return {false,
                    {},
                    reason.isEmpty() ? QStringLiteral("it stopped without finishing") : reason};
        }
        if (session.actions != actionsBefore) {
            // Indices from here on refer to the window as it is after the actions.
            session.elements = elementsOf(session.window);
            QJsonObject last = results.last().toObject();
            last.insert("content", last.value(QLatin1String("content")).toString() +
                                       QStringLiteral("\nThe window's elements now:\n") +
                                       RepairPrompt::listing(session.elements));
            results[results.size() - 1] = last;
        }
        messages.append(QJsonObject{{"role", "user"}, {"content", results}});
    }
    return {false, {}, QStringLiteral("it did not finish within %1 turns").arg(m_options.maxTurns)};
}

} // namespace tavrik
