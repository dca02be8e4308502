#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace keldane {

/// Why something failed, as one sentence fit for a user or a log.
struct Failure {
  std::string message;
};

/// A value, or the reason why there is none. Kept to what std::expected offers, so that it can be
/// replaced by it one day.
template <typename T>
class [[nodiscard]] Result {
 public:
  Result(T value) : state_(std::in_place_index<0>, std::move(value)) {}
  Result(Failure failure) : state_(std::in_place_index<1>, std::move(failure)) {}

  [[nodiscard]] bool has_value() const { return state_.index() == 0; }
  explicit operator bool() const { return has_value(); }
  T& value() { return std::get<0>(state_); }
  const T& value() const { return std::get<0>(state_); }
  T& operator*() { return value(); }
  const T& operator*() const { return value(); }
  T* operator->() { return &value(); }
  const T* operator->() const { return &value(); }
  /// The reason. Only to be asked when there is no value.
  [[nodiscard]] const std::string& error() const { return std::get<1>(state_).message; }

 private:
  std::variant<T, Failure> state_;
};

template <>
class [[nodiscard]] Result<void> {
 public:
  Result() = default;
  Result(Failure failure) : failure_(std::move(failure.message)) {}

  [[nodiscard]] bool has_value() const { return !failure_.has_value(); }
  explicit operator bool() const { return has_value(); }
  [[nodiscard]] const std::string& error() const { return *failure_; }

 private:
  std::optional<std::string> failure_;
};

}  // namespace keldane
