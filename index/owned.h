// An owning pointer that reads like the plain pointer that hosts see.

#ifndef VESKA_INDEX_OWNED_H_
#define VESKA_INDEX_OWNED_H_

#include <memory>
#include <utility>

template <typename T>
class Owned {
 public:
  Owned() = default;
  // Take the object over.
  Owned(T* object) : object_(object) {}  // NOLINT(google-explicit-constructor)
  template <typename U>
  Owned(std::unique_ptr<U> object) : object_(std::move(object)) {}  // NOLINT

  operator T*() const { return object_.get(); }  // NOLINT(google-explicit-constructor)
  T* operator->() const { return object_.get(); }
  T& operator*() const { return *object_; }

  std::unique_ptr<T> release() { return std::move(object_); }

 private:
  std::unique_ptr<T> object_;
};

#endif  // VESKA_INDEX_OWNED_H_
