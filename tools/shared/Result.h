// What a step that can fail gives back: its value, or one line that says why there is none.
// Knows nothing of command lines; the mains print the line.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>

// Why something could not be done: one line without its end. Empty after the program's own loaders
// and savers, which print theirs.
struct Failure {
    std::string line;
};

template <class T>
class [[nodiscard]] Result {
public:
    Result(T value) : m_value(std::move(value)) {}
    Result(Failure failure) : m_line(std::move(failure.line)) {}

    explicit operator bool() const { return m_value.has_value(); }
    // Only of a result that has a value.
    T& operator*() { return *m_value; }
    const T& operator*() const { return *m_value; }
    T* operator->() { return &*m_value; }
    const T* operator->() const { return &*m_value; }
    // Hands the reason on to a result of another type.
    Failure Why() const { return {m_line}; }

private:
    std::optional<T> m_value;
    std::string m_line;
};

// Of a step that gives nothing but success.
using Outcome = Result<std::monostate>;
inline Outcome Success() {
    return std::monostate{};
}
