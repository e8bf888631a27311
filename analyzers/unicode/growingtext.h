// A text for the caller of the C interface, made piece by piece. The C allocator moves the pages of
// a large block rather than its bytes, so that a text is never in memory twice.

#ifndef VESKA_ANALYZERS_UNICODE_GROWINGTEXT_H_
#define VESKA_ANALYZERS_UNICODE_GROWINGTEXT_H_

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>
#include <string_view>

namespace veska::unicode {

class GrowingText {
 public:
  bool empty() const { return size_ == 0; }
  size_t size() const { return size_; }
  char& operator[](size_t at) { return bytes_.get()[at]; }
  std::string_view view() const { return {bytes_.get(), size_}; }

  void append(std::string_view bytes) {
    if (bytes.size() > capacity_ - size_) grow(size_ + bytes.size());
    std::copy(bytes.begin(), bytes.end(), bytes_.get() + size_);
    size_ += bytes.size();
  }
  // REQUIRES: size <= size().
  void cutTo(size_t size) { size_ = size; }

  // Result: the text with a terminating zero, to be released with free(). Leaves nothing here.
  char* release() {
    append(std::string_view("\0", 1));
    size_ = capacity_ = 0;
    return bytes_.release();
  }

 private:
  struct Free {
    void operator()(char* bytes) const { std::free(bytes); }
  };

  void grow(size_t atLeast) {
    const size_t capacity = std::max(atLeast, capacity_ + capacity_ / 2);
    auto* const larger = static_cast<char*>(std::realloc(bytes_.get(), capacity));
    if (larger == nullptr) throw std::bad_alloc();
    static_cast<void>(bytes_.release());
    bytes_.reset(larger);
    capacity_ = capacity;
  }

  std::unique_ptr<char, Free> bytes_;
  size_t size_ = 0;
  size_t capacity_ = 0;
};

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_GROWINGTEXT_H_
