#include "FuzzCheck.h"
#include "TavrikCore/Storage/SkillMarkdown.h"
#include "TavrikCore/Support/Files.h"

// SKILL.md files come from anyone a skill is shared with. Read them as the library does, then
// write the skill out and read it again, as saving an edited skill does. Quoting is knowingly
// not a perfect round trip (backslashes stay), so only "it reads again" is checked.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    const std::optional<QString> text = tavrik::Files::decodeUtf8(bytes);
    if (!text)
        return 0;
    const std::optional<tavrik::Skill> skill = tavrik::SkillMarkdown::parse(*text);
    if (!skill)
        return 0;
    (void)skill->slashCommand();
    const QString rendered = tavrik::SkillMarkdown::render(*skill);
    FUZZ_CHECK(tavrik::SkillMarkdown::parse(rendered));
    return 0;
}
