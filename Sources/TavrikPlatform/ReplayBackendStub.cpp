// Interim: replay backends until the AT-SPI actor lands.
#include "TavrikCore/Replay/DesktopActor.h"
#include "TavrikCore/Replay/SyntheticInput.h"

#include <memory>

namespace tavrik::DesktopBackend {

namespace {
class NoActor final : public DesktopActor {
public:
    bool isAvailable() const override { return false; }
    QList<LiveWindow> windows() override { return {}; }
    QList<LiveElement> elements(const LiveWindow&, const QString&, int) override { return {}; }
    std::optional<LiveElement> refresh(const LiveElement&) override { return std::nullopt; }
    bool performAction(const LiveElement&, const QString&) override { return false; }
    bool focus(const LiveElement&) override { return false; }
    bool select(const LiveElement&) override { return false; }
    bool insertText(const LiveElement&, const QString&) override { return false; }
    bool replaceText(const LiveElement&, const QString&) override { return false; }
    std::optional<QString> text(const LiveElement&) override { return std::nullopt; }
    bool activateWindow(const LiveWindow&) override { return false; }
};
class NoInput final : public SyntheticInput {
public:
    bool isAvailable() const override { return false; }
    bool pressKey(quint16, quint64) override { return false; }
    bool typeText(const QString&) override { return false; }
    bool click(Point, Button, int) override { return false; }
    bool drag(Point, Point) override { return false; }
    bool scroll(Point, int, int) override { return false; }
};
} // namespace

std::unique_ptr<DesktopActor> createDesktopActor() {
    return std::make_unique<NoActor>();
}
std::unique_ptr<SyntheticInput> createSyntheticInput() {
    return std::make_unique<NoInput>();
}

} // namespace tavrik::DesktopBackend
