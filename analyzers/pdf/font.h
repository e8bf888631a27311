// Fonts as far as text goes (ISO 32000-1, 9.5 to 9.10): cuts a shown string into characters and
// tells for each what it says and how far it moves on.

#ifndef VESKA_ANALYZERS_PDF_FONT_H_
#define VESKA_ANALYZERS_PDF_FONT_H_

#include <array>
#include <memory>
#include <string_view>

#include "analyzers/pdf/cmap.h"
#include "analyzers/pdf/document.h"

namespace veska::pdf {

struct TextChar {
  std::u32string_view text;  // empty when unknown; valid as long as its font
  double width = 0;          // for font size 1
  bool isSpace = false;      // word spacing is added
};

class Font {
 public:
  virtual ~Font() = default;
  Font(const Font&) = delete;
  Font& operator=(const Font&) = delete;

  // Reads a font dictionary. Never null: of a damaged one there is what could be read.
  static std::shared_ptr<const Font> load(Document& document, const Dictionary& dictionary);

  // Takes the next character from the front of a shown string. REQUIRES: the string is not empty.
  virtual TextChar next(std::string_view& string) const = 0;

  // Text runs downwards, and widths are heights.
  bool vertical() const { return vertical_; }

  // What to multiply the font size with to get the size that its letters appear in; not 1 for Type
  // 3 fonts, which have a scale of their own.
  double emScale() const { return emScale_; }

  // About how much memory it takes, in bytes.
  virtual size_t memory() const = 0;

 protected:
  Font() = default;

  bool vertical_ = false;
  double emScale_ = 1;
};

// The two kinds, for load.
std::shared_ptr<const Font> loadSimpleFont(Document& document, const Dictionary& dictionary);
std::shared_ptr<const Font> loadCompositeFont(Document& document, const Dictionary& dictionary);

// The ToUnicode map of a font; empty when it has none that says anything.
TextMap readToUnicode(Document& document, const Dictionary& font);

// The embedded font program of a font descriptor, decoded; empty when there is none.
std::string readFontFile(Document& document, const Dictionary& descriptor);

}  // namespace veska::pdf

#endif  // VESKA_ANALYZERS_PDF_FONT_H_
