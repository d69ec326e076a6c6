#include "Tavrik/Palette/PaletteRows.h"
#include "Tavrik/Palette/PaletteValuesForm.h"
#include "Tavrik/Palette/PaletteView.h"
#include "Tavrik/Palette/PaletteWindow.h"
#include "TavrikCore/Palette/PaletteModel.h"
#include "ViewsTestSupport.h"

#include <QKeyEvent>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPointer>
#include <QPushButton>
#include <gtest/gtest.h>
#include <memory>

using namespace tavrik;
using namespace tavrik::testing;

namespace {

QList<Skill> numberedSkills(int count) {
    QList<Skill> skills;
    for (int i = 0; i < count; ++i)
        skills << makeSkill(QStringLiteral("Report %1").arg(i));
    return skills;
}

} // namespace

TEST(PaletteModel, WithNoSkillsOnlyTheRecordRowShows) {
    PaletteModel model;
    model.setSkills({});
    EXPECT_EQ(model.rowCount(), 1);
    EXPECT_EQ(model.recordRow(), 0);
    EXPECT_EQ(model.activate().kind, PaletteModel::Choice::Kind::record);
    model.move(+1);
    model.move(-1);
    EXPECT_EQ(model.selectedIndex(), 0);
}

TEST(PaletteModel, ShowsEightRowsAndClampsTheSelection) {
    PaletteModel model;
    model.setSkills(numberedSkills(12));
    EXPECT_EQ(model.shownSkills().size(), 8);
    EXPECT_EQ(model.rowCount(), 9);

    model.move(-1);
    EXPECT_EQ(model.selectedIndex(), 0);
    for (int i = 0; i < 20; ++i)
        model.move(+1);
    EXPECT_EQ(model.selectedIndex(), 8);
    EXPECT_EQ(model.activate().kind, PaletteModel::Choice::Kind::record);
    model.move(-3);
    EXPECT_EQ(model.selectedIndex(), 5);
    EXPECT_EQ(model.activate().skill.name, "Report 5");
}

TEST(PaletteModel, QueryRanksAndResetsTheSelection) {
    PaletteModel model;
    model.setSkills(
        {makeSkill("Send invoice"), makeSkill("Weekly report"), makeSkill("Rename files")});
    model.move(+2);
    model.setQuery(QStringLiteral("rep"));
    EXPECT_EQ(model.selectedIndex(), 0);
    ASSERT_FALSE(model.shownSkills().isEmpty());
    EXPECT_EQ(model.shownSkills().first().name, "Weekly report");

    model.setQuery(QStringLiteral("qqqq"));
    EXPECT_TRUE(model.shownSkills().isEmpty());
    EXPECT_EQ(model.activate().kind, PaletteModel::Choice::Kind::record);

    // A shrinking library keeps the selection on a row that exists.
    model.setQuery({});
    model.move(+3);
    model.setSkills({makeSkill("Only one")});
    EXPECT_EQ(model.selectedIndex(), 1);
}

TEST(PaletteModel, SearchesEachTextOfTheCurrentLibraryAlsoInACopy) {
    Skill silent = makeSkill("Zip the résumé");
    silent.trigger.clear();
    Skill byTrigger = makeSkill("Backup");
    byTrigger.trigger = QStringLiteral("nightly snapshot");
    auto names = [](const PaletteModel& model) {
        QStringList all;
        for (const Skill& skill : model.shownSkills())
            all << skill.name;
        return all;
    };

    PaletteModel model;
    model.setSkills({makeSkill("Send invoice"), silent, byTrigger});
    model.setQuery(QStringLiteral("RÉSUMÉ"));
    EXPECT_EQ(names(model), QStringList{"Zip the résumé"});
    model.setQuery(QStringLiteral("snapshot"));
    EXPECT_EQ(names(model), QStringList{"Backup"});
    model.setQuery(QStringLiteral("/send-inv"));
    EXPECT_EQ(names(model), QStringList{"Send invoice"});

    // A new library replaces what is searched.
    model.setSkills({makeSkill("Book a flight"), makeSkill("Send a postcard")});
    model.setQuery(QStringLiteral("invoice"));
    EXPECT_TRUE(names(model).isEmpty());
    model.setQuery(QStringLiteral("send"));
    EXPECT_EQ(names(model), QStringList{"Send a postcard"});

    // A copy keeps searching once the original is gone.
    auto original = std::make_unique<PaletteModel>(model);
    PaletteModel copy = *original;
    original.reset();
    model = PaletteModel();
    copy.setQuery(QStringLiteral("flight"));
    EXPECT_EQ(names(copy), QStringList{"Book a flight"});
}

TEST(PaletteModel, CastsWithExampleValuesLaterNamesWinning) {
    PaletteModel model;
    model.setSkills({makeSkill("Timesheet", {makeParameter("week_ending", "2026-06-06")}),
                     makeSkill("Twice", {makeParameter("who", "Ann"), makeParameter("where", ""),
                                         makeParameter("who", "Bob")})});
    const PaletteModel::Choice first = model.choose(0);
    EXPECT_EQ(first.kind, PaletteModel::Choice::Kind::cast);
    EXPECT_EQ(first.parameters, (QMap<QString, QString>{{"week_ending", "2026-06-06"}}));
    EXPECT_EQ(model.choose(1).parameters, (QMap<QString, QString>{{"who", "Bob"}, {"where", ""}}));
    EXPECT_EQ(model.choose(2).kind, PaletteModel::Choice::Kind::record);
}

TEST(PaletteModel, RecordRowFollowsTheProgramMode) {
    using Action = PaletteModel::RecordAction;
    EXPECT_EQ(PaletteModel::recordAction(TavrikState::idle()), Action::start);
    EXPECT_EQ(PaletteModel::recordAction(TavrikState::recording()), Action::stop);
    EXPECT_EQ(PaletteModel::recordAction(TavrikState::creatingSkill()), Action::replaceDraft);
    EXPECT_EQ(PaletteModel::recordAction(TavrikState::synthesizing()), Action::none);
    EXPECT_EQ(PaletteModel::recordAction(TavrikState::casting("x")), Action::none);
}

TEST(PaletteView, KeysDriveTheSelectionAndReturnCasts) {
    PaletteView view;
    view.setSkills(
        {makeSkill("Timesheet", {makeParameter("week_ending", "2026-06-06")}), makeSkill("Other")});
    QList<QPair<QString, QMap<QString, QString>>> casts;
    bool closed = false;
    QObject::connect(&view, &PaletteView::castRequested,
                     [&](const Skill& skill, const QMap<QString, QString>& values) {
                         casts.append({skill.name, values});
                     });
    QObject::connect(&view, &PaletteView::closed, [&] { closed = true; });

    pressKey(view.searchField(), Qt::Key_Down);
    pressKey(view.searchField(), Qt::Key_Up);
    pressKey(view.searchField(), Qt::Key_Return);
    ASSERT_EQ(casts.size(), 1);
    EXPECT_EQ(casts[0].first, "Timesheet");
    EXPECT_EQ(casts[0].second.value("week_ending"), "2026-06-06");
    EXPECT_TRUE(view.isDismissing());

    // A second Return while the panel fades out does not cast again.
    pressKey(view.searchField(), Qt::Key_Return);
    EXPECT_EQ(casts.size(), 1);
    EXPECT_TRUE(waitUntil([&] { return closed; }));
}

TEST(PaletteView, TabAsksForTheValuesAndReturnCastsWithThemUnlessThereAreNone) {
    PaletteView view;
    view.setSkills(
        {makeSkill("Find Flights", {makeParameter("to", "Lisbon"), makeParameter("when", "May")}),
         makeSkill("Plain")});
    QList<QMap<QString, QString>> casts;
    QObject::connect(
        &view, &PaletteView::castRequested,
        [&](const Skill&, const QMap<QString, QString>& values) { casts.append(values); });
    const int listHeight = view.height();

    pressKey(view.searchField(), Qt::Key_Tab);
    PaletteValuesForm* form = view.valuesForm();
    ASSERT_NE(form, nullptr);
    ASSERT_EQ(form->fields().size(), 2);
    EXPECT_EQ(form->fields()[0]->text(), "Lisbon"); // the examples, ready to be typed over
    EXPECT_EQ(form->fields()[1]->text(), "May");
    EXPECT_NE(view.height(), listHeight);

    // Escape goes back to the list without casting; Shift+Return opens the form too.
    pressKey(form->fields()[0], Qt::Key_Escape);
    EXPECT_EQ(view.valuesForm(), nullptr);
    EXPECT_FALSE(view.isDismissing());
    QKeyEvent shiftReturn(QEvent::KeyPress, Qt::Key_Return, Qt::ShiftModifier);
    QCoreApplication::sendEvent(view.searchField(), &shiftReturn);
    form = view.valuesForm();
    ASSERT_NE(form, nullptr);
    EXPECT_TRUE(casts.isEmpty());

    form->fields()[0]->setText("Porto");
    pressKey(form->fields()[1], Qt::Key_Return);
    ASSERT_EQ(casts.size(), 1);
    EXPECT_EQ(casts[0], (QMap<QString, QString>{{"to", "Porto"}, {"when", "May"}}));
    EXPECT_TRUE(view.isDismissing());

    // A skill without parameters has no form: Tab does nothing and Shift+Return casts it.
    PaletteView plain;
    plain.setSkills({makeSkill("Plain")});
    QObject::connect(
        &plain, &PaletteView::castRequested,
        [&](const Skill&, const QMap<QString, QString>& values) { casts.append(values); });
    pressKey(plain.searchField(), Qt::Key_Tab);
    EXPECT_EQ(plain.valuesForm(), nullptr);
    EXPECT_EQ(casts.size(), 1);
    QKeyEvent plainShiftReturn(QEvent::KeyPress, Qt::Key_Return, Qt::ShiftModifier);
    QCoreApplication::sendEvent(plain.searchField(), &plainShiftReturn);
    EXPECT_EQ(casts.size(), 2);
}

TEST(PaletteView, TypingFiltersAndResizesThePanel) {
    PaletteView view;
    view.setSkills(numberedSkills(12) << makeSkill("Pay invoice"));
    EXPECT_LE(view.height(), PaletteView::maxPanelHeight);
    EXPECT_GT(view.height(), 400);
    view.searchField()->setText(QStringLiteral("invoice"));
    EXPECT_EQ(view.model().shownSkills().size(), 1);
    EXPECT_LT(view.height(), 200);
    view.searchField()->setText(QStringLiteral("zzzz"));
    EXPECT_EQ(view.model().rowCount(), 1);
}

TEST(PaletteView, RecordRowActsByModeAndEscapeOnlyCloses) {
    for (const auto& [state, expected] : QList<QPair<TavrikState, int>>{
             {TavrikState::idle(), int(PaletteModel::RecordAction::start)},
             {TavrikState::casting("Run"), -1}}) {
        PaletteView view;
        view.setProgramState(state);
        view.setSkills({makeSkill("A")});
        int action = -1;
        QObject::connect(&view, &PaletteView::recordRequested,
                         [&](PaletteModel::RecordAction a) { action = int(a); });
        pressKey(view.searchField(), Qt::Key_Down);
        pressKey(view.searchField(), Qt::Key_Return);
        EXPECT_EQ(action, expected);
        EXPECT_TRUE(view.isDismissing());
    }

    PaletteView view;
    view.setSkills({makeSkill("A")});
    bool acted = false;
    QObject::connect(&view, &PaletteView::castRequested, [&] { acted = true; });
    QObject::connect(&view, &PaletteView::recordRequested, [&] { acted = true; });
    pressKey(view.searchField(), Qt::Key_Escape);
    EXPECT_TRUE(view.isDismissing());
    EXPECT_FALSE(acted);
}

TEST(PaletteView, ClickingARowRunsThatRow) {
    PaletteView view;
    view.setSkills({makeSkill("First"), makeSkill("Second")});
    view.show();
    QString cast;
    QObject::connect(&view, &PaletteView::castRequested,
                     [&](const Skill& skill) { cast = skill.name; });
    const QPoint centre = view.rows()->rowRect(1).center();
    QMouseEvent release(QEvent::MouseButtonRelease, centre, view.rows()->mapToGlobal(centre),
                        Qt::LeftButton, Qt::NoButton, Qt::NoModifier);
    QCoreApplication::sendEvent(view.rows(), &release);
    EXPECT_EQ(cast, "Second");
}

TEST(PaletteView, SitsOnTheRightEdgeAboveTheMiddle) {
    EXPECT_EQ(PaletteView::placement(QRect(0, 0, 1920, 1080), QSize(540, 300)), QPoint(1380, 496));
    EXPECT_EQ(PaletteView::placement(QRect(1920, 30, 1280, 1000), QSize(540, 460)),
              QPoint(2660, 486));
}

TEST(PaletteWindow, KeepsOnePaletteAndReportsEachClose) {
    int closes = 0;
    PaletteView* first =
        PaletteWindow::show({makeSkill("A")}, TavrikState::idle(), {{}, {}, [&] { ++closes; }});
    QPointer<PaletteView> firstGuard(first);
    PaletteView* second =
        PaletteWindow::show({makeSkill("B")}, TavrikState::idle(), {{}, {}, [&] { ++closes; }});
    EXPECT_NE(first, second);
    EXPECT_EQ(PaletteWindow::current(), second);
    EXPECT_TRUE(second->isVisible());
    PaletteWindow::close();
    EXPECT_EQ(PaletteWindow::current(), nullptr);
    EXPECT_TRUE(waitUntil([&] { return closes == 2 && !firstGuard; }));
}
