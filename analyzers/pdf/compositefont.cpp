// Composite (Type 0) fonts: codes of one to four bytes that an encoding cuts strings into and turns
// into numbers of glyphs (CIDs). The text of a code is in ToUnicode; where that is missing, codes
// that are Unicode themselves or an embedded font's own character map may tell.

#include <algorithm>
#include <optional>

#include "analyzers/pdf/font.h"
#include "analyzers/pdf/fontprogram.h"

namespace veska::pdf {
namespace {

constexpr uint64_t kMaxMapBytes = 4 << 20;
constexpr double kMaxWidth = 20;  // in font sizes

// Widths by CID.
class WidthMap {
 public:
  void set(uint32_t cid, double width) {
    if (cid > 0xFFFF) return;
    std::unique_ptr<Block>& block = blocks_[cid >> 8];
    if (!block) {
      block = std::make_unique<Block>();
      block->fill(kUnset);
      ++blockCount_;
    }
    (*block)[cid & 0xFF] = static_cast<float>(std::clamp(width, -kMaxWidth, kMaxWidth));
  }

  double get(uint32_t cid, double otherwise) const {
    const Block* const block = cid <= 0xFFFF ? blocks_[cid >> 8].get() : nullptr;
    if (!block || (*block)[cid & 0xFF] == kUnset) return otherwise;
    return static_cast<double>((*block)[cid & 0xFF]);
  }

  size_t memory() const { return blockCount_ * sizeof(Block); }

 private:
  using Block = std::array<float, 256>;
  static constexpr float kUnset = -1000;

  std::array<std::unique_ptr<Block>, 256> blocks_;
  size_t blockCount_ = 0;
};

class CompositeFont : public Font {
 public:
  CompositeFont(Document& document, const Dictionary& dictionary) : document_(document) {
    toUnicode_ = readToUnicode(document, dictionary);
    readEncoding(dictionary);
    const Object descendants = document.get(dictionary, "DescendantFonts");
    Object descendant = descendants;
    if (descendants.array()) {
      descendant =
          descendants.array()->empty() ? Object() : document.resolve(descendants.array()->front());
    }
    if (!descendant.dictionary()) return;
    readWidths(*descendant.dictionary());
    if (toUnicode_.empty() && !codesAreUnicode_) readGlyphTexts(*descendant.dictionary());
  }

  TextChar next(std::string_view& string) const override {
    size_t codeBytes = 0;
    const uint32_t code = encoding_.nextCode(string, codeBytes);
    TextChar result;
    result.isSpace = codeBytes == 1 && code == ' ';
    const uint32_t cid = encoding_.cidOf(code);
    result.width = vertical_ ? 1 : widths_.get(cid, defaultWidth_);
    result.text = toUnicode_[code];
    if (result.text.empty() && codesAreUnicode_) {
      // A view needs an object to look at: the map's own list of all characters would be too long,
      // so the font keeps the latest one.
      latest_ = codeBytes == 2 && identityText_ ? code : encoding_.unicodeOf(code, codeBytes);
      if (latest_ != 0) result.text = {&latest_, 1};
    } else if (result.text.empty() && !glyphTexts_.empty()) {
      result.text = glyphTexts_[glyphOf(cid)];
    }
    return result;
  }

  size_t memory() const override {
    return sizeof(*this) + toUnicode_.memory() + glyphTexts_.memory() + widths_.memory() +
           cidToGlyph_.size();
  }

 private:
  void readEncoding(const Dictionary& dictionary);
  void readWidths(const Dictionary& descendant);
  void readGlyphTexts(const Dictionary& descendant);

  uint32_t glyphOf(uint32_t cid) const {
    return cidToGlyph_.empty() ? cid : numberAt(cidToGlyph_, 2 * size_t{cid}, 2);
  }

  Document& document_;  // only while loading
  CMap encoding_;
  TextMap toUnicode_;
  TextMap glyphTexts_;
  WidthMap widths_;
  double defaultWidth_ = 1;
  std::string cidToGlyph_;
  bool codesAreUnicode_ = false;
  bool identityText_ = false;
  mutable char32_t latest_ = 0;
};

void CompositeFont::readEncoding(const Dictionary& dictionary) {
  const Object encoding = document_.get(dictionary, "Encoding");
  if (encoding.stream()) {
    encoding_ = CMap::parse(document_.decode(*encoding.stream(), kMaxMapBytes), document_.budget());
  } else {
    encoding_ = CMap::predefined(encoding.name());
    codesAreUnicode_ = encoding_.unicodeOf('A', 2) == 'A';
  }
  vertical_ = encoding_.vertical();
  if (document_.get(dictionary, "ToUnicode").name().starts_with("Identity")) {
    codesAreUnicode_ = identityText_ = true;
  }
}

// "W" lists "first [w w w]" and "first last w" (ISO 32000-1, 9.7.4.3).
void CompositeFont::readWidths(const Dictionary& descendant) {
  defaultWidth_ = 0.001 * document_.get(descendant, "DW").number(1000);
  const Object list = document_.get(descendant, "W");
  if (!list.array()) return;
  const Array& items = *list.array();
  for (size_t i = 0; i + 1 < items.size();) {
    const int64_t first = document_.resolve(items[i]).integer(-1);
    const Object second = document_.resolve(items[i + 1]);
    if (first < 0 || first > 0xFFFF || !document_.budget().takeSteps(8)) return;
    const auto cid = static_cast<uint32_t>(first);
    if (const Array* widths = second.array()) {
      for (uint32_t j = 0; j < widths->size() && j <= 0xFFFF; ++j) {
        if (!document_.budget().takeSteps(4)) return;
        widths_.set(cid + j, 0.001 * document_.resolve((*widths)[j]).number(0));
      }
      i += 2;
    } else if (i + 2 < items.size()) {
      const int64_t last = std::min<int64_t>(second.integer(-1), 0xFFFF);
      const double width = 0.001 * document_.resolve(items[i + 2]).number(0);
      for (int64_t c = first; c <= last; ++c) {
        if (!document_.budget().takeSteps(2)) return;
        widths_.set(static_cast<uint32_t>(c), width);
      }
      i += 3;
    } else {
      return;
    }
  }
}

void CompositeFont::readGlyphTexts(const Dictionary& descendant) {
  const Object descriptor = document_.get(descendant, "FontDescriptor");
  if (!descriptor.dictionary()) return;
  const std::string file = readFontFile(document_, *descriptor.dictionary());
  if (file.empty()) return;
  FontProgram program = readFontProgram(file, document_.budget());
  glyphTexts_ = std::move(program.byGlyph);
  const Object map = document_.get(descendant, "CIDToGIDMap");
  if (map.stream()) cidToGlyph_ = document_.decode(*map.stream(), 2 << 16);
}

}  // namespace

std::shared_ptr<const Font> loadCompositeFont(Document& document, const Dictionary& dictionary) {
  return std::make_shared<const CompositeFont>(document, dictionary);
}

}  // namespace veska::pdf
