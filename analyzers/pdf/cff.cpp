// The Compact Font Format (Adobe Technical Note 5176): a glyph's name is in the charset, the code
// that selects it in the encoding.

#include <algorithm>
#include <string>
#include <vector>

#include "analyzers/pdf/encodings.h"
#include "analyzers/pdf/fontprogram.h"

namespace veska::pdf {
namespace {

constexpr uint32_t kStandardStrings = 391;

// An INDEX: objects of varying length behind each other.
struct Index {
  uint32_t count = 0;
  uint32_t offsetBytes = 0;
  size_t offsets = 0;  // where the offsets begin
  size_t data = 0;     // what offsets count from
  size_t end = 0;

  std::string_view item(std::string_view font, uint32_t i) const {
    if (i >= count) return {};
    const size_t from = data + numberAt(font, offsets + size_t{i} * offsetBytes, offsetBytes);
    const size_t to = data + numberAt(font, offsets + (size_t{i} + 1) * offsetBytes, offsetBytes);
    return from <= to && to <= font.size() ? font.substr(from, to - from) : std::string_view();
  }
};

Index readIndex(std::string_view font, size_t at) {
  Index index;
  index.count = numberAt(font, at, 2);
  index.end = at + 2;
  if (index.count == 0) return index;
  index.offsetBytes = std::clamp<uint32_t>(numberAt(font, at + 2, 1), 1, 4);
  index.offsets = at + 3;
  index.data = index.offsets + (size_t{index.count} + 1) * index.offsetBytes - 1;
  index.end = index.data + numberAt(font, index.offsets + size_t{index.count} * index.offsetBytes,
                                    index.offsetBytes);
  return index;
}

struct TopDictionary {
  size_t charset = 0, encoding = 0, charStrings = 0;
  bool byCid = false;
};

TopDictionary readTopDictionary(std::string_view bytes) {
  TopDictionary result;
  int64_t operand = 0;
  for (size_t at = 0; at < bytes.size();) {
    const uint32_t b = numberAt(bytes, at, 1);
    if (b >= 32 && b <= 246) {
      operand = static_cast<int64_t>(b) - 139;
      at += 1;
    } else if (b >= 247 && b <= 250) {
      operand = static_cast<int64_t>((b - 247) * 256 + numberAt(bytes, at + 1, 1) + 108);
      at += 2;
    } else if (b >= 251 && b <= 254) {
      operand = -static_cast<int64_t>((b - 251) * 256 + numberAt(bytes, at + 1, 1)) - 108;
      at += 2;
    } else if (b == 28) {
      operand = static_cast<int16_t>(numberAt(bytes, at + 1, 2));
      at += 3;
    } else if (b == 29) {
      operand = static_cast<int32_t>(numberAt(bytes, at + 1, 4));
      at += 5;
    } else if (b == 30) {  // a real, up to a nibble of 15
      ++at;
      while (at < bytes.size() && (bytes[at] & 0x0F) != 0x0F) ++at;
      ++at;
    } else {
      const auto place = static_cast<size_t>(std::max<int64_t>(operand, 0));
      if (b == 15) result.charset = place;
      if (b == 16) result.encoding = place;
      if (b == 17) result.charStrings = place;
      if (b == 12 && numberAt(bytes, at + 1, 1) == 30) result.byCid = true;
      at += b == 12 ? 2 : 1;
    }
  }
  return result;
}

class CffReader {
 public:
  CffReader(std::string_view font, Budget& budget) : font_(font), budget_(budget) {}

  FontProgram read() {
    const Index names = readIndex(font_, numberAt(font_, 2, 1));
    const Index tops = readIndex(font_, names.end);
    top_ = readTopDictionary(tops.item(font_, 0));
    strings_ = readIndex(font_, tops.end);
    glyphs_ = std::min<uint32_t>(readIndex(font_, top_.charStrings).count, 65535);
    if (top_.byCid || glyphs_ == 0) return {};
    readCharset();
    FontProgram program;
    for (uint32_t glyph = 1; glyph < charset_.size(); ++glyph) {
      program.byGlyph.set(glyph, textOfString(charset_[glyph]));
    }
    readEncoding(program);
    return program;
  }

 private:
  std::u32string textOfString(uint32_t id) {
    if (!budget_.takeSteps(16)) return {};
    if (id >= kStandardStrings) return textOfGlyphName(strings_.item(font_, id - kStandardStrings));
    const char32_t code = cffStandardNames()[id];
    return code ? std::u32string{code} : std::u32string();
  }

  // charset_: the string that names each glyph; or, in the predefined expert sets, none, as those
  // glyphs have no letters that a text would be searched for.
  void readCharset() {
    charset_.push_back(0);
    if (top_.charset <= 2) {
      for (uint32_t glyph = 1; glyph < std::min<uint32_t>(glyphs_, 229); ++glyph) {
        charset_.push_back(top_.charset == 0 ? glyph : 0);
      }
      return;
    }
    size_t at = top_.charset;
    const uint32_t format = numberAt(font_, at++, 1);
    while (charset_.size() < glyphs_ && at < font_.size() && budget_.takeSteps(2)) {
      uint32_t id = numberAt(font_, at, 2);
      at += 2;
      uint32_t more = 0;
      if (format >= 1) {
        const size_t bytes = format == 1 ? 1 : 2;
        more = numberAt(font_, at, bytes);
        at += bytes;
      }
      for (uint32_t i = 0; i <= more && charset_.size() < glyphs_; ++i) charset_.push_back(id++);
    }
  }

  void readEncoding(FontProgram& program) {
    if (top_.encoding <= 1) {
      readPredefinedEncoding(program);
      return;
    }
    size_t at = top_.encoding;
    const uint32_t format = numberAt(font_, at, 1);
    const uint32_t count = numberAt(font_, at + 1, 1);
    at += 2;
    uint32_t glyph = 1;
    for (uint32_t i = 0; i < count; ++i) {
      uint32_t code = numberAt(font_, at++, 1);
      const uint32_t more = (format & 0x7F) == 1 ? numberAt(font_, at++, 1) : 0;
      for (uint32_t j = 0; j <= more && code < 256; ++j) {
        program.byCode.set(code++, std::u32string(program.byGlyph[glyph++]));
      }
    }
    if ((format & 0x80) == 0) return;
    const uint32_t supplements = numberAt(font_, at++, 1);
    for (uint32_t i = 0; i < supplements; ++i, at += 3) {
      program.byCode.set(numberAt(font_, at, 1), textOfString(numberAt(font_, at + 1, 2)));
    }
  }

  void readPredefinedEncoding(FontProgram& program) {
    const EncodingTable* table =
        top_.encoding == 0 ? &standardEncoding() : encodingByName("MacExpertEncoding");
    for (uint32_t code = 0; code < 256; ++code) {
      const char32_t value = (*table)[code];
      if (value) program.byCode.set(code, {&value, 1});
    }
  }

  std::string_view font_;
  Budget& budget_;
  TopDictionary top_;
  Index strings_;
  uint32_t glyphs_ = 0;
  std::vector<uint32_t> charset_;
};

}  // namespace

FontProgram readCff(std::string_view data, Budget& budget) {
  return CffReader(data, budget).read();
}

}  // namespace veska::pdf
