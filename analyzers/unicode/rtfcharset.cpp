#include "analyzers/unicode/rtfcharset.h"

namespace veska::unicode {
namespace {

constexpr size_t kMostFonts = 65536;
constexpr size_t kMostDecoders = 32;

unsigned codePageOfFontCharset(int charset) {
  switch (charset) {
    case 0:
      return 1252;
    case 2:
      return kSymbolCodePage;
    case 77:
      return 10000;
    case 78:
    case 128:
      return 932;
    case 79:
    case 129:
      return 949;
    case 80:
    case 134:
      return 936;
    case 81:
    case 136:
      return 950;
    case 130:
      return 1361;
    case 161:
      return 1253;
    case 162:
      return 1254;
    case 163:
      return 1258;
    case 177:
      return 1255;
    case 178:
      return 1256;
    case 186:
      return 1257;
    case 204:
      return 1251;
    case 222:
      return 874;
    case 238:
      return 1250;
    case 254:
      return 437;
    case 255:
      return 850;
    default:
      return kNoCodePage;
  }
}

std::string codePageName(unsigned codePage) {
  switch (codePage) {
    case 10000:
      return "macroman";
    case 10007:
      return "MAC-CYRILLIC";
    case 1361:
      return "JOHAB";
    case 20866:
      return "KOI8-R";
    case 21866:
      return "KOI8-U";
    case 54936:
      return "GB18030";
    case 65001:
      return "UTF-8";
    case kNoCodePage:
    case kSymbolCodePage:
      return "WINDOWS-1252";
    default:
      if (codePage > 28590 && codePage < 28606)
        return "ISO-8859-" + std::to_string(codePage - 28590);
      return "CP" + std::to_string(codePage);
  }
}

}  // namespace

void RtfCharset::setDocument(unsigned codePage) {
  if (codePage != kNoCodePage) document_ = codePage;
}

void RtfCharset::setFontCharset(int font, int charset) {
  setFont(font, codePageOfFontCharset(charset));
}

void RtfCharset::setFontCodePage(int font, int codePage) {
  setFont(font, codePage < 0 ? kNoCodePage : static_cast<unsigned>(codePage));
}

void RtfCharset::setFont(int font, unsigned codePage) {
  if (codePage == kNoCodePage) return;
  if (fonts_.size() < kMostFonts || fonts_.contains(font)) fonts_[font] = codePage;
}

unsigned RtfCharset::codePageOf(int font) const {
  const auto found = fonts_.find(font >= 0 ? font : defaultFont_);
  return found == fonts_.end() ? document_ : found->second;
}

std::string_view RtfCharset::decode(unsigned codePage, std::string_view bytes, bool last) {
  if (codePage == kSymbolCodePage) return {};
  if (decoders_.size() >= kMostDecoders && !decoders_.contains(codePage)) decoders_.clear();
  auto& decoder = decoders_[codePage];
  if (decoder == nullptr) decoder = std::make_unique<Decoder>(codePageName(codePage));
  return decoder->decode(bytes, last);
}

}  // namespace veska::unicode
