#pragma once

#include <QString>

namespace tavrik::DirectBrowser {

// Where skills that only open addresses open them. The user's own browser is the default: it
// has their logins and bookmarks, and such a skill needs nothing Tavrik's browser adds.
enum class Choice { desktopDefault, tavrik };

Choice current();
void set(Choice choice);
// The value the runtime reads from TAVRIK_DIRECT_BROWSER: "default" or "tavrik".
QString environmentValue(Choice choice);

} // namespace tavrik::DirectBrowser
