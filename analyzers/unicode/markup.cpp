// A tokenizer for HTML and XML that takes whatever it gets. It works on a window of decoded text:
// what cannot be understood before more has come stays in the window, up to a bound; things without
// a bound (text, comments, scripts) are worked off as they come.

#include "analyzers/unicode/markup.h"

#include <algorithm>
#include <array>

#include "analyzers/unicode/charset.h"
#include "analyzers/unicode/entities.h"
#include "analyzers/unicode/htmlelements.h"

namespace veska::unicode {
namespace {

constexpr auto npos = std::string_view::npos;
constexpr size_t kPieceBytes = 65536;
// A longer tag is read as far as this, and what follows up to its ">" is passed over.
constexpr size_t kLongestTag = 65536;
constexpr size_t kLongestName = 128;

bool isBlank(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r' || c == '\f'; }
bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 0x20) : c; }

bool equalsIgnoringCase(std::string_view text, std::string_view lowerText) {
  return text.size() == lowerText.size() &&
         std::equal(text.begin(), text.end(), lowerText.begin(),
                    [](char a, char b) { return lower(a) == b; });
}

// What ends a tag, or may hide its end.
constexpr std::array<bool, 256> kEndsRunInTag = [] {
  std::array<bool, 256> ends{};
  ends['>'] = ends['"'] = ends['\''] = true;
  return ends;
}();

bool mayBeginName(Markup markup, char c) {
  return isLetter(c) || (markup == Markup::kXml &&
                         (c == '_' || c == ':' || static_cast<unsigned char>(c) >= 0x80));
}

class Parser {
 public:
  Parser(Markup markup, MarkupHandler& handler) : markup_(markup), handler_(handler) {}

  // Works off the next piece. last: nothing follows. Result: false when the handler wants no more.
  bool feed(std::string_view piece, bool last) {
    window_.append(piece);
    at_ = 0;
    last_ = last;
    while (at_ < window_.size() && !stopped_)
      if (!step()) break;
    if (last && !stopped_ && at_ < window_.size()) {
      // An unfinished tag or reference, taken as it stands.
      if (state_ == State::kText && window_[at_] != '<') giveText(rest());
      at_ = window_.size();
    }
    window_.erase(0, at_);
    return !stopped_;
  }

 private:
  enum class State {
    kText,
    kComment,
    kDeclaration,
    kInstruction,
    kData,
    kLongTag,
    kHidden,
    kPlain
  };

  std::string_view rest() const { return std::string_view(window_).substr(at_); }

  // Result: false when more is needed.
  bool step() {
    switch (state_) {
      case State::kText:
        return stepText();
      case State::kComment:
        return skipTo("-->");
      case State::kInstruction:
        return skipTo(markup_ == Markup::kXml ? "?>" : ">");
      case State::kDeclaration:
        return stepDeclaration();
      case State::kLongTag:
        return skipTo(">");
      case State::kData:
        return stepData();
      case State::kHidden:
      case State::kPlain:
        return stepRaw();
    }
    return false;
  }

  bool stepText() {
    const std::string_view text = rest();
    if (text[0] == '<') return stepMarkup(text);
    const std::string_view run = text.substr(0, text.find('<'));
    if (run.size() < text.size() || last_) {
      giveText(run);
      at_ += run.size();
      return true;
    }
    return giveAllButReference(run);
  }

  // Keeps a reference that the window's end may cut.
  bool giveAllButReference(std::string_view run) {
    size_t end = run.size();
    const size_t ampersand = run.rfind('&');
    if (ampersand != npos && run.size() - ampersand <= kLongestReference) end = ampersand;
    giveText(run.substr(0, end));
    at_ += end;
    return end != 0;
  }

  void give(std::string_view text) {
    if (!text.empty() && !handler_.characters(text)) stopped_ = true;
  }

  void giveText(std::string_view text) {
    if (text.find('&') == npos) {
      give(text);
      return;
    }
    decoded_.clear();
    appendDecoded(markup_, text, decoded_);
    give(decoded_);
  }

  bool stepMarkup(std::string_view text) {
    constexpr std::string_view kDataBegin = "<![CDATA[";
    if (text.size() < kDataBegin.size() && !last_ && text.find('>') == npos) return false;
    if (text.starts_with("<!--")) return enter(State::kComment, 4);
    if (text.starts_with(kDataBegin)) return enter(State::kData, kDataBegin.size());
    if (text.starts_with("<!")) return enterDeclaration();
    if (text.starts_with("<?")) return enter(State::kInstruction, 2);
    const bool end = text.starts_with("</");
    const size_t nameAt = end ? 2 : 1;
    if (nameAt >= text.size() || !mayBeginName(markup_, text[nameAt])) {
      // "</>" and "</ ...>" are nothing to a browser; "<" is a character.
      if (end && nameAt < text.size()) return enter(State::kLongTag, 2);
      give("<");
      ++at_;
      return true;
    }
    const size_t close = tagEnd(text);
    if (close == npos && text.size() <= kLongestTag && !last_) return false;
    if (close == npos && last_ && text.size() <= kLongestTag) {
      at_ = window_.size();  // the file ends within a tag
      return true;
    }
    giveTag(text.substr(nameAt, (close == npos ? kLongestTag : close) - nameAt), end);
    at_ += close == npos ? kLongestTag : close + 1;
    if (close == npos) state_ = State::kLongTag;
    return true;
  }

  bool enter(State state, size_t bytes) {
    state_ = state;
    at_ += bytes;
    return true;
  }

  bool enterDeclaration() {
    brackets_ = 0;
    quote_ = 0;
    return enter(State::kDeclaration, 2);
  }

  // Place of the ">" that ends the tag; one within quotes does not.
  static size_t tagEnd(std::string_view text) {
    text = text.substr(0, kLongestTag);
    for (size_t at = 1;; ++at) {
      while (at < text.size() && !kEndsRunInTag[static_cast<unsigned char>(text[at])]) ++at;
      if (at >= text.size()) return npos;
      if (text[at] == '>') return at;
      size_t before = at - 1;
      while (before != 0 && isBlank(text[before])) --before;
      if (text[before] == '=') at = std::min(text.find(text[at], at + 1), text.size());
    }
  }

  void giveTag(std::string_view tag, bool end) {
    const size_t nameEnd = readName(tag);
    const std::string_view name(name_.data(), std::min(nameEnd, name_.size()));
    const std::string_view attributes = tag.substr(nameEnd);
    const bool empty = tag.ends_with('/');
    if (!(end ? handler_.endTag(name) : handler_.startTag(name, attributes, empty)))
      stopped_ = true;
    if (end || empty || markup_ != Markup::kHtml) return;
    const HtmlElement::Contents contents = htmlElement(name).contents;
    if (contents == HtmlElement::Contents::kNothing) enterRaw(State::kHidden, name);
    if (contents == HtmlElement::Contents::kText) enterRaw(State::kPlain, name);
  }

  // Keeps the name of a tag, as much of it as there is room for. Result: its length.
  size_t readName(std::string_view tag) {
    const bool folds = markup_ == Markup::kHtml;
    size_t at = 0;
    for (; at < tag.size() && !isBlank(tag[at]) && tag[at] != '/'; ++at) {
      if (at < name_.size()) name_[at] = folds ? lower(tag[at]) : tag[at];
    }
    return at;
  }

  void enterRaw(State state, std::string_view name) {
    state_ = state;
    rawEnd_.assign("</").append(name);
  }

  // Passes over everything up to and including the mark.
  bool skipTo(std::string_view mark) {
    const std::string_view text = rest();
    const size_t found = text.find(mark);
    if (found == npos) {
      at_ += text.size() - std::min(text.size(), mark.size() - 1);
      return false;
    }
    at_ += found + mark.size();
    state_ = State::kText;
    return true;
  }

  // "<!DOCTYPE ... [ ... ]>": brackets and quotes hide a ">".
  bool stepDeclaration() {
    for (; at_ < window_.size(); ++at_) {
      const char c = window_[at_];
      if (quote_ != 0) {
        if (c == quote_) quote_ = 0;
      } else if (markup_ == Markup::kXml && (c == '"' || c == '\'')) {
        quote_ = c;
      } else if (c == '[') {
        ++brackets_;
      } else if (c == ']' && brackets_ != 0) {
        --brackets_;
      } else if (c == '>' && (brackets_ == 0 || markup_ == Markup::kHtml)) {
        ++at_;
        state_ = State::kText;
        return true;
      }
    }
    return false;
  }

  bool stepData() {
    constexpr std::string_view kEnd = "]]>";
    const std::string_view text = rest();
    const size_t found = text.find(kEnd);
    if (found != npos) {
      give(text.substr(0, found));
      at_ += found + kEnd.size();
      state_ = State::kText;
      return true;
    }
    const size_t kept = last_ ? 0 : std::min(text.size(), kEnd.size() - 1);
    give(text.substr(0, text.size() - kept));
    at_ += text.size() - kept;
    return false;
  }

  // Contents up to the end tag of the element, which alone is a tag there.
  bool stepRaw() {
    const std::string_view text = rest();
    const size_t found = rawEnd(text);
    if (found != npos) {
      if (state_ == State::kPlain) giveText(text.substr(0, found));
      at_ += found;
      state_ = State::kText;
      return true;
    }
    const size_t kept = last_ ? 0 : std::min(text.size(), rawEnd_.size() + kLongestReference);
    const std::string_view done = text.substr(0, text.size() - kept);
    if (state_ == State::kPlain && !last_) return giveAllButReference(done), false;
    if (state_ == State::kPlain) giveText(done);
    at_ += done.size();
    return false;
  }

  size_t rawEnd(std::string_view text) const {
    for (size_t at = text.find("</"); at != npos; at = text.find("</", at + 2)) {
      const std::string_view tag = text.substr(at, rawEnd_.size());
      if (!equalsIgnoringCase(tag, rawEnd_)) continue;
      const size_t after = at + rawEnd_.size();
      if (after == text.size() ? last_ : !isLetter(text[after])) return at;
    }
    return npos;
  }

  const Markup markup_;
  MarkupHandler& handler_;
  std::string window_;
  std::string decoded_;
  std::array<char, kLongestName> name_;
  std::string rawEnd_;
  size_t at_ = 0;
  State state_ = State::kText;
  bool last_ = false;
  bool stopped_ = false;
  size_t brackets_ = 0;
  char quote_ = 0;
};

// What the document says of its character set near its beginning, empty for nothing: the first
// "charset=" of a <meta> tag, or "encoding=" of the XML declaration.
std::string_view declaredIn(Markup markup, std::string_view head) {
  constexpr size_t kDeclarationBytes = 4096;
  head = head.substr(0, kDeclarationBytes);
  const auto valueAfter = [](std::string_view text) -> std::string_view {
    size_t at = 0;
    while (at < text.size() && (isBlank(text[at]) || text[at] == '=')) ++at;
    if (at < text.size() && (text[at] == '"' || text[at] == '\'')) ++at;
    size_t end = at;
    while (end < text.size() && !isBlank(text[end]) && text[end] != '"' && text[end] != '\'' &&
           text[end] != ';' && text[end] != '>' && text[end] != '/')
      ++end;
    return text.substr(at, end - at);
  };
  if (head.starts_with("<?xml")) {
    const std::string_view declaration = head.substr(0, head.find("?>"));
    const size_t at = declaration.find("encoding");
    if (at != npos) return valueAfter(declaration.substr(at + 8));
  }
  if (markup == Markup::kXml) return {};
  std::string lowered(head);
  std::transform(lowered.begin(), lowered.end(), lowered.begin(), lower);
  for (size_t at = lowered.find("<meta"); at != std::string::npos;
       at = lowered.find("<meta", at + 5)) {
    const size_t end = std::min(lowered.find('>', at), lowered.size());
    const size_t charset = lowered.find("charset", at);
    if (charset < end) return valueAfter(head.substr(charset + 7, end - charset - 7));
  }
  return {};
}

}  // namespace

Outcome parseMarkup(Markup markup, ByteInput& input, std::string_view declaredCharset,
                    MarkupHandler& handler) {
  PeekedInput peeked(input);
  std::string_view declared = declaredCharset;
  if (declared.empty()) declared = declaredIn(markup, peeked.head());
  size_t mark = 0;
  Decoder decoder(chooseCharset(peeked.head(), declared, &mark));
  char skipped[4];
  peeked.read(skipped, mark);
  Parser parser(markup, handler);
  const auto buffer = std::make_unique_for_overwrite<char[]>(kPieceBytes);
  for (;;) {
    const size_t got = peeked.read(buffer.get(), kPieceBytes);
    const bool last = got < kPieceBytes;
    if (!parser.feed(decoder.decode({buffer.get(), got}, last), last)) return Outcome::kStopped;
    if (last) return Outcome::kDone;
  }
}

std::string attributeValue(Markup markup, std::string_view attributes, std::string_view name) {
  size_t at = 0;
  const auto skipBlanks = [&] {
    while (at < attributes.size() && (isBlank(attributes[at]) || attributes[at] == '/')) ++at;
  };
  while (skipBlanks(), at < attributes.size()) {
    const size_t begin = at;
    ++at;  // a "=" in front is part of the name
    while (at < attributes.size() && !isBlank(attributes[at]) && attributes[at] != '=' &&
           attributes[at] != '/')
      ++at;
    const std::string_view key = attributes.substr(begin, at - begin);
    while (at < attributes.size() && isBlank(attributes[at])) ++at;
    std::string_view value;
    if (at < attributes.size() && attributes[at] == '=') {
      ++at;
      while (at < attributes.size() && isBlank(attributes[at])) ++at;
      if (at < attributes.size() && (attributes[at] == '"' || attributes[at] == '\'')) {
        const size_t end = std::min(attributes.find(attributes[at], at + 1), attributes.size());
        value = attributes.substr(at + 1, end - at - 1);
        at = std::min(end + 1, attributes.size());
      } else {
        const size_t valueAt = at;
        while (at < attributes.size() && !isBlank(attributes[at])) ++at;
        value = attributes.substr(valueAt, at - valueAt);
      }
    }
    if (markup == Markup::kHtml ? !equalsIgnoringCase(key, name) : key != name) continue;
    std::string decoded;
    appendDecoded(markup, value, decoded);
    return decoded;
  }
  return {};
}

std::string_view localName(std::string_view name) {
  const size_t colon = name.rfind(':');
  return colon == npos ? name : name.substr(colon + 1);
}

// XML documents use the names of HTML where their own declarations would say so, and those are not
// read.
void appendDecoded(Markup, std::string_view text, std::string& to) {
  for (size_t at = 0; at < text.size();) {
    const size_t ampersand = std::min(text.find('&', at), text.size());
    to += text.substr(at, ampersand - at);
    at = ampersand;
    if (at == text.size()) return;
    const size_t used = decodeReference(text.substr(at), to);
    if (used == 0) to += '&';
    at += std::max<size_t>(used, 1);
  }
}

}  // namespace veska::unicode
