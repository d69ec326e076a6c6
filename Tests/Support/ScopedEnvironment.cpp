#include "Support/ScopedEnvironment.h"

#include <QtGlobal>

namespace tavrik::test {

ScopedEnvironment::ScopedEnvironment(const char* name)
    : m_name(name), m_previous(qgetenv(name)), m_hadPrevious(qEnvironmentVariableIsSet(name)) {}

ScopedEnvironment::ScopedEnvironment(const char* name, const QByteArray& value)
    : ScopedEnvironment(name) {
    qputenv(name, value);
}

ScopedEnvironment ScopedEnvironment::unset(const char* name) {
    ScopedEnvironment scope(name);
    qunsetenv(name);
    return scope;
}

ScopedEnvironment::ScopedEnvironment(ScopedEnvironment&& other) noexcept
    : m_name(other.m_name), m_previous(other.m_previous), m_hadPrevious(other.m_hadPrevious) {
    other.m_active = false;
}

ScopedEnvironment::~ScopedEnvironment() {
    if (!m_active)
        return;
    if (m_hadPrevious)
        qputenv(m_name, m_previous);
    else
        qunsetenv(m_name);
}

} // namespace tavrik::test
