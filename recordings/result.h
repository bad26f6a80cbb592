// Errors as values: what went wrong, in words and by kind. They travel up to whoever can tell a
// user or act on them; nothing on the way prints.
#pragma once

#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <variant>

namespace recordings {

/// What kind of trouble it is. Callers with a user of their own say more where the kind has a
/// remedy.
enum class ErrorKind {
  input,         ///< what was read is missing or not what it should be
  size_needed,   ///< the same: a file without a header, whose size nobody told
  request,       ///< the caller asked for what can't be
  mixed_formats, ///< the same: which of several kinds of files is the recording?
  system,        ///< a file can't be written, a library not be loaded, memory is short
  // Of the rooms above this one, which share the list:
  processing, ///< the host or a filter failed on a frame
  contract,   ///< a plug-in does not keep to its interface
};

struct Error {
  std::string message; ///< one or more lines without a final line feed
  ErrorKind kind = ErrorKind::input;
  std::string example = {}; ///< of mixed formats: wildcards that choose one
  int number = 0;           ///< errno, where the system refused something
};

/// "WHAT: the system's reason".
inline Error system_error(const std::string& what, std::error_code code,
                          ErrorKind kind = ErrorKind::system) {
  return {what + ": " + code.message(), kind, {}, code.default_error_condition().value()};
}
/// By errno.
inline Error system_error(const std::string& what, int number, ErrorKind kind = ErrorKind::system) {
  return system_error(what, std::error_code(number, std::generic_category()), kind);
}

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
