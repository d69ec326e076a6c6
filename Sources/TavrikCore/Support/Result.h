#pragma once

#include <QString>
#include <optional>
#include <utility>

namespace tavrik {

// The error half of a Result: one readable line, naming the file or thing that failed.
struct Failure {
    QString message;
};

// What an operation the caller must check gives back: its value, or the line saying why there is
// none. Ignoring it draws a compiler warning, so a failed save cannot pass unseen.
// There is deliberately no conversion to bool: the optional error texts this replaced were true
// on failure, and a check written for them must fail to compile rather than flip its meaning.
template <typename T = void> class [[nodiscard]] Result {
public:
    // Implicit both ways, so a function returns its value or a Failure as it is.
    Result(T value) : m_value(std::move(value)) {}
    Result(Failure failure) : m_error(std::move(failure.message)) {}

    bool ok() const { return m_value.has_value(); }

    T& value() & { return *m_value; }
    const T& value() const& { return *m_value; }
    T&& value() && { return std::move(*m_value); }
    T& operator*() & { return *m_value; }
    const T& operator*() const& { return *m_value; }
    T&& operator*() && { return std::move(*m_value); }
    T* operator->() { return &*m_value; }
    const T* operator->() const { return &*m_value; }
    T valueOr(T fallback) const& { return m_value.value_or(std::move(fallback)); }

    // Empty when the operation succeeded.
    const QString& error() const { return m_error; }

private:
    std::optional<T> m_value;
    QString m_error;
};

template <> class [[nodiscard]] Result<void> {
public:
    Result() = default;
    Result(Failure failure) : m_failed(true), m_error(std::move(failure.message)) {}

    bool ok() const { return !m_failed; }
    const QString& error() const { return m_error; }

private:
    bool m_failed = false;
    QString m_error;
};

} // namespace tavrik
