#include "analyzers/pdf/content.h"

#include <algorithm>
#include <cmath>

namespace veska::pdf {
namespace {

using Kind = Token::Kind;

constexpr size_t kMaxFontMemory = 32 << 20;
constexpr size_t kMaxFonts = 1024;
constexpr size_t kMaxOperands = 1 << 16;
constexpr size_t kMaxStates = 512;
constexpr uint64_t kMaxContentBytes = 32 << 20;  // of one page

// An operator's up to three characters as a number.
constexpr uint32_t op(std::string_view name) {
  uint32_t value = 0;
  for (const char c : name) value = value << 8 | static_cast<unsigned char>(c);
  return value;
}

bool isFinite(const Matrix& m) {
  return std::isfinite(m.a) && std::isfinite(m.b) && std::isfinite(m.c) && std::isfinite(m.d) &&
         std::isfinite(m.e) && std::isfinite(m.f);
}

}  // namespace

Matrix Matrix::then(const Matrix& next) const {
  const Matrix result = {a * next.a + b * next.c,          a * next.b + b * next.d,
                         c * next.a + d * next.c,          c * next.b + d * next.d,
                         e * next.a + f * next.c + next.e, e * next.b + f * next.d + next.f};
  return isFinite(result) ? result : Matrix();
}

std::shared_ptr<const Font> FontCache::get(const Object& font) {
  const Reference* const reference = font.reference();
  if (reference) {
    const auto known = fonts_.find(reference->number);
    if (known != fonts_.end()) return known->second;
  }
  const Object dictionary = document_.resolve(font);
  if (!dictionary.dictionary() || !document_.budget().takeSteps(1024)) return nullptr;
  std::shared_ptr<const Font> loaded = Font::load(document_, *dictionary.dictionary());
  if (!reference) return loaded;
  if (memory_ > kMaxFontMemory || fonts_.size() > kMaxFonts) {
    fonts_.clear();
    memory_ = 0;
  }
  memory_ += loaded->memory();
  fonts_.emplace(reference->number, loaded);
  return loaded;
}

ContentInterpreter::ContentInterpreter(Document& document, TextPage& text)
    : document_(document), page_(text), fonts_(document) {
  readHiddenGroups();
}

void ContentInterpreter::interpret(const Page& page) {
  left_ = page.left;
  bottom_ = page.bottom;
  right_ = page.right;
  top_ = page.top;
  state_ = GraphicsState();
  stack_.clear();
  marks_.clear();
  stackOverflow_ = markOverflow_ = 0;
  hiddenMarks_ = 0;
  replacing_ = false;
  Resources resources = openResources(page.resources);
  run(contentsOf(page), resources);
  drawAnnotations(page);
}

// All content streams of the page behind each other; a token never spans two of them.
std::string ContentInterpreter::contentsOf(const Page& page) {
  const Object contents = document_.get(page.dictionary, "Contents");
  if (contents.stream()) return document_.decode(*contents.stream(), kMaxContentBytes);
  std::string data;
  if (!contents.array()) return data;
  for (const Object& item : *contents.array()) {
    const Object part = document_.resolve(item);
    if (data.size() >= kMaxContentBytes || !document_.budget().takeSteps(16)) break;
    if (!part.stream()) continue;
    data += document_.decode(*part.stream(), kMaxContentBytes - data.size());
    data += '\n';
  }
  return data;
}

ContentInterpreter::Resources ContentInterpreter::openResources(const Object& dictionary) {
  Resources resources;
  resources.dictionary = dictionary;
  if (const Dictionary* entries = dictionary.dictionary()) {
    resources.fonts = document_.get(*entries, "Font");
    resources.forms = document_.get(*entries, "XObject");
    resources.properties = document_.get(*entries, "Properties");
    resources.states = document_.get(*entries, "ExtGState");
  }
  return resources;
}

void ContentInterpreter::run(std::string data, Resources& resources) {
  Lexer lexer(data);
  Lexer* const outerLexer = lexer_;
  std::vector<Token> outerOperands;
  outerOperands.swap(operands_);
  const size_t outerStates = stack_.size();
  lexer_ = &lexer;
  while (!page_.full()) {
    const Token token = lexer.next();
    if (token.is(Kind::kEnd)) break;
    if (!token.is(Kind::kKeyword)) {
      if (operands_.size() < kMaxOperands) operands_.push_back(token);
      continue;
    }
    const std::string_view word = lexer.text(token);
    if (word == "true" || word == "false" || word == "null") {
      operands_.push_back(token);
      continue;
    }
    if (!document_.budget().takeSteps(2 + operands_.size())) break;
    execute(word, resources);
    operands_.clear();
    lexer.forget();
  }
  if (stack_.size() > outerStates) {
    state_ = stack_[outerStates];
    stack_.resize(outerStates);
  }
  lexer_ = outerLexer;
  operands_.swap(outerOperands);
}

void ContentInterpreter::execute(std::string_view word, Resources& resources) {
  if (word.size() > 3) return;
  const uint32_t code = op(word);
  if (executeText(code, resources) || executeState(code, resources)) return;
  executeMarks(code, resources);
}

bool ContentInterpreter::executeState(uint32_t code, Resources& resources) {
  TextState& text = state_.text;
  switch (code) {
    case op("q"):
      if (stack_.size() < kMaxStates) {
        stack_.push_back(state_);
      } else {
        ++stackOverflow_;
      }
      return true;
    case op("Q"):
      if (stackOverflow_ > 0) {
        --stackOverflow_;
      } else if (!stack_.empty()) {
        state_ = stack_.back();
        stack_.pop_back();
      }
      return true;
    case op("cm"):
      state_.matrix =
          Matrix{operand(5), operand(4), operand(3), operand(2), operand(1), operand(0)}.then(
              state_.matrix);
      return true;
    case op("gs"):
      setFromState(nameOperand(0), resources);
      return true;
    case op("Tc"):
      text.charSpace = operand(0);
      return true;
    case op("Tw"):
      text.wordSpace = operand(0);
      return true;
    case op("Tz"):
      text.scale = operand(0) / 100;
      return true;
    case op("TL"):
      text.leading = operand(0);
      return true;
    case op("Ts"):
      text.rise = operand(0);
      return true;
    case op("Tf"):
      setFont(nameOperand(1), operand(0), resources);
      return true;
    default:
      return false;
  }
}

bool ContentInterpreter::executeText(uint32_t code, Resources&) {
  switch (code) {
    case op("BT"):
      textMatrix_ = lineMatrix_ = Matrix();
      return true;
    case op("Td"):
      moveLine(operand(1), operand(0));
      return true;
    case op("TD"):
      state_.text.leading = -operand(0);
      moveLine(operand(1), operand(0));
      return true;
    case op("Tm"):
      textMatrix_ = lineMatrix_ =
          Matrix{operand(5), operand(4), operand(3), operand(2), operand(1), operand(0)};
      return true;
    case op("T*"):
      moveLine(0, -state_.text.leading);
      return true;
    case op("Tj"):
      beginRun();
      show(stringOperand(0));
      endRun();
      return true;
    case op("TJ"):
      showArray();
      return true;
    case op("\""):
      state_.text.wordSpace = operand(2);
      state_.text.charSpace = operand(1);
      [[fallthrough]];
    case op("'"):
      moveLine(0, -state_.text.leading);
      beginRun();
      show(stringOperand(0));
      endRun();
      return true;
    default:
      return false;
  }
}

void ContentInterpreter::executeMarks(uint32_t code, Resources& resources) {
  switch (code) {
    case op("BMC"):
      beginMark(resources, false);
      break;
    case op("BDC"):
      beginMark(resources, true);
      break;
    case op("EMC"):
      endMark();
      break;
    case op("Do"):
      drawObject(nameOperand(0), resources);
      break;
    case op("ID"):
      skipInlineImage();
      break;
    default:
      break;
  }
}

double ContentInterpreter::operand(size_t fromLast) const {
  if (fromLast >= operands_.size()) return 0;
  const Token& token = operands_[operands_.size() - 1 - fromLast];
  return token.isNumber() ? token.number : 0;
}

std::string_view ContentInterpreter::nameOperand(size_t fromLast) const {
  if (fromLast >= operands_.size()) return {};
  const Token& token = operands_[operands_.size() - 1 - fromLast];
  return token.is(Kind::kName) ? lexer_->text(token) : std::string_view();
}

std::string_view ContentInterpreter::stringOperand(size_t fromLast) const {
  if (fromLast >= operands_.size()) return {};
  const Token& token = operands_[operands_.size() - 1 - fromLast];
  return token.is(Kind::kString) ? lexer_->text(token) : std::string_view();
}

}  // namespace veska::pdf
