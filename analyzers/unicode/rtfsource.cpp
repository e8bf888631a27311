// One pass over the bytes with a stack of group states. Bytes of text are gathered while their code
// page stays the same, since a character of several bytes may come partly as "\'hh" and partly as
// it is.

#include "analyzers/unicode/rtfsource.h"

#include <algorithm>
#include <string>
#include <vector>

#include "analyzers/unicode/charset.h"
#include "analyzers/unicode/plaintext.h"
#include "analyzers/unicode/rtfbytes.h"
#include "analyzers/unicode/rtfcharset.h"
#include "analyzers/unicode/rtfcontrols.h"
#include "analyzers/unicode/storytext.h"

namespace veska::unicode {
namespace {

constexpr size_t kMostGroups = 65536;  // deeper ones share one state
constexpr size_t kLongestWord = 32;
constexpr size_t kMostGathered = 8192;

bool isLetter(int c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(int c) { return c >= '0' && c <= '9'; }

int hexValue(int c) {
  if (isDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// What a group inherits from the one around it and may change.
struct Group {
  int font = -1;
  uint8_t fallbackLength = 1;  // characters that stand for one \u to old readers
  bool silent = false;         // a destination whose text is not shown
  bool dead = false;           // nor that of any group within it
  bool hidden = false;
  bool fontTable = false;
  bool pair = false;  // within \upr, before its \ud
  bool silentOutside = false;
  // Not inherited.
  bool story = false;
  bool property = false;
};

class RtfReader {
 public:
  RtfReader(ByteInput& input, TextSink& sink) : bytes_(input), text_(sink), groups_(1) {}

  Outcome read() {
    while (more_) {
      const int c = bytes_.peek();
      if (c == RtfBytes::kEnd) break;
      take(c);
    }
    gatheredEnds();
    if (!more_ || !text_.finish()) return Outcome::kStopped;
    return groups_.size() > 1 ? Outcome::kDamaged : Outcome::kDone;
  }

 private:
  Group& group() { return groups_.back(); }
  bool isShown() { return groups_.size() > 1 && !group().silent && !group().hidden; }
  void also(bool more) { more_ = more_ && more; }

  void take(int c) {
    switch (c) {
      case '{':
        bytes_.next();
        return beginGroup();
      case '}':
        bytes_.next();
        return endGroup();
      case '\\':
        bytes_.next();
        return takeControl();
      case '\r':
      case '\n':
        bytes_.next();
        return;
      case '\t':
        bytes_.next();
        return takeBreak(Break::kWord);
      default:
        return takeRun();
    }
  }

  void takeRun() {
    std::string_view run = bytes_.run();
    if (run.empty()) {  // a zero
      bytes_.next();
      return;
    }
    const size_t skipped = std::min<size_t>(run.size(), toSkip_);
    toSkip_ -= skipped;
    gather(run.substr(skipped));
  }

  void beginGroup() {
    toSkip_ = 0;
    starred_ = false;
    if (groups_.size() >= kMostGroups) {
      ++deeper_;
      return;
    }
    Group inner = group();
    inner.story = inner.property = false;
    groups_.push_back(inner);
  }

  void endGroup() {
    toSkip_ = 0;
    starred_ = false;
    if (deeper_ != 0) {
      --deeper_;
      return;
    }
    if (groups_.size() == 1) return;
    if (group().story) {
      gatheredEnds();
      also(text_.endAside());
    }
    if (group().property) also(text_.boundary(Break::kParagraph));
    groups_.pop_back();
  }

  void takeControl() {
    const int c = bytes_.peek();
    if (isLetter(c)) return takeControlWord();
    bytes_.next();
    switch (c) {
      case '\'':
        return takeHex();
      case '*':
        starred_ = true;
        return;
      case '\r':
        if (bytes_.peek() == '\n') bytes_.next();
        return takeBreak(Break::kParagraph);
      case '\n':
        return takeBreak(Break::kParagraph);
      case '\t':
        return takeBreak(Break::kWord);
      case '~':
        return takeCharacter(0xA0);
      case '-':
        return takeCharacter(0xAD);
      case '_':
        return takeCharacter(0x2011);
      case '\\':
      case '{':
      case '}':
        return takeCharacter(static_cast<char32_t>(c));
      default:
        return;
    }
  }

  void takeHex() {
    int value = 0;
    for (int i = 0; i < 2; ++i) {
      const int digit = hexValue(bytes_.peek());
      if (digit < 0) return;
      bytes_.next();
      value = value * 16 + digit;
    }
    if (isFallback() || value == 0) return;
    const char byte = static_cast<char>(value);
    gather({&byte, 1});
  }

  void takeControlWord() {
    char name[kLongestWord];
    size_t length = 0;
    while (isLetter(bytes_.peek())) {
      const char c = static_cast<char>(bytes_.next());
      if (length < kLongestWord) name[length++] = c;
    }
    const bool negative = bytes_.peek() == '-';
    if (negative) bytes_.next();
    constexpr int64_t kMostParameter = 0x7FFFFFFF;
    int64_t parameter = -1;
    while (isDigit(bytes_.peek()))
      parameter =
          std::min(std::max<int64_t>(parameter, 0) * 10 + (bytes_.next() - '0'), kMostParameter);
    if (bytes_.peek() == ' ') bytes_.next();
    const RtfWord word = rtfWord({name, length});
    if (word.control == RtfControl::kBinary)
      bytes_.skip(static_cast<uint64_t>(std::max<int64_t>(parameter, 0)));
    if (isFallback()) return;
    apply(word, parameter < 0 ? parameter : negative ? -parameter : parameter, negative);
    starred_ = false;
  }

  // parameter: -1 without one.
  void apply(const RtfWord& word, int64_t parameter, bool negative) {
    switch (word.control) {
      case RtfControl::kNone:
        if (starred_) kill();
        return;
      case RtfControl::kCharacter:
        return takeCharacter(word.value);
      case RtfControl::kBreak:
        return takeBreak(static_cast<Break>(word.value));
      case RtfControl::kSkipped:
        return kill();
      case RtfControl::kStory:
      case RtfControl::kProperty:
        return beginStory(word.control == RtfControl::kProperty);
      case RtfControl::kOuter:
        if (!group().dead) group().silent = true;
        return;
      case RtfControl::kUnicodePair:
        return beginPair();
      case RtfControl::kUnicodeText:
        return endPair();
      case RtfControl::kUnicode:
        return takeUnicode(negative ? parameter + 0x10000 : parameter);
      case RtfControl::kHidden:
        gatheredEnds();
        group().hidden = parameter != 0;
        return;
      case RtfControl::kFallbackLength:
        group().fallbackLength = static_cast<uint8_t>(std::clamp<int64_t>(parameter, 0, 255));
        return;
      default:
        return applyCharset(word, static_cast<int>(parameter));
    }
  }

  // Code pages: of the document and of its fonts.
  void applyCharset(const RtfWord& word, int parameter) {
    switch (word.control) {
      case RtfControl::kFontTable:
        group().silent = group().fontTable = true;
        return;
      case RtfControl::kFont:
        (group().fontTable ? tableFont_ : group().font) = parameter;
        return;
      case RtfControl::kDefaultFont:
        charset_.setDefaultFont(parameter);
        return;
      case RtfControl::kPlain:
        gatheredEnds();
        group().font = -1;
        group().hidden = false;
        return;
      case RtfControl::kFontCharset:
        if (group().fontTable) charset_.setFontCharset(tableFont_, parameter);
        return;
      case RtfControl::kFontCodePage:
        if (group().fontTable) charset_.setFontCodePage(tableFont_, parameter);
        return;
      case RtfControl::kCharacters:
        charset_.setDocument(word.value);
        return;
      case RtfControl::kCodePage:
        if (parameter > 0) charset_.setDocument(static_cast<unsigned>(parameter));
        return;
      default:
        return;
    }
  }

  void kill() {
    group().silent = group().dead = true;
    group().pair = false;
  }

  void beginStory(bool property) {
    // A property counts within \info alone.
    if (group().dead || group().story || (property && !group().silent)) return;
    gatheredEnds();
    group().silent = group().hidden = false;
    group().story = true;
    group().property = property;
    also(text_.beginAside());
  }

  void beginPair() {
    if (group().dead) return;
    group().silentOutside = group().silent;
    group().silent = group().dead = group().pair = true;
  }

  void endPair() {
    if (!group().pair) return starred_ ? kill() : void();
    group().silent = group().silentOutside;
    group().dead = group().pair = false;
  }

  // Is what stands here the replacement of the last \u?
  bool isFallback() {
    if (toSkip_ == 0) return false;
    --toSkip_;
    return true;
  }

  void takeUnicode(int64_t unit) {
    toSkip_ = group().fallbackLength;
    if (unit <= 0 || unit > 0x10FFFF || (unit & 0xFFFE) == 0xFFFE) return;
    const auto c = static_cast<char32_t>(unit);
    const char32_t high = highSurrogate_;
    highSurrogate_ = 0;
    if (c >= 0xD800 && c < 0xDC00) {
      highSurrogate_ = c;
    } else if (c >= 0xDC00 && c < 0xE000) {
      if (high != 0) addCharacter(0x10000 + ((high - 0xD800) << 10) + (c - 0xDC00));
    } else if (c < 0xF020 || c > 0xF0FF) {  // those are the pictures of symbol fonts
      addCharacter(c);
    }
  }

  void takeCharacter(char32_t c) {
    if (!isFallback()) addCharacter(c);
  }

  void addCharacter(char32_t c) {
    gatheredEnds();
    if (!isShown()) return;
    character_.clear();
    appendUtf8(character_, c);
    also(text_.add(character_));
  }

  void takeBreak(Break strength) {
    gatheredEnds();
    if (isShown()) also(text_.boundary(strength));
  }

  void gather(std::string_view bytes) {
    if (bytes.empty() || !isShown()) return;
    const unsigned codePage = charset_.codePageOf(group().font);
    if (codePage != gatheredCodePage_) gatheredEnds();
    gatheredCodePage_ = codePage;
    gathered_ += bytes;
    if (gathered_.size() >= kMostGathered) decodeGathered(false);
  }

  void gatheredEnds() {
    if (gatheredCodePage_ != kNoCodePage) decodeGathered(true);
    gatheredCodePage_ = kNoCodePage;
  }

  void decodeGathered(bool last) {
    also(text_.add(charset_.decode(gatheredCodePage_, gathered_, last)));
    gathered_.clear();
  }

  RtfBytes bytes_;
  StoryText text_;
  std::vector<Group> groups_;
  size_t deeper_ = 0;  // groups beyond those
  bool more_ = true;
  bool starred_ = false;  // after "\*"
  size_t toSkip_ = 0;
  char32_t highSurrogate_ = 0;
  std::string character_;

  RtfCharset charset_;
  int tableFont_ = -1;  // the font that the font table is telling of
  std::string gathered_;
  unsigned gatheredCodePage_ = kNoCodePage;
};

class RtfSource : public TextSource {
 public:
  Outcome deliver(ByteInput& input, const SourceRequest& request, TextSink& sink) override {
    PeekedInput peeked(input);
    if (!isRtf(peeked.head())) return makePlainTextSource()->deliver(peeked, request, sink);
    return RtfReader(peeked, sink).read();
  }
};

}  // namespace

std::unique_ptr<TextSource> makeRtfSource() { return std::make_unique<RtfSource>(); }

bool isRtf(std::string_view head) {
  if (head.starts_with("\xEF\xBB\xBF")) head.remove_prefix(3);
  while (!head.empty() && isFlowBlank(head.front())) head.remove_prefix(1);
  return head.starts_with("{\\rtf");
}

}  // namespace veska::unicode
