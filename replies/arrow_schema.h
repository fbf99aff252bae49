// Types by Arrow's C data interface, made of a description of them.
#ifndef REPLIES_ARROW_SCHEMA_H_
#define REPLIES_ARROW_SCHEMA_H_

#include <string>
#include <vector>

#include "replies/arrow_type.h"
#include "tsl_base/arrow.h"

namespace replies {

struct ArrowField {
  std::string format;
  std::string name;
  bool nullable = true;
  ArrowMetadata metadata;
  std::vector<ArrowField> children;
};

// The schema owns all that it tells and is the caller's to release, its children apart from it if they are
// moved out. Throws std::bad_alloc.
ArrowSchema MakeArrowSchema(const ArrowField& field);

// A schema or an array or a stream of them that is released where it ends, unless it was moved out.
template <class T>
class ArrowOwner {
 public:
  ArrowOwner() = default;
  explicit ArrowOwner(const T& value) : value_(value) {}
  ArrowOwner(ArrowOwner&& other) noexcept : value_(other.Move()) {}
  ArrowOwner& operator=(ArrowOwner&& other) noexcept {
    if (this != &other) {
      Release();
      value_ = other.Move();
    }
    return *this;
  }
  ArrowOwner(const ArrowOwner&) = delete;
  ArrowOwner& operator=(const ArrowOwner&) = delete;
  ~ArrowOwner() { Release(); }

  T* get() { return &value_; }
  T& operator*() { return value_; }
  T* operator->() { return &value_; }
  const T& operator*() const { return value_; }
  const T* operator->() const { return &value_; }
  explicit operator bool() const { return value_.release != nullptr; }

  T Move() noexcept {
    T value = value_;
    value_.release = nullptr;
    return value;
  }

 private:
  void Release() {
    if (value_.release != nullptr) value_.release(&value_);
  }

  T value_{};
};

}  // namespace replies

#endif  // REPLIES_ARROW_SCHEMA_H_
