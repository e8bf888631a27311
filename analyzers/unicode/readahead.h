// A window that slides over the bytes of a document.

#ifndef VESKA_ANALYZERS_UNICODE_READAHEAD_H_
#define VESKA_ANALYZERS_UNICODE_READAHEAD_H_

#include <cstddef>
#include <memory>
#include <string_view>

#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

class ReadAhead {
 public:
  // input: outlives the object. capacity: bytes that the window holds at most.
  ReadAhead(ByteInput& input, size_t capacity);

  // What was read and not taken yet. Valid until fill.
  std::string_view rest() const { return {buffer_.get() + begin_, end_ - begin_}; }
  // Holds rest what is left of the document?
  bool ended() const { return ended_; }
  // Can fill bring nothing more?
  bool isFull() const { return ended_ || end_ - begin_ == capacity_; }

  // Reads on behind rest, until the window is full or the document ends.
  void fill();
  // Moves on by bytes of rest.
  void take(size_t bytes) { begin_ += bytes; }

 private:
  ByteInput& input_;
  size_t capacity_;
  std::unique_ptr<char[]> buffer_;
  size_t begin_ = 0;
  size_t end_ = 0;
  bool ended_ = false;
};

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_READAHEAD_H_
