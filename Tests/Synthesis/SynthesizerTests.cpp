#include "Support/CoreApplication.h"
#include "Support/LocalHttpServer.h"
#include "Support/MessagesApi.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TempSupportFolder.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Synthesis/Hosts.h"
#include "TavrikCore/Synthesis/SkillSynthesisCall.h"
#include "TavrikCore/Synthesis/Synthesizer.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QTimer>
#include <gtest/gtest.h>
#include <memory>

using namespace tavrik;
using namespace tavrik::test;

namespace {

AXTarget target(const QString& title, const QString& app, const QString& bundle,
                std::optional<QString> url = std::nullopt) {
    AXTarget t;
    t.axTitle = title;
    t.appName = app;
    t.appBundleID = bundle;
    t.url = url;
    return t;
}

ActionEvent event(ActionType type, std::optional<AXTarget> on = std::nullopt) {
    ActionEvent e;
    e.type = type;
    e.target = on;
    return e;
}

ActionEvent typed(const QString& text, std::optional<AXTarget> on = std::nullopt) {
    ActionEvent e = event(ActionType::keystroke, on);
    e.typedText = text;
    return e;
}

QDateTime start() {
    return QDateTime(QDate(2026, 3, 1), QTime(9, 30, 0), Qt::UTC);
}

TEST(Synthesizer, TraceDescribesEveryEventAppAndTheTask) {
    Recording recording;
    recording.startedAt = start();
    recording.endedAt = start().addMSecs(12340);
    const AXTarget send = target("Send", "Mail", "com.apple.mail");
    AXTarget password =
        target("Password", "Chrome", "com.google.Chrome", "https://bank.example/login");
    password.isSecure = true;
    AXTarget search;
    search.axRole = "AXTextField";
    search.url = "https://www.google.com/";
    ActionEvent pressed = event(ActionType::keystroke);
    pressed.keyCode = 36;
    ActionEvent secret = typed("hunter2", password);
    secret.keyCode = 9;
    recording.events = {event(ActionType::click, send),
                        event(ActionType::rightClick),
                        event(ActionType::doubleClick),
                        event(ActionType::drag, send),
                        typed("coffee \"beans\"", search),
                        secret,
                        pressed,
                        event(ActionType::keystroke),
                        typed(""),
                        event(ActionType::scroll),
                        event(ActionType::appSwitch),
                        event(ActionType::windowFocus),
                        event(ActionType::wait, send)};
    recording.frames = QList<FrameRef>(3);
    recording.appContexts = {{0, "com.apple.mail", "Mail", "Inbox"},
                             {1, "com.google.Chrome", std::nullopt, std::nullopt},
                             {2, std::nullopt, std::nullopt, "Untitled"},
                             {3, std::nullopt, "Finder", std::nullopt}};

    const QString expected = QString::fromUtf8(
        "# Recorded task\n"
        "Duration: 12.3s \u00b7 13 interactions \u00b7 3 key frames.\n"
        "\n## Apps involved (in order of first use)\n"
        "- Mail (com.apple.mail) \u2014 window: \"Inbox\"\n"
        "- com.google.Chrome (com.google.Chrome)\n"
        "- unknown \u2014 window: \"Untitled\"\n"
        "- Finder\n"
        "\n## Interaction trace\n"
        "1. Click on Send in Mail\n"
        "2. Right-click\n"
        "3. Double-click\n"
        "4. Drag on Send in Mail\n"
        "5. Type \"coffee \"beans\"\" on AXTextField [page: https://www.google.com/]\n"
        "6. Type into a secure field on Password in Chrome [redacted] [page: "
        "https://bank.example/login]\n"
        "7. Press key 36\n"
        "8. Keystroke\n"
        "9. Type \"\"\n"
        "10. Scroll\n"
        "11. Switch app\n"
        "12. Focus window\n"
        "13. Wait\n");
    const QString trace = Synthesizer::traceDescription(recording);
    EXPECT_EQ(trace, expected + SynthesisPrompts::taskStatement());
    EXPECT_FALSE(trace.contains("hunter2"));
    EXPECT_TRUE(trace.endsWith("internal-tool task)."));

    Recording unfinished;
    unfinished.startedAt = start();
    EXPECT_TRUE(Synthesizer::traceDescription(unfinished)
                    .startsWith(QString::fromUtf8(
                        "# Recorded task\nDuration: 0.0s \u00b7 0 interactions \u00b7 0 key "
                        "frames.\n\n## Interaction trace\n\n## Your job\n")));
}

TEST(Synthesizer, NarrationIsFramedAndBlanksAreDropped) {
    EXPECT_FALSE(Synthesizer::narrationBlock(std::nullopt));
    EXPECT_FALSE(Synthesizer::narrationBlock(QString(" \n\t ")));
    const std::optional<ContentBlock> block =
        Synthesizer::narrationBlock(QString("\n  order the usual coffee \n"));
    ASSERT_TRUE(block);
    EXPECT_EQ(block->text, SynthesisPrompts::narrationFraming() +
                               "values are parameters vs. fixed:\n\n\"order the usual coffee\"");
}

TEST(Synthesizer, SamplesFramesEvenly) {
    Synthesizer synthesizer;
    EXPECT_EQ(synthesizer.sampledFrameIndices(30),
              QList<qsizetype>({0, 2, 5, 7, 10, 12, 15, 17, 20, 22, 25, 27}));
    EXPECT_EQ(synthesizer.sampledFrameIndices(12).size(), 12);
    EXPECT_EQ(synthesizer.sampledFrameIndices(0).size(), 0);
    EXPECT_EQ(synthesizer.sampledFrameIndices(13).last(), 11);
    synthesizer.maxFrames = 0;
    EXPECT_EQ(synthesizer.sampledFrameIndices(30).size(), 30);

    EXPECT_EQ(synthesizer.downscaledSize({5120, 2880}), QSize(2576, 1449));
    EXPECT_EQ(synthesizer.downscaledSize({2880, 5120}), QSize(1449, 2576));
    EXPECT_EQ(synthesizer.downscaledSize({3840, 2160}), QSize(2576, 1449));
    EXPECT_EQ(synthesizer.downscaledSize({800, 600}), QSize(800, 600));
}

void writeImage(const QString& path, QSize size, const char* format = "PNG") {
    QDir().mkpath(QFileInfo(path).path());
    QImage image(size, QImage::Format_ARGB32);
    image.fill(QColor(30, 120, 200, 255));
    ASSERT_TRUE(image.save(path, format, 95)); // light compression: large frames save fast
}

QSize jpegSize(const QByteArray& base64) {
    QByteArray bytes = QByteArray::fromBase64(base64);
    QBuffer buffer(&bytes);
    QImageReader reader(&buffer, "jpeg");
    return reader.size();
}

FrameRef frame(double at, const QString& path) {
    FrameRef f;
    f.timeOffset = at;
    f.relativePath = path;
    return f;
}

TEST(Synthesizer, FramesAreDownscaledToJpegAndBadOnesSkipped) {
    TempSupportFolder folder;
    Recording recording;
    const QString dir = Paths::recording(recording.id);
    writeImage(dir + "/frames/000001.png", {5120, 2880});
    writeImage(dir + "/frames/000002.png", {300, 200});
    QDir().mkpath(dir + "/frames");
    QFile garbage(dir + "/frames/000003.png");
    ASSERT_TRUE(garbage.open(QIODevice::WriteOnly));
    garbage.write("this is not a picture");
    garbage.close();
    writeImage(folder.path() + "/Tavrik/recordings/outside.png", {10, 10});
    recording.frames = {frame(0.04, "frames/000001.png"), frame(1.25, "frames/000002.png"),
                        frame(2, "frames/000003.png"),    frame(3, "frames/missing.png"),
                        frame(4, "../outside.png"),       frame(5, dir + "/frames/000002.png")};

    const QList<ContentBlock> blocks = Synthesizer().frameBlocks(recording);
    ASSERT_EQ(blocks.size(), 4);
    EXPECT_EQ(blocks[0].text, "Frame at 0.0s:");
    EXPECT_EQ(blocks[1].kind, ContentBlock::Kind::image);
    EXPECT_EQ(blocks[1].mediaType, "image/jpeg");
    EXPECT_EQ(jpegSize(blocks[1].base64), QSize(2576, 1449));
    EXPECT_EQ(blocks[2].text, "Frame at 1.2s:");            // as printf rounds 1.25
    EXPECT_EQ(jpegSize(blocks[3].base64), QSize(300, 200)); // never enlarged
}

// Events whose URLs exercise the address rules of both assemblies.
Recording browsingRecording() {
    Recording recording;
    recording.startedAt = start();
    const AXTarget a = target("Box", "Chrome", "com.google.Chrome", "https://a.example/");
    const AXTarget newTab = target("Box", "Chrome", "com.google.Chrome", "CHROME://newtab");
    const AXTarget b = target("Box", "Chrome", "com.google.Chrome", "https://b.example/search?q=x");
    const AXTarget c = target("Link", "Chrome", "com.google.Chrome", "https://c.example/");
    const AXTarget blank = target("Box", "Chrome", "com.google.Chrome", "about:blank");
    ActionEvent click = event(ActionType::click, a);
    click.location = Point{10, 20};
    ActionEvent enter = typed("x", b);
    enter.keyCode = 36;
    enter.modifierFlags = 256;
    recording.events = {click,
                        typed("y", newTab),
                        enter,
                        event(ActionType::click, c),
                        typed("z", blank),
                        event(ActionType::scroll, target("List", "Finder", "com.apple.finder"))};
    return recording;
}

TEST(Synthesizer, MarkdownAnswerBecomesASkillWithTheRecordedPlan) {
    const Recording recording = browsingRecording();
    const QString markdown =
        "---\nname: Search B\ndescription: Searches b for a term.\ntrigger: \nmode: skill\n"
        "app_scope: [com.example.Custom]\n---\n\n# Search B\n\n## Instructions\n1. Open b\n";
    const Skill skill = Synthesizer::skillFromMarkdown(markdown, recording);
    EXPECT_EQ(skill.name, "Search B");
    EXPECT_EQ(skill.trigger, "Search B");
    EXPECT_EQ(skill.summary, "Searches b for a term.");
    EXPECT_EQ(skill.mode, ExecutionMode::skill);
    EXPECT_EQ(skill.appScope, QList<QString>({"com.example.Custom"}));
    EXPECT_EQ(skill.url, "https://b.example/search?q=x");
    EXPECT_EQ(skill.sourceRecordingID, recording.id);
    ASSERT_EQ(skill.plan.size(), recording.events.size());
    for (qsizetype i = 0; i < skill.plan.size(); ++i) {
        EXPECT_EQ(skill.plan[i].index, i);
        EXPECT_EQ(skill.plan[i].intent, Synthesizer::eventDescription(recording.events[i]));
        EXPECT_EQ(skill.plan[i].action, recording.events[i].type);
        EXPECT_EQ(skill.plan[i].target, recording.events[i].target);
        EXPECT_FALSE(skill.plan[i].isDestructive);
        EXPECT_FALSE(skill.plan[i].precondition);
    }
    EXPECT_EQ(skill.plan[0].location, (Point{10, 20}));
    EXPECT_EQ(skill.plan[2].text, "x");
    EXPECT_EQ(skill.plan[2].keyCode, 36);
    EXPECT_EQ(skill.plan[2].modifierFlags, 256u);
    EXPECT_NE(skill.plan[0].id, skill.plan[1].id);

    const Skill withUrl = Synthesizer::skillFromMarkdown(
        "---\nname: X\nurl: https://given.example/\n---\n", recording);
    EXPECT_EQ(withUrl.url, "https://given.example/");
    EXPECT_EQ(withUrl.appScope, QList<QString>({"com.google.Chrome", "com.apple.finder"}));
}

TEST(Synthesizer, ProseAnswersAndBrowserPagesFallBack) {
    Recording recording = browsingRecording();
    const Skill prose =
        Synthesizer::skillFromMarkdown("I'm sorry, I can't tell what this task was.", recording);
    EXPECT_EQ(prose.name, "Untitled Skill");
    EXPECT_EQ(prose.trigger, "Untitled Skill");
    EXPECT_EQ(prose.summary, "");
    EXPECT_EQ(prose.plan.size(), recording.events.size());
    EXPECT_EQ(Synthesizer::skillFromMarkdown("", recording).name, "Untitled Skill");

    // Leading blank lines or a fence around the document do not hide it.
    EXPECT_EQ(Synthesizer::skillFromMarkdown(
                  "\n\n```markdown\n---\nname: Fenced\n---\n# Fenced\n```\n", recording)
                  .name,
              "Fenced");

    // No keystroke page passes: the last page of any event is used.
    recording.events.removeAt(2);
    EXPECT_EQ(Synthesizer::skillFromMarkdown("---\nname: X\n---\n", recording).url,
              "https://c.example/");
    // Only browser-internal pages: none on this path.
    recording.events = {recording.events[1], recording.events[3]};
    EXPECT_EQ(Synthesizer::skillFromMarkdown("---\nname: X\n---\n", recording).url, std::nullopt);
}

TEST(Synthesizer, DraftStepsPairWithEventsByPosition) {
    Recording recording = browsingRecording();
    const QJsonObject draft{
        {"name", "Search"},
        {"trigger", "search b"},
        {"summary", "Searches."},
        {"mode", "replay"},
        {"app_scope", QJsonArray{"com.google.Chrome"}},
        {"parameters", QJsonArray{QJsonObject{{"name", "q"},
                                              {"type", "text"},
                                              {"prompt", "What?"},
                                              {"example_value", "x"},
                                              {"used_in_steps", QJsonArray{2}}}}},
        {"plan",
         QJsonArray{QJsonObject{{"index", 7},
                                {"intent", "Focus the box"},
                                {"action", "drag"},
                                {"text", "ignored"},
                                {"precondition", "Page is open"},
                                {"is_destructive", false},
                                {"target", QJsonValue::Null}},
                    QJsonObject{{"index", 0},
                                {"intent", "Type y"},
                                {"action", "keystroke"},
                                {"text", QJsonValue::Null},
                                {"precondition", QJsonValue::Null},
                                {"is_destructive", true},
                                {"target", QJsonObject{{"app_bundle_id", "x"},
                                                       {"app_name", QJsonValue::Null},
                                                       {"ax_role", QJsonValue::Null},
                                                       {"ax_title", QJsonValue::Null},
                                                       {"ax_identifier", QJsonValue::Null}}}}}}};
    QString error;
    const std::optional<Skill> skill =
        Synthesizer::skillFromDraft(QJsonDocument(draft).toJson(), recording, &error);
    ASSERT_TRUE(skill) << error.toStdString();
    EXPECT_EQ(skill->name, "Search");
    EXPECT_EQ(skill->trigger, "search b");
    EXPECT_EQ(skill->mode, ExecutionMode::skill);
    EXPECT_TRUE(skill->parameters.isEmpty());
    EXPECT_EQ(skill->appScope, QList<QString>({"com.google.Chrome"}));
    ASSERT_EQ(skill->plan.size(), recording.events.size());
    EXPECT_EQ(skill->plan[0].intent, "Focus the box");
    EXPECT_EQ(skill->plan[0].index, 0);
    EXPECT_EQ(skill->plan[0].action, ActionType::click);
    EXPECT_EQ(skill->plan[0].precondition, "Page is open");
    EXPECT_EQ(skill->plan[0].target, recording.events[0].target);
    EXPECT_TRUE(skill->plan[1].isDestructive);
    EXPECT_EQ(skill->plan[1].text, "y");
    EXPECT_EQ(skill->plan[2].intent, Synthesizer::eventDescription(recording.events[2]));
    EXPECT_FALSE(skill->plan[2].isDestructive);
    // No prefix test here: the last keystroke page wins even when it is about:blank.
    EXPECT_EQ(skill->url, "about:blank");

    EXPECT_FALSE(Synthesizer::skillFromDraft("Sure! Here is the skill:", recording, &error));
    EXPECT_TRUE(error.startsWith("not JSON"));
    QJsonObject broken = draft;
    QJsonArray plan = broken["plan"].toArray();
    QJsonObject step = plan[1].toObject();
    step["intent"] = 5;
    plan[1] = step;
    broken["plan"] = plan;
    EXPECT_FALSE(Synthesizer::skillFromDraft(QJsonDocument(broken).toJson(), recording, &error));
    EXPECT_EQ(error, "plan[1].intent: expected a string");
    broken.remove("summary");
    EXPECT_FALSE(Synthesizer::skillFromDraft(QJsonDocument(broken).toJson(), recording, &error));
    EXPECT_FALSE(Synthesizer::skillFromDraft("[]", recording, &error));
}

class SynthesisExchangeTest : public ::testing::Test {
protected:
    QCoreApplication* app = ensureCoreApplication();
    TempSupportFolder folder;
    LocalHttpServer server;
    QNetworkAccessManager session;
    ScopedEnvironment modelHost{Hosts::modelApiVariable, server.baseUrl().toUtf8()};
    ScopedEnvironment webHost{Hosts::webVariable, server.baseUrl().toUtf8()};

    Recording recordingWithFrames() {
        Recording recording = browsingRecording();
        writeImage(Paths::recording(recording.id) + "/frames/000001.png", {640, 400});
        recording.frames = {frame(0.5, "frames/000001.png")};
        return recording;
    }
};

TEST_F(SynthesisExchangeTest, StreamSkillSendsTraceNarrationAndFramesAndParsesTheAnswer) {
    const QString markdown =
        "---\nname: Search B\ndescription: Searches b.\ntrigger: search b for {{term}}\n"
        "parameters:\n  - name: term\n    type: searchTerm\n    prompt: What?\n    example: x\n"
        "---\n\n# Search B\n";
    QStringList fragments;
    for (qsizetype at = 0; at < markdown.size(); at += 9)
        fragments.append(markdown.mid(at, 9));
    server.route(
        "POST", "/v1/messages",
        CannedResponse::eventStream(CannedResponse::split(messages::textStream(fragments), 50)));
    const Recording recording = recordingWithFrames();
    std::unique_ptr<SkillSynthesisCall> call(Synthesizer().streamSkill(
        recording, QString("sk-ant-1"), "claude-opus-4-8", QString(" search b "), &session));
    QString streamed;
    QObject::connect(call.get(), &SkillSynthesisCall::delta,
                     [&](const QString& f) { streamed += f; });
    ASSERT_TRUE(call->waitForFinished()) << call->error()->description().toStdString();
    EXPECT_EQ(streamed, markdown);
    EXPECT_EQ(call->markdown(), markdown);
    ASSERT_TRUE(call->skill());
    EXPECT_EQ(call->skill()->name, "Search B");
    EXPECT_EQ(call->skill()->trigger, "search b for {{term}}");
    ASSERT_EQ(call->skill()->parameters.size(), 1);
    EXPECT_EQ(call->skill()->parameters[0].type, ParameterType::searchTerm);
    EXPECT_EQ(call->skill()->plan.size(), recording.events.size());

    const RecordedRequest request = server.requests().at(0);
    EXPECT_EQ(request.header("x-api-key"), "sk-ant-1");
    const QJsonObject body = request.json().object();
    EXPECT_EQ(body["system"].toString(), Synthesizer::markdownSystemPrompt());
    EXPECT_EQ(body["max_tokens"].toInt(), 4000);
    EXPECT_EQ(body["stream"], QJsonValue(true));
    const QJsonArray content = body["messages"].toArray().at(0).toObject()["content"].toArray();
    ASSERT_EQ(content.size(), 4);
    EXPECT_EQ(content[0].toObject()["text"].toString(), Synthesizer::traceDescription(recording));
    EXPECT_TRUE(content[1].toObject()["text"].toString().endsWith("fixed:\n\n\"search b\""));
    EXPECT_EQ(content[2].toObject()["text"].toString(), "Frame at 0.5s:");
    EXPECT_EQ(jpegSize(content[3].toObject()["source"].toObject()["data"].toString().toLatin1()),
              QSize(640, 400));
}

TEST_F(SynthesisExchangeTest, FailuresPassThroughWithTheirDescriptions) {
    server.route(
        "POST", "/api/anthropic",
        CannedResponse::json(401, messages::errorBody("authentication_error", "bad token")));
    std::unique_ptr<SkillSynthesisCall> call(Synthesizer().streamSkill(
        recordingWithFrames(), std::nullopt, "claude-opus-4-8", std::nullopt, &session));
    EXPECT_FALSE(call->waitForFinished());
    EXPECT_EQ(call->error()->description(),
              "Anthropic API HTTP 401: " +
                  messages::errorBody("authentication_error", "bad token"));
    EXPECT_FALSE(call->skill());
    EXPECT_TRUE(server.requests().at(0).hasHeader("x-tavrik-proxy"));

    // Cancelling while the frames are still being prepared sends nothing.
    std::unique_ptr<SkillSynthesisCall> cancelled(Synthesizer().streamSkill(
        recordingWithFrames(), std::nullopt, "m", std::nullopt, &session));
    cancelled->cancel();
    EXPECT_FALSE(cancelled->waitForFinished());
    EXPECT_EQ(cancelled->error()->kind(), ClientError::Kind::cancelled);
    QEventLoop settle;
    QTimer::singleShot(100, &settle, &QEventLoop::quit);
    settle.exec();
    EXPECT_EQ(server.requestCount(), 1);

    // A stream whose connection is lost midway is no skill, however well its start reads.
    CannedResponse cut = CannedResponse::eventStream(
        {{messages::textStream({"---\nname: Half\ndescription: d\n---\n\n# Half\n"}, false), 0}});
    cut.rawTail = "40\r\ndata: {\"type\":\"content_bl";
    cut.dropAtEnd = true;
    server.route("POST", "/api/anthropic", cut);
    std::unique_ptr<SkillSynthesisCall> lost(Synthesizer().streamSkill(
        recordingWithFrames(), std::nullopt, "claude-opus-4-8", std::nullopt, &session));
    QObject::connect(lost.get(), &SkillSynthesisCall::delta, [&] { server.dropConnections(); });
    ASSERT_FALSE(lost->waitForFinished());
    EXPECT_EQ(lost->error()->description(),
              "The connection was lost before the answer was complete.");
    EXPECT_FALSE(lost->skill());
}

TEST_F(SynthesisExchangeTest, SynthesizeAsksForTheSchemaAndMapsTheDraft) {
    const QJsonObject draft{{"name", "Replay"},          {"trigger", "replay it"},
                            {"summary", "Does it."},     {"mode", "replay"},
                            {"app_scope", QJsonArray()}, {"parameters", QJsonArray()},
                            {"plan", QJsonArray()}};
    server.route(
        "POST", "/v1/messages",
        CannedResponse::json(200, messages::answer({messages::thinkingBlock("planning"),
                                                    messages::textBlock(QString::fromUtf8(
                                                        QJsonDocument(draft).toJson()))})));
    const Recording recording = recordingWithFrames();
    std::unique_ptr<SkillSynthesisCall> call(
        Synthesizer().synthesize(recording, QString("sk-ant-1"), "claude-opus-4-8", &session));
    ASSERT_TRUE(call->waitForFinished()) << call->error()->description().toStdString();
    EXPECT_EQ(call->skill()->name, "Replay");
    EXPECT_EQ(call->skill()->plan.size(), recording.events.size());

    const QJsonObject body = server.requests().at(0).json().object();
    EXPECT_EQ(body["system"].toString(), Synthesizer::systemPrompt());
    EXPECT_EQ(body["max_tokens"].toInt(), 16000);
    EXPECT_EQ(body["output_config"].toObject()["format"].toObject()["schema"].toObject(),
              Synthesizer::schema());
    EXPECT_EQ(body["messages"].toArray().at(0).toObject()["content"].toArray().size(),
              3); // no narration

    server.route(
        "POST", "/v1/messages",
        CannedResponse::json(200, messages::answer({messages::textBlock("{\"name\": 1}")})));
    std::unique_ptr<SkillSynthesisCall> bad(
        Synthesizer().synthesize(recording, QString("k"), "m", &session));
    EXPECT_FALSE(bad->waitForFinished());
    EXPECT_EQ(bad->error()->description(),
              "The response could not be read: name: expected a string");
}

} // namespace
