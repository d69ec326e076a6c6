#include "Replay/Recorded.h"
#include "Support/TempSupportFolder.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Storage/RepairProposal.h"
#include "TavrikCore/Storage/SkillStore.h"

#include <QFile>
#include <QTimeZone>
#include <gtest/gtest.h>

namespace tavrik::test {
namespace {

QByteArray bytesOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// A saved two-step skill and a proposal to move its second step to a renamed button.
struct Proposal : ::testing::Test {
    TempSupportFolder support;
    SkillStore store;
    Skill skill;
    RepairProposal proposal;
    QByteArray markdownBefore;
    QByteArray planBefore;

    Proposal() {
        LiveWindow window{1,
                          QStringLiteral("org.example.Tasks"),
                          QStringLiteral("Tasks"),
                          QStringLiteral("Tasks"),
                          Rect(100, 100, 400, 300),
                          true};
        LiveElement title{2, 1, QStringLiteral("text"), QStringLiteral("Title")};
        title.path = QStringLiteral("filler:0/text:0");
        LiveElement add{3, 1, QStringLiteral("push button"), QStringLiteral("Add task")};
        add.path = QStringLiteral("filler:0/push button:2");
        skill.name = QStringLiteral("Add a task");
        skill.createdAt = QDateTime::fromSecsSinceEpoch(1'800'000'000, QTimeZone::utc());
        skill.plan = {recordedStep(0, ActionType::click, title, window),
                      recordedStep(1, ActionType::click, add, window)};
        EXPECT_TRUE(
            store.save(skill, QStringLiteral("---\nname: Add a task\n---\nMy own words.\n")).ok());

        LiveElement created = add;
        created.name = QStringLiteral("Create task");
        created.path = QStringLiteral("filler:0/box:1/push button:0");
        proposal = RepairProposal{skill.id,
                                  skill.name,
                                  {{1, skill.plan[1].id, skill.plan[1].intent,
                                    *skill.plan[1].target, recordedTarget(created, window)}}};
        EXPECT_TRUE(proposal.save().ok());
        markdownBefore = bytesOf(Paths::skill(skill.id) + QStringLiteral("/SKILL.md"));
        planBefore = bytesOf(Paths::skill(skill.id) + QStringLiteral("/execution_plan.json"));
    }
};

TEST_F(Proposal, IsKeptOutsideTheSkillAndReadsBackAsWritten) {
    EXPECT_TRUE(
        RepairProposal::path(skill.id).startsWith(Paths::support() + QStringLiteral("/repairs/")));
    EXPECT_FALSE(RepairProposal::path(skill.id).startsWith(Paths::skills()));
    EXPECT_EQ(RepairProposal::load(skill.id), proposal);
    EXPECT_EQ(
        proposal.describe(),
        QStringList{QStringLiteral(
            "Step 2 (Step on Add task): “Add task” (push button) → “Create task” (push button)")});
    EXPECT_EQ(RepairProposal::load(QUuid::createUuid()), std::nullopt);
}

TEST_F(Proposal, AcceptingRewritesThePlanAndKeepsTheUsersText) {
    ASSERT_TRUE(proposal.accept().ok());
    const Result<Skill> updated = store.load(Paths::skill(skill.id));
    ASSERT_TRUE(updated.ok());
    EXPECT_EQ(updated->plan[1].target, proposal.changes[0].after);
    EXPECT_EQ(updated->plan[0], skill.plan[0]);
    EXPECT_EQ(updated->plan[1].id, skill.plan[1].id);
    EXPECT_EQ(bytesOf(Paths::skill(skill.id) + QStringLiteral("/SKILL.md")), markdownBefore);
    EXPECT_NE(bytesOf(Paths::skill(skill.id) + QStringLiteral("/execution_plan.json")), planBefore);
    EXPECT_EQ(RepairProposal::load(skill.id), std::nullopt);
}

TEST_F(Proposal, RejectingOrAStaleProposalLeavesTheSkillByteForByte) {
    ASSERT_TRUE(RepairProposal::reject(skill.id).ok());
    EXPECT_EQ(RepairProposal::load(skill.id), std::nullopt);
    EXPECT_EQ(bytesOf(Paths::skill(skill.id) + QStringLiteral("/SKILL.md")), markdownBefore);
    EXPECT_EQ(bytesOf(Paths::skill(skill.id) + QStringLiteral("/execution_plan.json")), planBefore);

    // The skill was edited after the run: the old proposal no longer applies.
    Skill edited = skill;
    edited.plan[1].target->axTitle = QStringLiteral("Add item");
    ASSERT_TRUE(store.save(edited, QString::fromUtf8(markdownBefore)).ok());
    const QByteArray editedPlan =
        bytesOf(Paths::skill(skill.id) + QStringLiteral("/execution_plan.json"));
    ASSERT_TRUE(proposal.save().ok());
    const Result<> refused = proposal.accept();
    ASSERT_FALSE(refused.ok());
    EXPECT_EQ(refused.error(),
              QStringLiteral(
                  "step 2 of “Add a task” changed since the repair; the skill was left as it is"));
    EXPECT_EQ(bytesOf(Paths::skill(skill.id) + QStringLiteral("/execution_plan.json")), editedPlan);
    EXPECT_EQ(RepairProposal::load(skill.id), proposal);
}

} // namespace
} // namespace tavrik::test
