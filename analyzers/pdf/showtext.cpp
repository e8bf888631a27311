// The operators that show text (ISO 32000-1, 9.4): where each glyph comes to stand.

#include <algorithm>
#include <cmath>

#include "analyzers/pdf/content.h"

namespace veska::pdf {
namespace {

using Kind = Token::Kind;

// Fonts of one content stream that are kept at hand, whatever the cache forgets.
constexpr size_t kMaxKnownFonts = 128;

// The direction (x, y) in degrees, 0 to 359.
int angleOf(double x, double y) {
  if (std::fabs(y) <= 1e-3 * std::fabs(x)) return x >= 0 ? 0 : 180;
  if (std::fabs(x) <= 1e-3 * std::fabs(y)) return y >= 0 ? 90 : 270;
  const int degrees = static_cast<int>(std::lround(std::atan2(y, x) * 180 / M_PI));
  return (degrees + 360) % 360;
}

struct Direction {
  double x, y;
};

Direction directionOf(int degrees) {
  switch (degrees) {
    case 0:
      return {1, 0};
    case 90:
      return {0, 1};
    case 180:
      return {-1, 0};
    case 270:
      return {0, -1};
    default:
      return {std::cos(degrees * M_PI / 180), std::sin(degrees * M_PI / 180)};
  }
}

}  // namespace

void ContentInterpreter::setFont(std::string_view name, double size, Resources& resources) {
  TextState& text = state_.text;
  text.size = size;
  const std::string key(name);
  const auto known = resources.knownFonts.find(key);
  if (known != resources.knownFonts.end()) {
    text.font = known->second;
    return;
  }
  if (resources.knownFonts.size() >= kMaxKnownFonts) resources.knownFonts.clear();
  const Dictionary* const fonts = resources.fonts.dictionary();
  text.font = fonts ? fonts_.get((*fonts)[name]) : nullptr;
  resources.knownFonts.emplace(key, text.font);
}

void ContentInterpreter::setFromState(std::string_view name, Resources& resources) {
  const Dictionary* const states = resources.states.dictionary();
  const Object state = states ? document_.get(*states, name) : Object();
  if (!state.dictionary()) return;
  const Object font = document_.get(*state.dictionary(), "Font");
  if (!font.array() || font.array()->size() < 2) return;
  state_.text.font = fonts_.get((*font.array())[0]);
  state_.text.size = document_.resolve((*font.array())[1]).number(0);
}

void ContentInterpreter::moveLine(double x, double y) {
  lineMatrix_ = Matrix{1, 0, 0, 1, x, y}.then(lineMatrix_);
  textMatrix_ = lineMatrix_;
}

// Finds the direction that glyphs follow on the page, and where along it and across it the next one
// stands. Afterwards `advanced_` units of text space are `advanced_ * alongPerUnit_` on the page.
void ContentInterpreter::beginRun() {
  const TextState& text = state_.text;
  runVisible_ = false;
  advanced_ = 0;
  if (!text.font) return;
  const Matrix m = textMatrix_.then(state_.matrix);
  const bool vertical = text.font->vertical();
  const double x = vertical ? -m.c : m.a, y = vertical ? -m.d : m.b;
  alongPerUnit_ = std::hypot(x, y);
  const double size = std::fabs(text.size) * std::hypot(m.c, m.d) * std::fabs(text.font->emScale());
  if (!(alongPerUnit_ > 0) || !(size > 1e-6) || !std::isfinite(size)) return;

  run_.angle = angleOf(x, y);
  const Direction along = directionOf(run_.angle);
  const double originX = m.e + text.rise * m.c, originY = m.f + text.rise * m.d;
  along_ = originX * along.x + originY * along.y;
  run_.base = originY * along.x - originX * along.y;
  run_.size = size;
  run_.font = text.font.get();
  const double cornersAlong[] = {left_ * along.x, right_ * along.x, bottom_ * along.y,
                                 top_ * along.y};
  minAlong_ =
      std::min(cornersAlong[0], cornersAlong[1]) + std::min(cornersAlong[2], cornersAlong[3]);
  maxAlong_ =
      std::max(cornersAlong[0], cornersAlong[1]) + std::max(cornersAlong[2], cornersAlong[3]);
  const bool inside = originX > left_ - size && originX < right_ + size &&
                      originY > bottom_ - size && originY < top_ + size;
  const bool across = run_.angle % 180 == 0  ? originY > bottom_ - size && originY < top_ + size
                      : run_.angle % 90 == 0 ? originX > left_ - size && originX < right_ + size
                                             : inside;
  runVisible_ = across && hiddenMarks_ == 0;
  if (runVisible_ && !replacing_) page_.beginRun(run_);
}

void ContentInterpreter::show(std::string_view string) {
  const TextState& text = state_.text;
  if (!text.font || !document_.budget().takeSteps(2 * string.size())) return;
  const bool vertical = text.font->vertical();
  const double scale = vertical ? 1 : text.scale;
  while (!string.empty()) {
    const TextChar c = text.font->next(string);
    const double width = c.width * text.size * scale;
    if (runVisible_) {
      const double from = along_ + advanced_ * alongPerUnit_;
      const double to = from + width * alongPerUnit_;
      if (to < minAlong_ || from > maxAlong_) {
        // Not on the page.
      } else if (!replacing_) {
        page_.add(c.text, from, to);
      } else if (!replacedAny_) {
        replacedAny_ = true;
        replacedRun_ = run_;
        replacedFrom_ = from;
        replacedTo_ = to;
      } else {
        replacedTo_ = to;
      }
    }
    advanced_ += width + (text.charSpace + (c.isSpace ? text.wordSpace : 0)) * scale;
  }
}

void ContentInterpreter::endRun() {
  if (!std::isfinite(advanced_)) return;
  const bool vertical = state_.text.font && state_.text.font->vertical();
  const double x = vertical ? 0 : advanced_, y = vertical ? -advanced_ : 0;
  textMatrix_ = Matrix{1, 0, 0, 1, x, y}.then(textMatrix_);
}

void ContentInterpreter::showArray() {
  const TextState& text = state_.text;
  beginRun();
  const double unit = -0.001 * text.size * (text.font && text.font->vertical() ? 1 : text.scale);
  for (const Token& token : operands_) {
    if (token.is(Kind::kString)) {
      show(lexer_->text(token));
    } else if (token.isNumber()) {
      advanced_ += token.number * unit;
    }
  }
  endRun();
}

}  // namespace veska::pdf
