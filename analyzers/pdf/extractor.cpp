#include "analyzers/pdf/extractor.h"

#include <optional>

#include "analyzers/pdf/content.h"

namespace veska::pdf {
namespace {

TextExtractor::State stateOf(Document::State state) {
  switch (state) {
    case Document::State::kReady:
      return TextExtractor::State::kReady;
    case Document::State::kUnreadable:
      return TextExtractor::State::kUnreadable;
    case Document::State::kNoDocument:
      return TextExtractor::State::kNoDocument;
    case Document::State::kNeedsPassword:
      return TextExtractor::State::kNeedsPassword;
  }
  return TextExtractor::State::kNoDocument;
}

}  // namespace

struct TextExtractor::Parts {
  Document document;
  TextPage text;
  std::optional<PageTree> pages;
  std::optional<ContentInterpreter> interpreter;

  State start(State state) {
    if (state == State::kReady) {
      pages.emplace(document);
      interpreter.emplace(document, text);
    }
    return state;
  }
};

TextExtractor::TextExtractor() : parts_(std::make_unique<Parts>()) {}
TextExtractor::~TextExtractor() = default;

TextExtractor::State TextExtractor::open(const std::string& path) {
  return parts_->start(stateOf(parts_->document.open(path)));
}

TextExtractor::State TextExtractor::openBytes(std::string_view bytes) {
  return parts_->start(stateOf(parts_->document.openBytes(bytes)));
}

bool TextExtractor::nextPage(std::u32string& text) {
  text.clear();
  Page page;
  if (!parts_->pages->next(page)) return false;
  parts_->text.clear();
  parts_->interpreter->interpret(page);
  parts_->text.write(text);
  return true;
}

bool TextExtractor::cutShort() const { return parts_->document.budget().exhausted(); }

}  // namespace veska::pdf
