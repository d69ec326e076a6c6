#include "FuzzCheck.h"
#include "TavrikCore/Update/Release.h"
#include "TavrikCore/Update/UpdateChecker.h"

#include <QUrl>

// The release feed is fetched from the web host. Read it the way the update check does: decode,
// compare versions, resolve the download against the host.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    const tavrik::Result<QList<tavrik::Release>> feed = tavrik::Release::feedFromJson(bytes);
    if (!feed.ok())
        return 0;
    const QUrl base(QStringLiteral("https://tavrik.example/"));
    const QString current = tavrik::UpdateChecker::buildVersion();
    for (const tavrik::Release& release : *feed) {
        // A version is never newer than itself, and of two different ones at most one is newer.
        FUZZ_CHECK(!tavrik::UpdateChecker::isNewer(release.version, release.version));
        FUZZ_CHECK(!(tavrik::UpdateChecker::isNewer(release.version, current) &&
                     tavrik::UpdateChecker::isNewer(current, release.version)));
        (void)base.resolved(QUrl(release.file)).scheme();
    }
    return 0;
}
