// The character sets of RTF: that of the document and those of its fonts, by the numbers of code
// pages.

#ifndef VESKA_ANALYZERS_UNICODE_RTFCHARSET_H_
#define VESKA_ANALYZERS_UNICODE_RTFCHARSET_H_

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "analyzers/unicode/charset.h"

namespace veska::unicode {

inline constexpr unsigned kNoCodePage = 0;
inline constexpr unsigned kSymbolCodePage = 42;  // of fonts that show pictures

class RtfCharset {
 public:
  void setDocument(unsigned codePage);
  void setDefaultFont(int font) { defaultFont_ = font; }

  // What the font table says of a font: \fcharset or \cpg. Numbers that tell nothing change
  // nothing.
  void setFontCharset(int font, int charset);
  void setFontCodePage(int font, int codePage);

  // The code page of text in that font; negative: in the default font.
  unsigned codePageOf(int font) const;

  // Decodes a piece of text in a code page. last: it ends here. Result: valid UTF-8, until the next
  // call; of symbols nothing.
  std::string_view decode(unsigned codePage, std::string_view bytes, bool last);

 private:
  void setFont(int font, unsigned codePage);

  unsigned document_ = 1252;
  int defaultFont_ = -1;
  std::unordered_map<int, unsigned> fonts_;
  std::unordered_map<unsigned, std::unique_ptr<Decoder>> decoders_;
};

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_RTFCHARSET_H_
