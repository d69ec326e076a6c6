#pragma once

namespace tavrik::test {

// The SKILL.md a review of the order form's demonstration gives: the name becomes a parameter,
// the rest is replayed as shown.
inline constexpr const char* orderSkillText = R"(---
name: Order fruit
trigger: order fruit for someone
parameters:
  - name: full_name
    type: text
    prompt: Whose order is it?
    example: Ada
---

# Order fruit

Fills in the order form and saves it.
)";

} // namespace tavrik::test
