#include "TavrikCore/Permissions/PermissionsManager.h"

#include <gtest/gtest.h>

using namespace tavrik;

namespace {

class FakeBackend : public PermissionBackend {
public:
    QHash<Permission, PermissionStatus> answers;
    QList<Permission> enableable;
    QStringList* log = nullptr;

    PermissionStatus check(Permission p) override {
        return answers.value(p, PermissionStatus::notDetermined);
    }
    bool enable(Permission p) override {
        *log << "enable " + Permissions::id(p);
        return enableable.contains(p);
    }
};

struct Fixture {
    QStringList log;
    FakeBackend* backend = new FakeBackend;
    std::unique_ptr<PermissionsManager> manager;
    int published = 0;

    explicit Fixture(QHash<Permission, PermissionStatus> answers) {
        backend->answers = answers;
        backend->log = &log;
        manager = std::make_unique<PermissionsManager>(std::unique_ptr<PermissionBackend>(backend),
                                                       [this](Permission p) {
                                                           log << "open " + Permissions::id(p);
                                                           return p == Permission::accessibility;
                                                       });
        QObject::connect(manager.get(), &PermissionsManager::statusesChanged,
                         [this] { ++published; });
    }
};

const QHash<Permission, PermissionStatus> allGranted = {
    {Permission::screenRecording, PermissionStatus::granted},
    {Permission::accessibility, PermissionStatus::granted},
    {Permission::inputMonitoring, PermissionStatus::granted},
};

TEST(PermissionsManager, FillsStatusesAtOnceAndPublishesOnlyChanges) {
    Fixture f(allGranted);
    EXPECT_EQ(f.manager->statuses().size(), 3);
    EXPECT_TRUE(f.manager->allGranted());

    f.manager->refresh();
    f.manager->refresh();
    EXPECT_EQ(f.published, 0);

    f.backend->answers[Permission::inputMonitoring] = PermissionStatus::denied;
    f.manager->refresh();
    f.manager->refresh();
    EXPECT_EQ(f.published, 1);
    EXPECT_EQ(f.manager->status(Permission::inputMonitoring), PermissionStatus::denied);
    EXPECT_FALSE(f.manager->allGranted());
}

TEST(PermissionsManager, AnUnknownStatusIsNotGranted) {
    Fixture f({{Permission::screenRecording, PermissionStatus::granted},
               {Permission::inputMonitoring, PermissionStatus::granted}});
    EXPECT_EQ(f.manager->status(Permission::accessibility), PermissionStatus::notDetermined);
    EXPECT_FALSE(f.manager->allGranted());

    PermissionsManager empty(nullptr, {});
    EXPECT_FALSE(empty.allGranted());
    EXPECT_EQ(empty.status(Permission::screenRecording), PermissionStatus::notDetermined);
}

TEST(PermissionsManager, RequestTurnsOnWhatItCanAndOpensSettingsOtherwise) {
    Fixture f({});
    f.backend->enableable = {Permission::accessibility};
    f.manager->request(Permission::accessibility);
    EXPECT_EQ(f.log, QStringList{"enable accessibility"});

    f.log.clear();
    f.backend->enableable.clear();
    f.manager->request(Permission::accessibility);
    f.manager->request(Permission::screenRecording);
    EXPECT_EQ(f.log, (QStringList{"enable accessibility", "open accessibility",
                                  "enable screenRecording", "open screenRecording"}));
    // Requesting does not refresh.
    EXPECT_EQ(f.published, 0);
}

TEST(Permission, NamesAndTextsInDisplayOrder) {
    QStringList ids;
    for (Permission p : Permissions::all()) {
        ids << Permissions::id(p);
        EXPECT_EQ(Permissions::fromID(Permissions::id(p)), p);
        EXPECT_FALSE(Permissions::title(p).isEmpty());
    }
    EXPECT_EQ(ids, (QStringList{"screenRecording", "accessibility", "inputMonitoring"}));
    EXPECT_FALSE(Permissions::fromID("camera"));
    EXPECT_TRUE(Permissions::rationale(Permission::inputMonitoring).contains(QChar(0x2303)));
}

} // namespace
