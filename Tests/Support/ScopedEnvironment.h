#pragma once

#include <QByteArray>

namespace tavrik::test {

// Sets (or, with unset(), removes) an environment variable for one scope and restores what was
// there before.
class ScopedEnvironment {
public:
    ScopedEnvironment(const char* name, const QByteArray& value);
    static ScopedEnvironment unset(const char* name);
    ~ScopedEnvironment();
    ScopedEnvironment(ScopedEnvironment&& other) noexcept;
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

private:
    explicit ScopedEnvironment(const char* name);

    const char* m_name;
    QByteArray m_previous;
    bool m_hadPrevious;
    bool m_active = true;
};

} // namespace tavrik::test
