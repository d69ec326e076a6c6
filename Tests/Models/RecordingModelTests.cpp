#include "TavrikCore/Models/Recording.h"
#include "TavrikCore/Support/Json.h"

#include <QJsonDocument>
#include <gtest/gtest.h>

using namespace tavrik;

namespace {
QJsonObject parseObject(const char* text) {
    return QJsonDocument::fromJson(text).object();
}
} // namespace

TEST(RecordingModel, MinimalEventHasExactlyThreeKeys) {
    ActionEvent event;
    event.timeOffset = 1.5;
    event.type = ActionType::scroll;
    const QJsonObject json = event.toJson();
    EXPECT_EQ(json.keys(), (QStringList{"id", "timeOffset", "type"}));
    EXPECT_EQ(json.value("type").toString(), "scroll");
    EXPECT_EQ(json.value("id").toString(), json.value("id").toString().toUpper());
}

TEST(RecordingModel, EmptyTargetEncodesOnlyIsSecureAndIsCalledElement) {
    AXTarget target;
    EXPECT_EQ(json::compact(target.toJson()), R"({"isSecure":false})");
    EXPECT_EQ(target.humanLabel(), "element");
}

TEST(RecordingModel, HumanLabelTestsPresenceNotEmptiness) {
    AXTarget send;
    send.axTitle = "Send";
    send.appName = "Mail";
    EXPECT_EQ(send.humanLabel(), "Send in Mail");

    AXTarget field;
    field.axRole = "AXTextField";
    EXPECT_EQ(field.humanLabel(), "AXTextField");

    AXTarget emptyTitle;
    emptyTitle.axTitle = "";
    emptyTitle.axValue = "typed";
    emptyTitle.appName = "Mail";
    EXPECT_EQ(emptyTitle.humanLabel(), " in Mail");
}

TEST(RecordingModel, RecordingWithoutEndDecodesWithZeroDuration) {
    const QJsonObject json = parseObject(R"({
        "id": "0b8d3e2c-7f6a-4b1c-9d2e-3f4a5b6c7d8e", "startedAt": "2026-03-01T09:15:42Z",
        "displays": [], "events": [], "frames": [], "appContexts": []})");
    const Result<Recording> recording = Recording::fromJson(json);
    ASSERT_TRUE(recording.ok());
    EXPECT_FALSE(recording->endedAt);
    EXPECT_EQ(recording->duration(), 0);
    EXPECT_EQ(json::uuidText(recording->id), "0B8D3E2C-7F6A-4B1C-9D2E-3F4A5B6C7D8E");
}

TEST(RecordingModel, MissingArrayOrWrongShapeFails) {
    EXPECT_FALSE(Recording::fromJson(parseObject(R"({"id": "0B8D3E2C-7F6A-4B1C-9D2E-3F4A5B6C7D8E",
        "startedAt": "2026-03-01T09:15:42Z", "displays": [], "events": [], "frames": []})"))
                     .ok());
    EXPECT_FALSE(
        Recording::fromJson(parseObject(R"({"id": "not-a-uuid", "startedAt": "2026-03-01T09:15:42Z",
        "displays": [], "events": [], "frames": [], "appContexts": []})"))
            .ok());
    EXPECT_FALSE(Recording::fromJson(QJsonValue(QJsonArray{})).ok());
}

TEST(RecordingModel, RoundTripKeepsEverythingButFractionsOfSeconds) {
    Recording recording;
    recording.startedAt = QDateTime::fromMSecsSinceEpoch(1772356542250, Qt::UTC);
    recording.endedAt = recording.startedAt.addMSecs(12500);
    recording.displays = {{69733378, Rect(0, 0, 1920, 1080), 2.0, true}};
    ActionEvent drag;
    drag.type = ActionType::drag;
    drag.location = Point{10.5, 20};
    drag.endLocation = Point{300, 400.25};
    drag.frameIndex = 0;
    AXTarget target;
    target.axRole = "AXButton";
    target.frameInWindow = Rect(1, 2, 3, 4);
    target.url = "https://example.org/a?b=c";
    drag.target = target;
    ActionEvent key;
    key.type = ActionType::keystroke;
    key.keyCode = 36;
    key.modifierFlags = 0x100000;
    key.typedText = "héllo \"wörld\" 🎉";
    recording.events = {drag, key};
    recording.frames = {{QUuid::createUuid(),
                         0.3,
                         "frames/000001.png",
                         69733378,
                         {3840, 2160},
                         {Rect(5, 6, 7, 8)}}};
    recording.appContexts = {{0, "org.gnome.TextEditor", "Text Editor", std::nullopt}};

    const QJsonObject json = recording.toJson();
    EXPECT_EQ(json.value("startedAt").toString(), "2026-03-01T09:15:42Z");
    const Result<Recording> decoded =
        Recording::fromJson(QJsonDocument::fromJson(json::pretty(json)).object());
    ASSERT_TRUE(decoded.ok());
    Recording expected = recording;
    expected.startedAt = json::truncatedToSeconds(recording.startedAt);
    expected.endedAt = json::truncatedToSeconds(*recording.endedAt);
    EXPECT_EQ(*decoded, expected);
    EXPECT_EQ(decoded->duration(), 12);
}

TEST(RecordingModel, IntegerFieldsRejectFractionsAndOverflow) {
    const char* base =
        R"({"id": "1B8D3E2C-7F6A-4B1C-9D2E-3F4A5B6C7D8E", "timeOffset": 0, "type": "keystroke", "keyCode": %1})";
    EXPECT_TRUE(ActionEvent::fromJson(parseObject(QString(base).arg("65535").toUtf8())).ok());
    EXPECT_FALSE(ActionEvent::fromJson(parseObject(QString(base).arg("65536").toUtf8())).ok());
    EXPECT_FALSE(ActionEvent::fromJson(parseObject(QString(base).arg("1.5").toUtf8())).ok());
    EXPECT_FALSE(ActionEvent::fromJson(parseObject(QString(base).arg("\"36\"").toUtf8())).ok());
}
