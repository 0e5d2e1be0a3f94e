// Owning what the system hands out and wants back.
#pragma once

#include <cstdint>
#include <type_traits>
#include <utility>

namespace tagsmith {

/// Owns a pointer-like value that `Close` gives back; a kind of handle is one line:
/// `using KeyHandle = Handle<HKEY, RegCloseKey>;`. Empty is null; -1, with which some functions
/// of the system report a failure, is taken for null.
template <typename Type, auto Close>
class Handle {
 public:
  Handle() = default;
  explicit Handle(Type value) { Reset(value); }
  Handle(Handle&& other) noexcept : value_(other.Detach()) {}
  Handle& operator=(Handle&& other) noexcept {
    Reset(other.Detach());
    return *this;
  }
  ~Handle() { Reset(); }

  /// Closes what is held and holds `value` instead.
  void Reset(Type value = nullptr) {
    if (Type former = std::exchange(value_, IsFailure(value) ? nullptr : value)) {
      Close(former);
    }
  }
  /// Gives what is held away, unclosed.
  [[nodiscard]] Type Detach() { return std::exchange(value_, nullptr); }

  /// For a function that hands out a value; what was held is closed first.
  Type* Receive() {
    Reset();
    return &value_;
  }
  void** ReceiveVoid() { return reinterpret_cast<void**>(Receive()); }

  [[nodiscard]] Type Get() const { return value_; }
  Type operator->() const { return value_; }
  std::add_lvalue_reference_t<std::remove_pointer_t<Type>> operator*() const { return *value_; }
  explicit operator bool() const { return value_ != nullptr; }

 private:
  static bool IsFailure(Type value) { return reinterpret_cast<std::intptr_t>(value) == -1; }

  Type value_ = nullptr;
};

/// Runs `end` when it goes: for what has to be undone without a handle to it.
template <typename End>
class AtEnd {
 public:
  explicit AtEnd(End end) : end_(std::move(end)) {}
  AtEnd(const AtEnd&) = delete;
  AtEnd& operator=(const AtEnd&) = delete;
  ~AtEnd() { end_(); }

 private:
  End end_;
};

}  // namespace tagsmith
