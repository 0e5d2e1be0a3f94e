// A reference to a COM object that is released when it goes.
#pragma once

#include <utility>

namespace tagsmith {

template <typename Interface>
class ComPointer {
 public:
  ComPointer() = default;
  ComPointer(const ComPointer&) = delete;
  ComPointer& operator=(const ComPointer&) = delete;
  ~ComPointer() { Reset(); }

  void Reset() {
    if (Interface* pointer = std::exchange(pointer_, nullptr)) {
      pointer->Release();
    }
  }

  /// For a function that hands out a reference; what was held is released first.
  Interface** Receive() {
    Reset();
    return &pointer_;
  }
  void** ReceiveVoid() { return reinterpret_cast<void**>(Receive()); }

  [[nodiscard]] Interface* Get() const { return pointer_; }
  Interface* operator->() const { return pointer_; }
  Interface& operator*() const { return *pointer_; }
  explicit operator bool() const { return pointer_ != nullptr; }

 private:
  Interface* pointer_ = nullptr;
};

}  // namespace tagsmith
