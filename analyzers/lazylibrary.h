// Libraries that few documents need: loaded when the first of these comes, so that no other run
// pays for them.

#ifndef VESKA_ANALYZERS_LAZYLIBRARY_H_
#define VESKA_ANALYZERS_LAZYLIBRARY_H_

#include <dlfcn.h>

// A shared library, which stays loaded until the process ends.
class LazyLibrary {
 public:
  // name: as the dynamic linker knows it: "libbz2.so.1.0".
  explicit LazyLibrary(const char* name) : handle_(dlopen(name, RTLD_NOW | RTLD_LOCAL)) {}

  // Sets a pointer to the function of that name.
  template <typename Function>
  void find(Function*& function, const char* name) {
    function = handle_ == nullptr ? nullptr : reinterpret_cast<Function*>(dlsym(handle_, name));
    complete_ = complete_ && function != nullptr;
  }

  // Were all functions found that were looked for?
  bool isComplete() const { return handle_ != nullptr && complete_; }

 private:
  void* handle_;
  bool complete_ = true;
};

#endif  // VESKA_ANALYZERS_LAZYLIBRARY_H_
