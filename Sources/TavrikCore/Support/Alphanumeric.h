#pragma once

#include <QChar>

namespace tavrik {

// Unicode alphanumerics: letters, numbers and the marks that combine with them. Marks count so
// that a decomposed accent or a Devanagari vowel sign stays in its word instead of cutting it.
// Every split "at what is not a letter or digit" goes through here.
inline bool isAlphanumeric(char32_t c) {
    return QChar::isLetterOrNumber(c) || QChar::isMark(c);
}

} // namespace tavrik
