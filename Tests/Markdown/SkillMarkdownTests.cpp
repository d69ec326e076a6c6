#include "TavrikCore/Storage/SkillMarkdown.h"
#include "TavrikCore/Support/Json.h"

#include <gtest/gtest.h>
#include <limits>

using namespace tavrik;

namespace {

Skill parsed(const QString& text) {
    std::optional<Skill> skill = SkillMarkdown::parse(text);
    EXPECT_TRUE(skill.has_value());
    return skill.value_or(Skill{});
}

PlanStep step(qint64 index, const QString& intent) {
    PlanStep s;
    s.index = index;
    s.intent = intent;
    return s;
}

Parameter parameter(const QString& name, ParameterType type, const QString& prompt,
                    const QString& example) {
    Parameter p;
    p.name = name;
    p.type = type;
    p.prompt = prompt;
    p.exampleValue = example;
    p.usedInSteps = {0, 1};
    return p;
}

RuntimeSpec openURL(const QString& url) {
    RuntimeSpec spec;
    spec.type = "open_url";
    spec.urlTemplate = url;
    return spec;
}

const QDateTime kCreated = QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5), Qt::UTC);

} // namespace

TEST(SkillMarkdownRender, MinimalSkill) {
    Skill skill;
    skill.name = "Plain";
    skill.trigger = "do it";
    skill.createdAt = kCreated;
    EXPECT_EQ(SkillMarkdown::render(skill), "---\n"
                                            "name: Plain\n"
                                            "trigger: do it\n"
                                            "mode: skill\n"
                                            "created: 2026-01-02T03:04:05Z\n"
                                            "app_scope: []\n"
                                            "---\n"
                                            "\n"
                                            "# Plain\n"
                                            "\n"
                                            "\n"
                                            "\n"
                                            "## Steps\n"
                                            "\n");
}

TEST(SkillMarkdownRender, FullSkill) {
    Skill skill;
    skill.name = "Search: Web";
    skill.trigger = "search the web for {{query}}";
    skill.summary = "Looks something up, then files it.";
    skill.createdAt = QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5, 678), Qt::UTC);
    skill.appScope = {"org.mozilla.firefox", "a,b", "-dash"};
    skill.url = "https://example.com/start";
    RuntimeSpec runtime;
    runtime.type = "sequence";
    runtime.app = "";
    runtime.urlTemplate = "https://example.com/?q={{query|urlencode}}";
    runtime.urlTemplates = QList<QString>{"plain", "with \"quote\" #1"};
    RuntimeSpec second;
    second.type = "open_url";
    second.app = "not written";
    second.steps = QList<RuntimeSpec>{openURL("nested, not written")};
    runtime.steps = QList<RuntimeSpec>{openURL("https://a.example/"), second};
    skill.runtime = runtime;
    skill.parameters = {parameter("query", ParameterType::searchTerm, "What to search?", "cats"),
                        parameter("when", ParameterType::date, "", "")};
    PlanStep last = step(6, "Delete the draft");
    last.precondition = "the draft is open";
    last.isDestructive = true;
    PlanStep warned = step(1, "Empty the trash");
    warned.isDestructive = true;
    PlanStep checked = step(2, "Type it");
    checked.precondition = "field focused";
    skill.plan = {step(0, "Open the browser"), warned, checked, last};

    EXPECT_EQ(SkillMarkdown::render(skill),
              "---\n"
              "name: \"Search: Web\"\n"
              "trigger: search the web for {{query}}\n"
              "mode: skill\n"
              "created: 2026-01-02T03:04:05Z\n"
              "app_scope: [org.mozilla.firefox, \"a,b\", -dash]\n"
              "url: \"https://example.com/start\"\n"
              "runtime:\n"
              "  type: sequence\n"
              "  app: \n"
              "  url_template: \"https://example.com/?q={{query|urlencode}}\"\n"
              "  url_templates:\n"
              "    - plain\n"
              "    - \"with \\\"quote\\\" #1\"\n"
              "  steps:\n"
              "    - type: open_url\n"
              "      url_template: \"https://a.example/\"\n"
              "    - type: open_url\n"
              "parameters:\n"
              "  - name: query\n"
              "    type: searchTerm\n"
              "    prompt: What to search?\n"
              "    example: cats\n"
              "  - name: when\n"
              "    type: date\n"
              "    prompt: \n"
              "    example: \n"
              "---\n"
              "\n"
              "# Search: Web\n"
              "\n"
              "Looks something up, then files it.\n"
              "\n"
              "## Steps\n"
              "\n"
              "1. Open the browser\n"
              "2. Empty the trash \u26A0\uFE0F\n"
              "3. Type it _(precondition: field focused)_\n"
              "7. Delete the draft _(precondition: the draft is open)_ \u26A0\uFE0F\n");
}

TEST(SkillMarkdownRender, StepNumbersComeFromTheIndex) {
    Skill skill;
    skill.plan = {step(-1, "minus"), step(std::numeric_limits<qint64>::max(), "top")};
    EXPECT_TRUE(
        SkillMarkdown::render(skill).endsWith("## Steps\n\n0. minus\n9223372036854775808. top\n"));
}

TEST(SkillMarkdownRender, QuotingTriggersOnlyOnItsCharacters) {
    auto nameLine = [](const QString& name) {
        Skill skill;
        skill.name = name;
        return SkillMarkdown::render(skill).section('\n', 1, 1);
    };
    EXPECT_EQ(nameLine("a:b"), "name: \"a:b\"");
    EXPECT_EQ(nameLine("a#b"), "name: \"a#b\"");
    EXPECT_EQ(nameLine("a,b"), "name: \"a,b\"");
    EXPECT_EQ(nameLine("a[b"), "name: \"a[b\"");
    EXPECT_EQ(nameLine(" lead"), "name: \" lead\"");
    EXPECT_EQ(nameLine("say \"hi\" #2"), "name: \"say \\\"hi\\\" #2\"");
    // Nothing else quotes, even what YAML would choke on.
    EXPECT_EQ(nameLine("a]b"), "name: a]b");
    EXPECT_EQ(nameLine("-lead"), "name: -lead");
    EXPECT_EQ(nameLine("trail "), "name: trail ");
    EXPECT_EQ(nameLine("say \"hi\""), "name: say \"hi\"");
    EXPECT_EQ(nameLine(""), "name: ");
}

TEST(SkillMarkdownRender, RuntimeListsPresentButEmptyKeepTheirHeaders) {
    Skill skill;
    skill.createdAt = kCreated;
    RuntimeSpec runtime;
    runtime.type = "open_url";
    runtime.urlTemplates = QList<QString>{};
    runtime.steps = QList<RuntimeSpec>{};
    skill.runtime = runtime;
    skill.url = "";
    const QString text = SkillMarkdown::render(skill);
    EXPECT_TRUE(text.contains("app_scope: []\nruntime:\n  type: open_url\n  url_templates:\n"
                              "  steps:\n---\n"))
        << text.toStdString();
}

TEST(SkillMarkdownRoundTrip, FrontMatterSurvivesAndQuotesKeepTheirBackslash) {
    Skill skill;
    skill.name = "Say \"hi\" #now";
    skill.trigger = "when: greeting";
    skill.summary = "Greets.";
    skill.createdAt = kCreated;
    skill.appScope = {"org.gnome.Nautilus", "org.mozilla.firefox"};
    skill.url = "https://example.com/a,b";
    skill.runtime = openURL("https://example.com/?q={{q|urlencode}}");
    skill.runtime->app = "org.mozilla.firefox";
    skill.parameters = {parameter("q", ParameterType::number, "How many?", "3")};
    skill.plan = {step(0, "Open")};

    const Skill back = parsed(SkillMarkdown::render(skill));
    EXPECT_EQ(back.name, "Say \\\"hi\\\" #now");
    EXPECT_EQ(back.trigger, "when: greeting");
    EXPECT_EQ(back.summary, "Greets.");
    EXPECT_EQ(back.createdAt, kCreated);
    EXPECT_EQ(back.appScope, skill.appScope);
    EXPECT_EQ(back.url, skill.url);
    EXPECT_EQ(back.runtime, skill.runtime);
    ASSERT_EQ(back.parameters.size(), 1);
    EXPECT_EQ(back.parameters[0].name, "q");
    EXPECT_EQ(back.parameters[0].type, ParameterType::number);
    EXPECT_EQ(back.parameters[0].prompt, "How many?");
    EXPECT_EQ(back.parameters[0].exampleValue, "3");
    EXPECT_TRUE(back.parameters[0].usedInSteps.isEmpty());
    EXPECT_NE(back.parameters[0].id, skill.parameters[0].id);
    EXPECT_TRUE(back.plan.isEmpty());
    EXPECT_NE(back.id, skill.id);
    EXPECT_FALSE(back.sourceRecordingID);
}

TEST(SkillMarkdownRoundTrip, EmptySummaryFallsBackToFirstStepLine) {
    Skill skill;
    skill.name = "Tidy";
    skill.createdAt = kCreated;
    skill.plan = {step(0, "Open the folder"), step(1, "Sort")};
    EXPECT_EQ(parsed(SkillMarkdown::render(skill)).summary, "1. Open the folder");
}

TEST(SkillMarkdownParse, DirectFixture) {
    const Skill skill = parsed("---\n"
                               "name: Search Google\n"
                               "description: Searches Google for a phrase.\n"
                               "trigger: search Google for {{search_query}}\n"
                               "mode: direct\n"
                               "app_scope: [com.google.Chrome]\n"
                               "runtime:\n"
                               "  type: open_url\n"
                               "  app: com.google.Chrome\n"
                               "  url_template: "
                               "\"https://www.google.com/search?q={{search_query|urlencode}}\"\n"
                               "parameters:\n"
                               "  - name: search_query\n"
                               "    type: text\n"
                               "    prompt: What should Google search for?\n"
                               "    example: claude code\n"
                               "---\n"
                               "\n"
                               "# Search Google\n"
                               "\n"
                               "Opens a Google search.\n");
    EXPECT_EQ(skill.name, "Search Google");
    EXPECT_EQ(skill.summary, "Searches Google for a phrase.");
    EXPECT_EQ(skill.trigger, "search Google for {{search_query}}");
    EXPECT_EQ(skill.mode, ExecutionMode::skill);
    EXPECT_EQ(skill.appScope, QList<QString>{"com.google.Chrome"});
    ASSERT_TRUE(skill.runtime);
    EXPECT_EQ(skill.runtime->type, "open_url");
    EXPECT_EQ(skill.runtime->app, "com.google.Chrome");
    EXPECT_EQ(skill.runtime->urlTemplate,
              "https://www.google.com/search?q={{search_query|urlencode}}");
    EXPECT_FALSE(skill.runtime->urlTemplates);
    EXPECT_FALSE(skill.runtime->steps);
    ASSERT_EQ(skill.parameters.size(), 1);
    EXPECT_EQ(skill.parameters[0].name, "search_query");
    EXPECT_EQ(skill.parameters[0].type, ParameterType::text);
    EXPECT_EQ(skill.parameters[0].prompt, "What should Google search for?");
    EXPECT_EQ(skill.parameters[0].exampleValue, "claude code");
    EXPECT_EQ(skill.createdAt, QDateTime::fromSecsSinceEpoch(0, Qt::UTC));
}

TEST(SkillMarkdownParse, SequenceFixture) {
    const Skill skill = parsed("---\n"
                               "name: Open Facebook and Claude\n"
                               "mode: direct\n"
                               "created: 2026-03-04T05:06:07Z\n"
                               "app_scope: [com.google.Chrome]\n"
                               "runtime:\n"
                               "  type: sequence\n"
                               "  app: com.google.Chrome\n"
                               "  steps:\n"
                               "    - type: open_url\n"
                               "      url_template: \"https://www.facebook.com/\"\n"
                               "\n"
                               "    - type: open_url\n"
                               "      url_template: \"https://claude.ai/\"\n"
                               "---\n"
                               "# Open Facebook and Claude\n");
    EXPECT_EQ(skill.trigger, "Open Facebook and Claude");
    EXPECT_EQ(skill.summary, "");
    EXPECT_EQ(skill.createdAt, QDateTime(QDate(2026, 3, 4), QTime(5, 6, 7), Qt::UTC));
    ASSERT_TRUE(skill.runtime);
    EXPECT_EQ(skill.runtime->type, "sequence");
    EXPECT_EQ(skill.runtime->app, "com.google.Chrome");
    ASSERT_TRUE(skill.runtime->steps);
    ASSERT_EQ(skill.runtime->steps->size(), 2);
    EXPECT_EQ(skill.runtime->steps->at(0).type, "open_url");
    EXPECT_FALSE(skill.runtime->steps->at(0).app);
    EXPECT_EQ(skill.runtime->allURLTemplates(),
              (QList<QString>{"https://www.facebook.com/", "https://claude.ai/"}));
}

TEST(SkillMarkdownParse, RuntimeTypeDefaultsAndBlockEdges) {
    auto runtimeOf = [](const QString& block) {
        return parsed("---\nname: R\nruntime:\n" + block + "---\n").runtime;
    };
    auto onlyTemplate = runtimeOf("  url_template: https://x.example/\n");
    ASSERT_TRUE(onlyTemplate);
    EXPECT_EQ(onlyTemplate->type, "open_url");

    auto onlySteps = runtimeOf("  steps:\n    - type: open_url\n    - url_template: no type\n"
                               "    - type: custom\n      app: org.example\n");
    ASSERT_TRUE(onlySteps && onlySteps->steps);
    EXPECT_EQ(onlySteps->type, "sequence");
    ASSERT_EQ(onlySteps->steps->size(), 2); // the step without a type is dropped
    EXPECT_EQ(onlySteps->steps->at(1).type, "custom");
    EXPECT_EQ(onlySteps->steps->at(1).app, "org.example");

    // A list ends at its first non-item line, which is then read as a key of the runtime.
    auto list = runtimeOf("\turl_templates:\n    - \"a\"\n    -  b \n  app: org.example\n"
                          "  colour: red\n");
    ASSERT_TRUE(list);
    EXPECT_EQ(list->urlTemplates, (QList<QString>{"a", "b"}));
    EXPECT_EQ(list->app, "org.example");
    EXPECT_EQ(list->type, "open_url");

    // An unindented line ends the block.
    const Skill ended = parsed("---\nruntime:\n  type: custom\nname: N\n  app: lost\n---\n");
    ASSERT_TRUE(ended.runtime);
    EXPECT_EQ(ended.runtime->type, "custom");
    EXPECT_FALSE(ended.runtime->app);
    EXPECT_EQ(ended.name, "N");

    EXPECT_FALSE(parsed("---\nname: N\n---\nruntime:\n  type: open_url\n").runtime);
    EXPECT_EQ(parsed("---\nruntime:\n---\n").runtime, RuntimeSpec{"open_url"});
}

TEST(SkillMarkdownParse, ParameterItems) {
    const Skill skill = parsed("---\n"
                               "parameters:\n"
                               "  - name: first\n"
                               "    type: colour\n"
                               "    example_value: red\n"
                               "  - type: number\n"
                               "    prompt: no name, dropped\n"
                               "  - name: \"second\"\n"
                               "    type: filePath\n"
                               "    example: ~/a.txt\n"
                               "    example_value: ignored\n"
                               "  - name: third\n"
                               "\n"
                               "  - name: after the blank line\n"
                               "---\n");
    ASSERT_EQ(skill.parameters.size(), 3);
    EXPECT_EQ(skill.parameters[0].name, "first");
    EXPECT_EQ(skill.parameters[0].type, ParameterType::text);
    EXPECT_EQ(skill.parameters[0].exampleValue, "red");
    EXPECT_EQ(skill.parameters[0].prompt, "");
    EXPECT_EQ(skill.parameters[1].name, "second");
    EXPECT_EQ(skill.parameters[1].type, ParameterType::filePath);
    EXPECT_EQ(skill.parameters[1].exampleValue, "~/a.txt");
    EXPECT_EQ(skill.parameters[2].name, "third");
    EXPECT_NE(skill.parameters[0].id, skill.parameters[1].id);
}

TEST(SkillMarkdownParse, FrontMatterKeysAndQuirks) {
    const Skill skill = parsed("---\n"
                               "name: first\n"
                               "name: \"second\"\n"
                               "  trigger: indented, so part of a block\n"
                               "\ttrigger: tab-indented still counts\n"
                               "no colon here\n"
                               "url: \"\n"
                               "app_scope: [\"a, b\", c, , \"d\"]\n"
                               "created: yesterday\n"
                               "colour: unknown keys are harmless\n"
                               "description:\n"
                               " --- \n"
                               "\n"
                               "# Heading\n"
                               "   # indented heading-like line\n");
    EXPECT_EQ(skill.name, "second");
    EXPECT_EQ(skill.trigger, "tab-indented still counts");
    EXPECT_EQ(skill.url, "\""); // a lone quote is not a pair
    EXPECT_EQ(skill.appScope, (QList<QString>{"\"a", "b\"", "c", "d"}));
    EXPECT_EQ(skill.createdAt, QDateTime::fromSecsSinceEpoch(0, Qt::UTC));
    // An empty description is never stored, so the body supplies the summary; the heading
    // test looks at the untrimmed line.
    EXPECT_EQ(skill.summary, "# indented heading-like line");
}

TEST(SkillMarkdownParse, WithoutFrontMatter) {
    const Skill skill = parsed("# My notes\n\n  First real line  \nSecond\n");
    EXPECT_EQ(skill.name, "Untitled skill");
    EXPECT_EQ(skill.trigger, "Untitled skill");
    EXPECT_EQ(skill.summary, "First real line");
    EXPECT_FALSE(skill.runtime);
    EXPECT_TRUE(skill.parameters.isEmpty());
    EXPECT_TRUE(skill.appScope.isEmpty());
    EXPECT_FALSE(skill.url);

    // Keys are only read between the markers.
    EXPECT_EQ(parsed(" ---\nname: X\n---\n").name, "Untitled skill");
    EXPECT_EQ(parsed("").name, "Untitled skill");
    EXPECT_EQ(parsed("").summary, "");
    EXPECT_EQ(parsed("---").name, "Untitled skill");
}

TEST(SkillMarkdownParse, UnclosedFrontMatterHasNoBody) {
    const Skill skill = parsed("---\n"
                               "name: Open\n"
                               "parameters:\n"
                               "  - name: p\n"
                               "# Not a body\n"
                               "Not a summary either\n");
    EXPECT_EQ(skill.name, "Open");
    EXPECT_EQ(skill.summary, "");
    ASSERT_EQ(skill.parameters.size(), 1);
    EXPECT_EQ(parsed("---\nname: Open\ndescription: given\nbody?\n").summary, "given");
}

TEST(SkillMarkdownParse, WindowsLineEndings) {
    const Skill skill = parsed("---\r\n"
                               "name: Windows\r\n"
                               "trigger: \"quoted\"\r\n"
                               "app_scope: [a, b]\r\n"
                               "runtime:\r\n"
                               "  url_template: https://x.example/\r\n"
                               "\r\n"
                               "parameters:\r\n"
                               "  - name: p\r\n"
                               "    type: date\r\n"
                               "---\r\n"
                               "\r\n"
                               "# Windows\r\n"
                               "\r\n"
                               "Summary line\r\n");
    EXPECT_EQ(skill.name, "Windows");
    EXPECT_EQ(skill.trigger, "quoted");
    EXPECT_EQ(skill.appScope, (QList<QString>{"a", "b"}));
    ASSERT_TRUE(skill.runtime);
    EXPECT_EQ(skill.runtime->urlTemplate, "https://x.example/");
    ASSERT_EQ(skill.parameters.size(), 1);
    EXPECT_EQ(skill.parameters[0].type, ParameterType::date);
    EXPECT_EQ(skill.summary, "Summary line");
    // A carriage return that does not end a line is content.
    EXPECT_EQ(parsed("---\nname: a\rb\n---\n").name, "a\rb");
}

TEST(SkillMarkdownParse, ByteOrderMarkIsIgnored) {
    EXPECT_EQ(parsed(QString::fromUtf8("\xEF\xBB\xBF---\nname: Bom\n---\n")).name, "Bom");
}

TEST(SkillMarkdownParse, GarbageBytesStillGiveASkill) {
    QByteArray bytes;
    for (int i = 0; i < 4096; ++i)
        bytes.append(char((i * 131 + 7) % 256));
    const Skill fromNoise = parsed(QString::fromUtf8(bytes));
    EXPECT_EQ(fromNoise.name, "Untitled skill");

    const Skill broken = parsed(QString::fromUtf8("---\nname: caf\xC3\n\xFF\xFE: x\n---\n\x80"));
    EXPECT_EQ(broken.name, QString::fromUtf8("caf\xEF\xBF\xBD")); // replacement character
    EXPECT_EQ(broken.summary, QString(QChar(0xFFFD)));
}

// A quadratic pass over this would run into the test timeout.
TEST(SkillMarkdownParse, BigFile) {
    QString text = "---\nname: Big\nparameters:\n";
    text.reserve(11 * 1024 * 1024);
    while (text.size() < 5 * 1024 * 1024)
        text += "  - name: p\n    type: text\n    prompt: a question: with a colon\n";
    text += "runtime:\n  steps:\n";
    while (text.size() < 10 * 1024 * 1024)
        text += "    - type: open_url\n      url_template: https://example.com/\n";
    text += "---\n# Big\n" + QString(1024 * 1024, u'x') + "\n";

    const Skill skill = parsed(text);
    EXPECT_EQ(skill.name, "Big");
    EXPECT_GT(skill.parameters.size(), 50000);
    ASSERT_TRUE(skill.runtime && skill.runtime->steps);
    EXPECT_GT(skill.runtime->steps->size(), 50000);
    EXPECT_EQ(skill.summary.size(), 1024 * 1024);
}

TEST(SkillMarkdown, InstructionStepsAreTheNumberedListUnderTheirHeading) {
    const QString text =
        "---\nname: Order\n---\n\n# Order\n\n1. Not a step: the summary says so.\n\n"
        "## Instructions\n1. Open https://shop.example/\n2. Type {{item}} into the search\n"
        "   field and press Enter\n\n10. Click Buy ⚠️\n- a remark\n\n## Success\n1. Done.\n";
    EXPECT_EQ(
        SkillMarkdown::instructionSteps(text),
        (QStringList{"Open https://shop.example/",
                     "Type {{item}} into the search field and press Enter", "Click Buy ⚠️"}));
    // Rendered skills number their steps under "Steps"; a text without either heading has none.
    EXPECT_EQ(SkillMarkdown::instructionSteps("# Order\n\n## Steps\n\n1. Press Return\n"),
              QStringList{"Press Return"});
    EXPECT_TRUE(SkillMarkdown::instructionSteps("# Order\n\n1. Press key 36\n").isEmpty());
}
