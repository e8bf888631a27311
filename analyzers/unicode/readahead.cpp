#include "analyzers/unicode/readahead.h"

#include <cstring>

namespace veska::unicode {

ReadAhead::ReadAhead(ByteInput& input, size_t capacity)
    : input_(input),
      capacity_(capacity),
      buffer_(std::make_unique_for_overwrite<char[]>(capacity)) {}

void ReadAhead::fill() {
  std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
  end_ -= begin_;
  begin_ = 0;
  const size_t wanted = capacity_ - end_;
  const size_t got = input_.read(buffer_.get() + end_, wanted);
  end_ += got;
  ended_ = got < wanted;
}

}  // namespace veska::unicode
