#include "analyzers/unicode/pdfsource.h"

#include <string>

#include "analyzers/pdf/extractor.h"
#include "analyzers/pdf/righttoleft.h"
#include "analyzers/unicode/characters.h"
#include "analyzers/unicode/charset.h"

namespace veska::unicode {
namespace {

using pdf::TextExtractor;

constexpr uint64_t kMostBytes = uint64_t{1} << 30;

// Glyphs of Hebrew and Arabic letters, by which fonts name them.
bool isPresentationForm(char32_t c) {
  return (c >= 0xFB1D && c <= 0xFDFF) || (c >= 0xFE70 && c <= 0xFEFC);
}

class PdfSource : public TextSource {
 public:
  Outcome deliver(ByteInput& input, const SourceRequest&, TextSink& sink) override {
    if (input.size() > kMostBytes) return Outcome::kLimited;
    TextExtractor document;
    switch (open(document, input)) {
      case TextExtractor::State::kReady:
        return deliverPages(document, sink);
      case TextExtractor::State::kNeedsPassword:
        return Outcome::kNeedsPassword;
      default:
        return Outcome::kDamaged;
    }
  }

 private:
  static TextExtractor::State open(TextExtractor& document, ByteInput& input) {
    std::string bytes(static_cast<size_t>(input.size()), '\0');
    bytes.resize(input.read(bytes.data(), bytes.size()));
    return document.openBytes(bytes);
  }

  static Outcome deliverPages(TextExtractor& document, TextSink& sink) {
    std::u32string page;
    std::string text;
    while (document.nextPage(page)) {
      text.clear();
      pdf::toReadingDirection(page);
      for (const char32_t c : page) {
        if (isPresentationForm(c)) {
          text += compatibleText(c);
        } else {
          appendUtf8(text, c);
        }
      }
      if (!sink.text(text) || !sink.boundary(Break::kParagraph)) return Outcome::kStopped;
    }
    return document.cutShort() ? Outcome::kLimited : Outcome::kDone;
  }
};

}  // namespace

std::unique_ptr<TextSource> makePdfSource() { return std::make_unique<PdfSource>(); }

// Some programs write a few bytes of their own in front. (ISO 32000-1, annex H, note 13.)
bool isPdf(std::string_view head) {
  constexpr size_t kHeaderBytes = 1024;
  return head.substr(0, kHeaderBytes).find("%PDF-") != std::string_view::npos;
}

}  // namespace veska::unicode
