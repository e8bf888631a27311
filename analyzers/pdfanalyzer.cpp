#include "analyzers/pdfanalyzer.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <utility>

#include "analyzers/pdf/extractor.h"
#include "analyzers/pdf/unicode.h"
#include "api/reporting.h"
#include "index/index.h"

namespace {

using veska::pdf::TextExtractor;

// Text is handed on in blocks of about this size, so that progress shows in between.
constexpr size_t kPieceBytes = 16 << 10;
// A piece without any blank is cut when it is longer than this.
constexpr size_t kLongestWord = 1024;

// A document's text as a stream of bytes, in pieces that end with a blank.
class PdfText {
 public:
  // onPage: called before each page.
  PdfText(TextExtractor& document, std::function<void()> onPage)
      : document_(document), onPage_(std::move(onPage)) {}

  // As CFileAnalyzer::BlockReader.
  size_t read(char* to, size_t bytes) {
    refill(std::min(bytes, kPieceBytes));
    size_t count = pending_.size() - taken_;
    if (count > bytes) count = wholeWords(bytes);
    std::memcpy(to, pending_.data() + taken_, count);
    taken_ += count;
    return count;
  }

 private:
  void refill(size_t wanted) {
    if (pending_.size() - taken_ >= wanted) return;
    pending_.erase(0, taken_);
    taken_ = 0;
    while (pending_.size() < wanted) {
      onPage_();
      if (!document_.nextPage(page_)) return;
      veska::pdf::appendWindows1252(page_, pending_);
    }
  }

  // How many of the next bytes end with a blank; 0 when the room ends within the only word.
  size_t wholeWords(size_t bytes) const {
    const size_t blank = std::string_view(pending_).substr(taken_, bytes).find_last_of(" \n");
    if (blank != std::string_view::npos) return blank + 1;
    return bytes > kLongestWord ? bytes : 0;
  }

  TextExtractor& document_;
  std::function<void()> onPage_;
  std::u32string page_;
  std::string pending_;
  size_t taken_ = 0;
};

// What is told about a document that cannot be read in whole; null when there is nothing to tell.
const char* problemOf(TextExtractor::State state) {
  switch (state) {
    case TextExtractor::State::kUnreadable:
      return "OpenFailed";
    case TextExtractor::State::kNoDocument:
      return "Damaged";
    case TextExtractor::State::kNeedsPassword:
      return "PasswordNeeded";
    case TextExtractor::State::kReady:
      break;
  }
  return nullptr;
}

}  // namespace

bool CPdfAnalyzer::canUseIndexBuffer() { return false; }

bool CPdfAnalyzer::indexFile(const char* path, unsigned long parentId) {
  const std::string shownPath = index->expansion.depth == 0 ? path : index->expansion.memberPath;
  TextExtractor document;
  const TextExtractor::State state = document.open(path);
  if (const char* problem = problemOf(state)) reportProblem(problem, shownPath);
  if (state == TextExtractor::State::kUnreadable) {
    index->readFailed = true;
    return false;
  }
  if (state != TextExtractor::State::kReady) {
    ++index->contentsIndexed;
    return true;
  }
  PdfText text(document, [this, &shownPath] {
    if (index->progressDue()) index->postProgress("DecodingPdf", shownPath);
  });
  indexBlocks([&text](char* to, size_t bytes) { return text.read(to, bytes); }, *this, path,
              parentId);
  if (document.cutShort()) {
    ++index->limitsReached;
    reportProblem("LimitReached", shownPath);
  }
  return true;
}

char* CPdfAnalyzer::fillDisplayBuffer(const char* path, unsigned long /*fileId*/,
                                      unsigned long maxBytes, int lineWidth, bool option) {
  TextExtractor document;
  const TextExtractor::State state = document.open(path);
  if (state == TextExtractor::State::kUnreadable) throwVeskaError("CannotOpenContentsFile", path);
  PdfText text(document, [] {});
  const bool ready = state == TextExtractor::State::kReady;
  return displayBlocks(
      [&text, ready](char* to, size_t bytes) { return ready ? text.read(to, bytes) : 0; }, path,
      "DecodingPdf", maxBytes, lineWidth, option);
}
