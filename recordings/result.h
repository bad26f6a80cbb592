// Errors as values: what a command-line user is told, and the exit status that goes with it.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace recordings {

/// The program's exit statuses, as its help documents them.
enum class ExitStatus : int {
  ok = 0,
  other = 1,
  usage = 2,
  input = 3,
  processing = 4,
  nonconforming = 5
};

struct Error {
  std::string message; // one or more lines without a final line feed
  ExitStatus status = ExitStatus::input;
};

/// The outcome of an operation that yields nothing: an error or success.
class [[nodiscard]] Failure : public std::optional<Error> {
 public:
  using std::optional<Error>::optional;
};

/// A value or the error that took its place.
template <class T>
class [[nodiscard]] Result {
 public:
  Result(T value) : outcome_(std::move(value)) {}
  Result(Error error) : outcome_(std::move(error)) {}

  explicit operator bool() const { return std::holds_alternative<T>(outcome_); }

  /// The value; only on success.
  T& operator*() { return *std::get_if<T>(&outcome_); }
  const T& operator*() const { return *std::get_if<T>(&outcome_); }
  T* operator->() { return std::get_if<T>(&outcome_); }
  const T* operator->() const { return std::get_if<T>(&outcome_); }

  /// The error; only on failure.
  Error& error() { return *std::get_if<Error>(&outcome_); }
  const Error& error() const { return *std::get_if<Error>(&outcome_); }

 private:
  std::variant<T, Error> outcome_;
};

} // namespace recordings
