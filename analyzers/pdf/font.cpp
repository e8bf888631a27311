#include "analyzers/pdf/font.h"

#include "analyzers/pdf/fontprogram.h"

namespace veska::pdf {
namespace {

constexpr uint64_t kMaxMapBytes = 4 << 20;
constexpr uint64_t kMaxFontBytes = 16 << 20;

}  // namespace

std::shared_ptr<const Font> Font::load(Document& document, const Dictionary& dictionary) {
  return document.get(dictionary, "Subtype").isName("Type0")
             ? loadCompositeFont(document, dictionary)
             : loadSimpleFont(document, dictionary);
}

TextMap readToUnicode(Document& document, const Dictionary& font) {
  const Object map = document.get(font, "ToUnicode");
  if (!map.stream()) return {};
  CMap parsed = CMap::parse(document.decode(*map.stream(), kMaxMapBytes), document.budget());
  return std::move(parsed).takeText();
}

std::string readFontFile(Document& document, const Dictionary& descriptor) {
  for (const char* key : {"FontFile", "FontFile2", "FontFile3"}) {
    const Object file = document.get(descriptor, key);
    if (!file.stream()) continue;
    const bool isType1 = std::string_view(key) == "FontFile";
    return document.decode(*file.stream(), isType1 ? kType1HeadBytes : kMaxFontBytes);
  }
  return {};
}

}  // namespace veska::pdf
