// The strings that the cells of a workbook share: a table in one part, to which cells refer by
// number.

#ifndef VESKA_ANALYZERS_UNICODE_SHAREDSTRINGS_H_
#define VESKA_ANALYZERS_UNICODE_SHAREDSTRINGS_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

class SharedStrings {
 public:
  // Reads the part. Strings beyond the bound of the table are pushed into sink, so that they are
  // found, if not where they belong. Result: false when the sink wants no more.
  bool read(ByteInput& part, TextSink& sink);

  // Empty where there is none. Valid as long as the object.
  std::string_view at(uint64_t number) const;

 private:
  friend class StringReader;
  static constexpr size_t kMostBytes = size_t{64} << 20;
  static constexpr size_t kMostStrings = size_t{4} << 20;

  bool isFull() const { return text_.size() > kMostBytes || ends_.size() >= kMostStrings; }

  std::string text_;
  std::vector<uint32_t> ends_;  // of each string in text_
};

// Appends text with the escapes of spreadsheets ("_x000D_") decoded.
void appendCellText(std::string& to, std::string_view text);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_SHAREDSTRINGS_H_
