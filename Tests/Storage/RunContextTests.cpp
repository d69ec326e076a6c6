#include "Support/TempSupportFolder.h"
#include "TavrikCore/Storage/AuditLog.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Storage/RunContext.h"

#include <QFile>
#include <QJsonDocument>
#include <QThread>
#include <gtest/gtest.h>

using namespace tavrik;

TEST(RunContext, FillReplacesOnlyExactUnfilteredPlaceholders) {
    RunContext context(Skill{}, {{"query", "cats"}, {"search_query", "dogs"}});
    EXPECT_EQ(context.fill("{{query}} and {{query}}"), "cats and cats");
    EXPECT_EQ(context.fill("{{Query}} {{other}}"), "{{Query}} {{other}}");
    EXPECT_EQ(context.fill("search?q={{search_query|urlencode}}"),
              "search?q={{search_query|urlencode}}");
    EXPECT_EQ(context.fill("{{ query }}{query}"), "{{ query }}{query}");
}

TEST(RunContext, AbortIsStickyAndAuditTrailKeepsOrderAcrossThreads) {
    RunContext context(Skill{}, {});
    EXPECT_FALSE(context.aborted());
    std::unique_ptr<QThread> writer(QThread::create([&] {
        for (int i = 0; i < 500; ++i)
            context.record(
                {QDateTime::currentDateTimeUtc(), QString::number(i), ActionType::wait, {}, true});
        context.abort();
    }));
    writer->start();
    for (int i = 0; i < 500; ++i)
        context.record({QDateTime::currentDateTimeUtc(), "main", ActionType::click, {}, false});
    writer->wait();
    context.abort();
    EXPECT_TRUE(context.aborted());
    const QList<AuditEntry> entries = context.auditLog();
    ASSERT_EQ(entries.size(), 1000);
    int expected = 0;
    for (const AuditEntry& entry : entries) {
        if (entry.agentic) {
            EXPECT_EQ(entry.intent, QString::number(expected++));
        }
    }
}

TEST(AuditLog, AppendsCompactLinesCreatingTheFolder) {
    test::TempSupportFolder support;
    RunRecord first{QDateTime::fromSecsSinceEpoch(1767323045, Qt::UTC),
                    "Search \"Google\"",
                    "agent",
                    {"(no tool calls)"},
                    false};
    AuditLog::append(first);
    QFile file(AuditLog::filePath());
    EXPECT_EQ(AuditLog::filePath(), Paths::logs() + "/runs.jsonl");
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray line =
        R"json({"aborted":false,"actions":["(no tool calls)"],"mode":"agent","skill":"Search \"Google\"","startedAt":"2026-01-02T03:04:05Z"})json"
        "\n";
    EXPECT_EQ(file.readAll(), line);
    file.close();

    RunRecord second = first;
    second.aborted = true;
    second.actions = {"open https://example.org", "finish"};
    AuditLog::append(second);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = file.readAll().split('\n');
    ASSERT_EQ(lines.size(), 3);
    EXPECT_EQ(lines[0] + '\n', line);
    EXPECT_EQ(RunRecord::fromJson(QJsonDocument::fromJson(lines[1]).object()).valueOr({}), second);
    EXPECT_TRUE(lines[2].isEmpty());
}

TEST(AuditLog, UnwritableLogsFolderIsSilentlyIgnored) {
    test::TempSupportFolder support;
    QDir().mkpath(Paths::support());
    QFile blocker(Paths::logs());
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly)); // a file where the folder should be
    blocker.close();
    AuditLog::append({QDateTime::currentDateTimeUtc(), "x", "agent", {}, false});
    EXPECT_FALSE(QFileInfo(AuditLog::filePath()).exists());
}
