#include "TavrikCore/Synthesis/SynthesisPrompts.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <gtest/gtest.h>

using namespace tavrik;

namespace {

qsizetype utf8Length(const QString& text) {
    return text.toUtf8().size();
}

TEST(SynthesisPrompts, TextsHaveTheirExactLengthsAndKeyPhrases) {
    EXPECT_EQ(utf8Length(SynthesisPrompts::markdownSystemPrompt()), 3867);
    EXPECT_EQ(utf8Length(SynthesisPrompts::systemPrompt()), 1554);
    EXPECT_EQ(utf8Length(SynthesisPrompts::narrationFraming()), 148);
    EXPECT_EQ(utf8Length(SynthesisPrompts::taskStatement()), 642);

    const QString writer = SynthesisPrompts::markdownSystemPrompt();
    EXPECT_EQ(writer.count("Tavrik"), 1);
    EXPECT_EQ(SynthesisPrompts::systemPrompt().count("Tavrik"), 1);
    EXPECT_TRUE(writer.startsWith("You are Tavrik's skill writer."));
    EXPECT_TRUE(writer.endsWith("so the agent knows when to call finish."));
    EXPECT_TRUE(writer.contains(QString::fromUtf8("the search   URL when they searched")));
    EXPECT_TRUE(writer.contains(QString::fromUtf8("(\u22483\u20137 words)")));
    EXPECT_TRUE(writer.contains(QString::fromUtf8("with a trailing \u26A0\uFE0F.")));
    EXPECT_TRUE(writer.contains("\n\n## Success\n"));
    EXPECT_TRUE(SynthesisPrompts::systemPrompt().endsWith("Return only the structured object."));
    EXPECT_TRUE(SynthesisPrompts::narrationFraming().endsWith("and which "));
    EXPECT_TRUE(SynthesisPrompts::taskStatement().startsWith("\n## Your job\nConvert this into"));
    EXPECT_FALSE(SynthesisPrompts::taskStatement().endsWith("\n"));
}

void expectClosed(const QJsonObject& object, const QString& where) {
    EXPECT_EQ(object["type"].toString(), "object") << where.toStdString();
    EXPECT_EQ(object["additionalProperties"], QJsonValue(false)) << where.toStdString();
    const QJsonObject properties = object["properties"].toObject();
    const QJsonArray required = object["required"].toArray();
    EXPECT_EQ(required.size(), properties.size()) << where.toStdString();
    for (const QJsonValue& name : required)
        EXPECT_TRUE(properties.contains(name.toString())) << where.toStdString();
}

TEST(SynthesisPrompts, SchemaSurvivesSerialisationAndClosesEveryObject) {
    const QJsonObject schema =
        QJsonDocument::fromJson(QJsonDocument(SynthesisPrompts::schema()).toJson()).object();
    const QJsonArray required = schema["required"].toArray();
    ASSERT_EQ(required.size(), 7);
    EXPECT_EQ(required.toVariantList(),
              QJsonArray({"name", "trigger", "summary", "mode", "app_scope", "parameters", "plan"})
                  .toVariantList());
    EXPECT_FALSE(schema.contains("strict"));
    expectClosed(schema, "top");

    const QJsonObject properties = schema["properties"].toObject();
    EXPECT_EQ(properties["mode"].toObject()["enum"].toArray(), QJsonArray({"agentic", "replay"}));
    const QJsonObject parameter = properties["parameters"].toObject()["items"].toObject();
    expectClosed(parameter, "parameter");
    EXPECT_EQ(parameter["properties"].toObject()["type"].toObject()["enum"].toArray(),
              QJsonArray({"text", "date", "number", "filePath", "searchTerm"}));
    EXPECT_EQ(parameter["required"].toArray().last().toString(), "used_in_steps");

    const QJsonObject step = properties["plan"].toObject()["items"].toObject();
    expectClosed(step, "step");
    const QJsonObject stepProperties = step["properties"].toObject();
    EXPECT_EQ(stepProperties["action"].toObject()["enum"].toArray(),
              QJsonArray({"click", "rightClick", "doubleClick", "drag", "keystroke", "scroll",
                          "appSwitch", "windowFocus", "wait"}));
    EXPECT_EQ(stepProperties["text"].toObject(),
              QJsonObject({{"anyOf", QJsonArray{QJsonObject{{"type", "string"}},
                                                QJsonObject{{"type", "null"}}}}}));
    const QJsonArray targetChoices = stepProperties["target"].toObject()["anyOf"].toArray();
    ASSERT_EQ(targetChoices.size(), 2);
    expectClosed(targetChoices[0].toObject(), "target");
    EXPECT_EQ(targetChoices[0].toObject()["required"].toArray().size(), 5);
    EXPECT_EQ(targetChoices[1].toObject(), QJsonObject({{"type", "null"}}));
}

} // namespace
