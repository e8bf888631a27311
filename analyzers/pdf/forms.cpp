// What content streams bring in from elsewhere (form XObjects, annotations) and what marks say
// about their parts (text that replaces glyphs, layers that are switched off).

#include <algorithm>
#include <cmath>

#include "analyzers/pdf/content.h"
#include "analyzers/pdf/encodings.h"

namespace veska::pdf {
namespace {

using Kind = Token::Kind;

constexpr size_t kMaxMarks = 256;
constexpr uint64_t kFormSteps = 256;  // what it takes to open one
constexpr size_t kMaxHiddenGroups = 65536;
constexpr int64_t kAnnotationHidden = 2, kAnnotationNoView = 32;

// A text string (ISO 32000-1, 7.9.2.2): UTF-16, UTF-8 or PDFDocEncoding, told apart by its start.
std::u32string decodeTextString(std::string_view bytes) {
  bytes = bytes.substr(0, 4096);
  if (bytes.starts_with("\xFE\xFF")) return decodeUtf16(bytes.substr(2));
  std::u32string text;
  for (const char c : bytes) {
    if (const char32_t code = pdfDocEncoding()[static_cast<unsigned char>(c)]) text += code;
  }
  return text;
}

}  // namespace

Matrix ContentInterpreter::matrixOf(const Object& array) {
  Matrix matrix;
  const Array* const items = array.array();
  if (!items || items->size() < 6) return matrix;
  double* const values[] = {&matrix.a, &matrix.b, &matrix.c, &matrix.d, &matrix.e, &matrix.f};
  for (size_t i = 0; i < 6; ++i) *values[i] = document_.resolve((*items)[i]).number(0);
  return matrix;
}

void ContentInterpreter::drawObject(std::string_view name, Resources& resources) {
  const Dictionary* const forms = resources.forms.dictionary();
  if (!forms || hiddenMarks_ > 0) return;
  const Object object = document_.get(*forms, name);
  const Stream* const stream = object.stream();
  if (!stream || !document_.get(stream->dictionary, "Subtype").isName("Form")) return;
  if (isHidden(stream->dictionary["OC"])) return;
  drawForm(*stream, state_.matrix, &resources);
}

void ContentInterpreter::drawForm(const Stream& form, const Matrix& placed,
                                  const Resources* outer) {
  if (formDepth_ >= kMaxFormDepth || !document_.budget().takeSteps(kFormSteps) ||
      !activeForms_.insert(form.offset).second)
    return;
  ++formDepth_;
  Object dictionary = document_.get(form.dictionary, "Resources");
  if (!dictionary.dictionary() && outer) dictionary = outer->dictionary;
  Resources resources = openResources(dictionary);
  const GraphicsState saved = state_;
  const Matrix savedText = textMatrix_, savedLine = lineMatrix_;
  state_.matrix = matrixOf(document_.get(form.dictionary, "Matrix")).then(placed);
  run(document_.decode(form), resources);
  state_ = saved;
  textMatrix_ = savedText;
  lineMatrix_ = savedLine;
  --formDepth_;
  activeForms_.erase(form.offset);
}

void ContentInterpreter::drawAnnotations(const Page& page) {
  const Object annotations = document_.get(page.dictionary, "Annots");
  if (!annotations.array()) return;
  for (const Object& item : *annotations.array()) {
    if (!document_.budget().takeSteps(32)) return;
    const Object annotation = document_.resolve(item);
    if (annotation.dictionary()) drawAppearance(*annotation.dictionary());
  }
}

// An annotation's appearance is a form whose box, transformed, fills the annotation's rectangle
// (ISO 32000-1, 12.5.5).
void ContentInterpreter::drawAppearance(const Dictionary& annotation) {
  const int64_t flags = document_.get(annotation, "F").integer(0);
  const Object subtype = document_.get(annotation, "Subtype");
  if ((flags & (kAnnotationHidden | kAnnotationNoView)) != 0 || subtype.isName("Popup") ||
      subtype.isName("Link")) {
    return;
  }
  const Object appearances = document_.get(annotation, "AP");
  if (!appearances.dictionary()) return;
  Object normal = document_.get(*appearances.dictionary(), "N");
  if (!normal.stream() && normal.dictionary()) {
    normal = document_.get(*normal.dictionary(), document_.get(annotation, "AS").name());
  }
  const Stream* const form = normal.stream();
  const Object rectangle = document_.get(annotation, "Rect");
  if (!form || !rectangle.array() || rectangle.array()->size() < 4) return;
  const Object box = document_.get(form->dictionary, "BBox");
  double rect[4], bounds[4] = {0, 0, 0, 0};
  for (size_t i = 0; i < 4; ++i) {
    rect[i] = document_.resolve((*rectangle.array())[i]).number(0);
    if (box.array() && box.array()->size() >= 4) {
      bounds[i] = document_.resolve((*box.array())[i]).number(0);
    }
  }
  const Matrix own = matrixOf(document_.get(form->dictionary, "Matrix"));
  double low[2] = {1e30, 1e30};
  for (const size_t x : {0, 2}) {
    for (const size_t y : {1, 3}) {
      low[0] = std::min(low[0], own.a * bounds[x] + own.c * bounds[y] + own.e);
      low[1] = std::min(low[1], own.b * bounds[x] + own.d * bounds[y] + own.f);
    }
  }
  Matrix placed;
  placed.e = std::min(rect[0], rect[2]) - low[0];
  placed.f = std::min(rect[1], rect[3]) - low[1];
  state_ = GraphicsState();
  drawForm(*form, placed, nullptr);
}

// The lexer stands behind "ID". The image ends with an "EI" between blanks that is followed by what
// looks like more of the content stream.
void ContentInterpreter::skipInlineImage() {
  const std::string_view input = lexer_->input();
  const auto isText = [](char c) { return isWhiteSpace(c) || (c >= 0x20 && c < 0x7F); };
  for (uint64_t at = lexer_->position(); (at = input.find("EI", at)) != std::string_view::npos;
       at += 2) {
    const std::string_view after = input.substr(at + 2, 16);
    if (!isWhiteSpace(input[at - 1]) || (!after.empty() && !isWhiteSpace(after[0]))) continue;
    if (!std::all_of(after.begin(), after.end(), isText)) continue;
    lexer_->seek(at + 2);
    return;
  }
  lexer_->seek(input.size());
}

void ContentInterpreter::beginMark(Resources& resources, bool withProperties) {
  if (marks_.size() >= kMaxMarks) {
    ++markOverflow_;
    return;
  }
  Mark mark;
  if (withProperties && operands_.size() >= 2) {
    const Dictionary* const named = resources.properties.dictionary();
    const bool byName = operands_.back().is(Kind::kName);
    const Object& entry = byName && named ? (*named)[nameOperand(0)] : Object();
    if (operands_.front().is(Kind::kName) && lexer_->text(operands_.front()) == "OC") {
      mark.hidden = isHidden(entry);
    }
    const Object properties = document_.resolve(entry);
    const std::string* text = nullptr;
    std::string direct;
    if (properties.dictionary()) {
      const Object actual = document_.get(*properties.dictionary(), "ActualText");
      if (actual.string()) direct = *actual.string();
      if (actual.string()) text = &direct;
    }
    for (size_t i = 0; i + 1 < operands_.size() && !byName; ++i) {
      if (operands_[i].is(Kind::kName) && lexer_->text(operands_[i]) == "ActualText" &&
          operands_[i + 1].is(Kind::kString)) {
        direct = lexer_->text(operands_[i + 1]);
        text = &direct;
      }
    }
    if (text && !replacing_) {
      mark.replaced = replacing_ = true;
      replacedAny_ = false;
      replacement_ = decodeTextString(*text);
    }
  }
  hiddenMarks_ += mark.hidden;
  marks_.push_back(mark);
}

void ContentInterpreter::endMark() {
  if (markOverflow_ > 0) {
    --markOverflow_;
    return;
  }
  if (marks_.empty()) return;
  const Mark mark = marks_.back();
  marks_.pop_back();
  hiddenMarks_ -= mark.hidden;
  if (!mark.replaced) return;
  replacing_ = false;
  if (!replacedAny_) return;
  page_.beginRun(replacedRun_);
  page_.add(replacement_, replacedFrom_, replacedTo_);
}

// Optional content (ISO 32000-1, 8.11): groups that the default configuration switches off.
void ContentInterpreter::readHiddenGroups() {
  const Object properties = document_.get(document_.catalog(), "OCProperties");
  if (!properties.dictionary()) return;
  const Object configuration = document_.get(*properties.dictionary(), "D");
  if (!configuration.dictionary()) return;
  const auto forEach = [this](const Object& groups, const auto& visit) {
    if (!groups.array()) return;
    for (const Object& group : *groups.array()) {
      if (group.reference() && hiddenGroups_.size() < kMaxHiddenGroups)
        visit(group.reference()->number);
    }
  };
  if (document_.get(*configuration.dictionary(), "BaseState").isName("OFF")) {
    forEach(document_.get(*properties.dictionary(), "OCGs"),
            [this](uint32_t group) { hiddenGroups_.insert(group); });
    forEach(document_.get(*configuration.dictionary(), "ON"),
            [this](uint32_t group) { hiddenGroups_.erase(group); });
  }
  forEach(document_.get(*configuration.dictionary(), "OFF"),
          [this](uint32_t group) { hiddenGroups_.insert(group); });
}

// group: a reference to a group, or to a dictionary that names those it depends on.
bool ContentInterpreter::isHidden(const Object& group) {
  if (hiddenGroups_.empty() || !group.reference()) return false;
  if (hiddenGroups_.count(group.reference()->number) > 0) return true;
  const Object membership = document_.resolve(group);
  if (!membership.dictionary()) return false;
  const Object& members = (*membership.dictionary())["OCGs"];
  if (members.reference() && hiddenGroups_.count(members.reference()->number) > 0) return true;
  const Object list = document_.resolve(members);
  if (!list.array() || list.array()->empty()) return false;
  return std::all_of(list.array()->begin(), list.array()->end(), [this](const Object& member) {
    return member.reference() && hiddenGroups_.count(member.reference()->number) > 0;
  });
}

}  // namespace veska::pdf
