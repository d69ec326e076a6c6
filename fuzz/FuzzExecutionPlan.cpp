#include "FuzzCheck.h"
#include "TavrikCore/Models/ExecutionPlanDocument.h"

#include <QJsonDocument>

// execution_plan.json travels with a shared skill. Decode it as the library does; a plan that
// decodes must survive being saved and loaded again.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return 0;
    const tavrik::Result<tavrik::ExecutionPlanDocument> plan =
        tavrik::ExecutionPlanDocument::fromJson(document.object());
    if (!plan.ok())
        return 0;
    if (plan->runtime)
        (void)plan->runtime->allURLTemplates();
    // Decoding is lenient (fractions of seconds, lower-case UUIDs), so the check starts from
    // what saving writes: that must read back and save to the same bytes.
    const QJsonObject saved = plan->toJson();
    const tavrik::Result<tavrik::ExecutionPlanDocument> reloaded =
        tavrik::ExecutionPlanDocument::fromJson(saved);
    FUZZ_CHECK(reloaded.ok() && reloaded->toJson() == saved);
    return 0;
}
