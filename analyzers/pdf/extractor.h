// The text of a PDF document (ISO 32000), page by page.
//
//   TextExtractor extractor;
//   if (extractor.open(path) != TextExtractor::State::kReady) ...
//   std::u32string text;
//   while (extractor.nextPage(text)) use(text);
//
// What it costs is bounded by the size of the file, whatever the file says; what is damaged gives
// the text that can be had.

#ifndef VESKA_ANALYZERS_PDF_EXTRACTOR_H_
#define VESKA_ANALYZERS_PDF_EXTRACTOR_H_

#include <memory>
#include <string>
#include <string_view>

namespace veska::pdf {

class TextExtractor {
 public:
  enum class State {
    kReady,
    kUnreadable,     // the file cannot be opened
    kNoDocument,     // it holds no document
    kNeedsPassword,  // encrypted, and not open to all
  };

  TextExtractor();
  ~TextExtractor();
  TextExtractor(const TextExtractor&) = delete;
  TextExtractor& operator=(const TextExtractor&) = delete;

  // Opens a document, once; openBytes one that is in memory already, which is copied.
  State open(const std::string& path);
  State openBytes(std::string_view bytes);

  // Replaces text by that of the next page in reading order, as code points: words end with a
  // blank, lines with a line feed. Empty for a page without text. Result: false after the last
  // page. REQUIRES: open answered kReady.
  bool nextPage(std::u32string& text);

  // Whether something was left out because the document would have cost too much.
  bool cutShort() const;

 private:
  struct Parts;

  std::unique_ptr<Parts> parts_;
};

}  // namespace veska::pdf

#endif  // VESKA_ANALYZERS_PDF_EXTRACTOR_H_
