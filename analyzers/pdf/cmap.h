// Character maps (ISO 32000-1, 9.7.5 and 9.10.3; Adobe Technical Notes 5014 and 5411): how a string
// is cut into codes, and what the codes stand for: text (ToUnicode) or numbers of glyphs (CIDs).

#ifndef VESKA_ANALYZERS_PDF_CMAP_H_
#define VESKA_ANALYZERS_PDF_CMAP_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "analyzers/pdf/budget.h"
#include "analyzers/pdf/lexer.h"
#include "analyzers/pdf/textmap.h"

namespace veska::pdf {

class CMap {
 public:
  // Reads an embedded map.
  static CMap parse(std::string_view data, Budget& budget);

  // A predefined map by its name: Identity, and those whose codes are Unicode. Of others only the
  // widths of codes are known, as two bytes.
  static CMap predefined(std::string_view name);

  // Takes the next code from the front of `text`. REQUIRES: text is not empty.
  uint32_t nextCode(std::string_view& text, size_t& codeBytes) const;

  // Text of a code by the map itself; empty when it says nothing.
  const TextMap& text() const { return text_; }
  TextMap takeText() && { return std::move(text_); }
  // For maps whose codes are Unicode: the code point of a code, else 0.
  char32_t unicodeOf(uint32_t code, size_t codeBytes) const;

  // The CID of a code; codes are their own CIDs in maps that say nothing about it.
  uint32_t cidOf(uint32_t code) const;

  bool vertical() const { return vertical_; }

 private:
  enum class Form { kListed, kUtf16, kUtf8, kUtf32 };

  struct CodeSpace {
    size_t bytes;
    uint32_t low, high;
  };
  struct CidRange {
    uint32_t low, high, cid;
  };

  void readCodeSpaces(Lexer& lexer, Budget& budget);
  void readTextChars(Lexer& lexer, Budget& budget);
  void readTextRanges(Lexer& lexer, Budget& budget);
  void readCids(Lexer& lexer, bool ranges, Budget& budget);
  bool fits(const CodeSpace& space, uint32_t code) const;

  Form form_ = Form::kListed;
  std::vector<CodeSpace> spaces_;
  std::vector<CidRange> cids_;
  TextMap text_;
  bool vertical_ = false;
};

// Big-endian UTF-16 to code points; lone surrogates are left out.
std::u32string decodeUtf16(std::string_view bytes);

}  // namespace veska::pdf

#endif  // VESKA_ANALYZERS_PDF_CMAP_H_
