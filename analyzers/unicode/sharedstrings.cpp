#include "analyzers/unicode/sharedstrings.h"

#include <algorithm>
#include <charconv>

#include "analyzers/unicode/charset.h"
#include "analyzers/unicode/taggedtext.h"

namespace veska::unicode {

namespace {

// Sorted. "rPh" is how a string is pronounced.
constexpr TextTag kTags[] = {{"rPh", kTagHidden}, {"t", kTagText}};

}  // namespace

class StringReader : public TaggedText {
 public:
  StringReader(SharedStrings& strings, TextSink& sink)
      : TaggedText(kTags, sink), strings_(strings) {}

 private:
  bool opened(std::string_view name, std::string_view, bool empty) override {
    return name != "si" || !empty || endString();
  }
  bool closed(std::string_view name) override { return name != "si" || endString(); }

  bool take(std::string_view utf8) override {
    if (strings_.isFull()) return story().add(utf8);
    strings_.text_ += utf8;
    return true;
  }

  bool endString() {
    if (strings_.isFull()) return story().boundary(Break::kLine);
    strings_.ends_.push_back(static_cast<uint32_t>(strings_.text_.size()));
    return true;
  }

  SharedStrings& strings_;
};

bool SharedStrings::read(ByteInput& part, TextSink& sink) {
  return StringReader(*this, sink).read(part);
}

std::string_view SharedStrings::at(uint64_t number) const {
  if (number >= ends_.size()) return {};
  const auto i = static_cast<size_t>(number);
  const size_t begin = i == 0 ? 0 : ends_[i - 1];
  return std::string_view(text_).substr(begin, ends_[i] - begin);
}

void appendCellText(std::string& to, std::string_view text) {
  constexpr size_t kEscapeBytes = 7;
  for (;;) {
    const size_t at = std::min(text.find("_x"), text.size());
    to += text.substr(0, at);
    text.remove_prefix(at);
    if (text.empty()) return;
    unsigned c = 0;
    const bool whole = text.size() >= kEscapeBytes && text[kEscapeBytes - 1] == '_';
    const char* const digits = text.data() + 2;
    if (whole && std::from_chars(digits, digits + 4, c, 16).ptr == digits + 4) {
      if (c < 0x20) c = ' ';
      appendUtf8(to, c);
      text.remove_prefix(kEscapeBytes);
    } else {
      to += text.substr(0, 2);
      text.remove_prefix(2);
    }
  }
}

}  // namespace veska::unicode
