#include "Replay/FakeDesktop.h"
#include "Replay/Recorded.h"
#include "TavrikCore/Replay/AXPath.h"
#include "TavrikCore/Replay/TargetMatcher.h"

#include <gtest/gtest.h>

namespace tavrik::test {
namespace {

using Kind = TargetMatcher::Match::Kind;

QList<TargetMatcher::Candidate> candidates(FakeDesktop& desktop, const QString& role) {
    QList<TargetMatcher::Candidate> all;
    for (const LiveWindow& w : desktop.windowList)
        for (const LiveElement& e : desktop.elements(w, role, 1000))
            all.append({e, w});
    return all;
}

// A form: two unnamed entries and Save / Cancel buttons. Made larger than 400 by 300, the
// entries widen and the buttons keep to the bottom-right corner.
struct Form {
    FakeDesktop desktop;
    LiveWindow window;
    explicit Form(Rect frame = Rect(100, 100, 400, 300)) {
        const double wider = frame.size.width - 400;
        const double taller = frame.size.height - 300;
        window =
            desktop.addWindow(QStringLiteral("org.example.Form"), QStringLiteral("Form"), frame);
        desktop.addElement(window, QStringLiteral("text"), QString(),
                           QStringLiteral("filler:0/text:0"), Rect(20, 20, 200 + wider, 24));
        desktop.addElement(window, QStringLiteral("text"), QString(),
                           QStringLiteral("filler:0/text:1"), Rect(20, 60, 200 + wider, 24));
        desktop.addElement(window, QStringLiteral("push button"), QStringLiteral("Save"),
                           QStringLiteral("filler:0/push button:2"),
                           Rect(300 + wider, 250 + taller, 80, 30));
        desktop.addElement(window, QStringLiteral("push button"), QStringLiteral("Cancel"),
                           QStringLiteral("filler:0/push button:3"),
                           Rect(200 + wider, 250 + taller, 80, 30));
    }
};

TEST(TargetMatcher, FindsTheSameElementAfterTheWindowMovesAndGrows) {
    Form form;
    const AXTarget save = recordedTarget(*form.desktop.find(QStringLiteral("Save")), form.window);
    const AXTarget secondEntry = recordedTarget(form.desktop.elementList[1], form.window);
    Form moved(Rect(700, 400, 600, 450));

    const auto saveMatch =
        TargetMatcher::best(save, candidates(moved.desktop, QStringLiteral("push button")));
    ASSERT_EQ(saveMatch.kind, Kind::found);
    EXPECT_EQ(saveMatch.best->element.name, QStringLiteral("Save"));

    const auto entryMatch =
        TargetMatcher::best(secondEntry, candidates(moved.desktop, QStringLiteral("text")));
    ASSERT_EQ(entryMatch.kind, Kind::found);
    EXPECT_EQ(entryMatch.best->element.path, QStringLiteral("filler:0/text:1"));
}

TEST(TargetMatcher, AnItemInsertedBeforeTheTargetDoesNotMisleadIt) {
    const auto list = [](FakeDesktop& desktop, const QStringList& names) {
        const LiveWindow w =
            desktop.addWindow(QStringLiteral("app"), QStringLiteral("List"), Rect(0, 0, 300, 400));
        for (int i = 0; i < names.size(); ++i)
            desktop.addElement(w, QStringLiteral("list item"), names[i],
                               QStringLiteral("list:0/list item:%1").arg(i),
                               Rect(0, 30 * i, 300, 30));
        return w;
    };
    FakeDesktop before;
    const LiveWindow w =
        list(before, {QStringLiteral("Apples"), QStringLiteral("Pears"), QStringLiteral("Plums")});
    const AXTarget pears = recordedTarget(*before.find(QStringLiteral("Pears")), w);

    FakeDesktop after;
    list(after, {QStringLiteral("Apricots"), QStringLiteral("Apples"), QStringLiteral("Pears"),
                 QStringLiteral("Plums")});
    const auto match = TargetMatcher::best(pears, candidates(after, QStringLiteral("list item")));
    ASSERT_EQ(match.kind, Kind::found);
    EXPECT_EQ(match.best->element.name, QStringLiteral("Pears"));
}

TEST(TargetMatcher, StopsRatherThanGuesses) {
    Form form;
    AXTarget save = recordedTarget(*form.desktop.find(QStringLiteral("Save")), form.window);

    // Renamed away: nothing else is like it.
    form.desktop.find(QStringLiteral("Save"))->name = QStringLiteral("Export");
    EXPECT_EQ(
        TargetMatcher::best(save, candidates(form.desktop, QStringLiteral("push button"))).kind,
        Kind::missing);

    // Two buttons that the recording cannot tell apart (an old recording without a path).
    FakeDesktop twins;
    const LiveWindow w =
        twins.addWindow(QStringLiteral("app"), QStringLiteral("Twins"), Rect(0, 0, 400, 300));
    twins.addElement(w, QStringLiteral("push button"), QStringLiteral("OK"),
                     QStringLiteral("filler:0/push button:0"), Rect(100, 100, 80, 30));
    twins.addElement(w, QStringLiteral("push button"), QStringLiteral("OK"),
                     QStringLiteral("filler:1/push button:0"), Rect(100, 100, 80, 30));
    AXTarget ok = recordedTarget(twins.elementList[0], w);
    ok.axPath.reset();
    const auto match = TargetMatcher::best(ok, candidates(twins, QStringLiteral("push button")));
    EXPECT_EQ(match.kind, Kind::ambiguous);
    EXPECT_TRUE(match.rival.has_value());

    // A plain field never stands in for a password field, whatever else fits.
    FakeDesktop login;
    const LiveWindow lw =
        login.addWindow(QStringLiteral("app"), QStringLiteral("Login"), Rect(0, 0, 400, 300));
    LiveElement& field = login.addElement(lw, QStringLiteral("text"), QStringLiteral("Password"),
                                          QStringLiteral("text:0"), Rect(10, 10, 200, 24));
    AXTarget secret = recordedTarget(field, lw);
    secret.isSecure = true;
    EXPECT_EQ(TargetMatcher::best(secret, candidates(login, QStringLiteral("text"))).kind,
              Kind::missing);
}

TEST(TargetMatcher, NamesAndPlacesCompareAsPeopleReadThem) {
    EXPECT_EQ(TargetMatcher::normalizedName(QStringLiteral("  _Save  As ")),
              QStringLiteral("save as"));
    EXPECT_DOUBLE_EQ(AXPath::similarity(QStringLiteral("a:0/b:1"), QStringLiteral("a:0/b:1")), 1.0);
    // The element's own level weighs most: a shifted index costs less than another role.
    const double shifted = AXPath::similarity(QStringLiteral("list:0/list item:1"),
                                              QStringLiteral("list:0/list item:2"));
    const double otherRole =
        AXPath::similarity(QStringLiteral("list:0/list item:1"), QStringLiteral("list:0/label:1"));
    EXPECT_GT(shifted, otherRole);
    EXPECT_EQ(
        AXPath::split(QStringLiteral("push button:3/odd")),
        (QList<AXPath::Segment>{{QStringLiteral("push button"), 3}, {QStringLiteral("odd"), -1}}));
}

} // namespace
} // namespace tavrik::test
