#include "analyzers/unicode/charset.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "analyzers/unicode/characters.h"
#include "analyzers/unicode/charsetnames.h"

namespace veska::unicode {
namespace {

constexpr std::string_view kReplacementBytes = "\xEF\xBF\xBD";

// Windows-1252 from 0x80 to 0x9F; the rest is as in Latin-1. The five bytes without a character
// stand for the control characters of the same number, as in the WHATWG Encoding Standard.
constexpr char32_t kHigh1252[32] = {0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x8D,   0x017D, 0x8F,
                                    0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};

void append1252(std::string& to, unsigned char byte) {
  appendUtf8(to, byte >= 0x80 && byte < 0xA0 ? kHigh1252[byte - 0x80] : byte);
}

bool isAscii(std::string_view text) {
  size_t at = 0;
  for (; at + 8 <= text.size(); at += 8) {
    uint64_t eight;
    std::memcpy(&eight, text.data() + at, 8);
    if (eight & 0x8080808080808080U) return false;
  }
  for (; at < text.size(); ++at)
    if (static_cast<unsigned char>(text[at]) >= 0x80) return false;
  return true;
}

// Could the bytes be the beginning of a character?
bool isCutCharacter(std::string_view bytes) {
  if (bytes.empty() || bytes.size() > 3) return false;
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(bytes[i]); };
  const unsigned char lead = byte(0);
  const size_t wanted = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || bytes.size() >= wanted) return false;
  if (bytes.size() == 1) return true;
  const unsigned char second = byte(1);
  if (second < 0x80 || second > 0xBF || (lead == 0xE0 && second < 0xA0) ||
      (lead == 0xED && second > 0x9F) || (lead == 0xF0 && second < 0x90) ||
      (lead == 0xF4 && second > 0x8F))
    return false;
  return bytes.size() == 2 || (byte(2) & 0xC0) == 0x80;
}

struct Mark {
  std::string_view bytes;
  std::string_view charset;
};
constexpr Mark kMarks[] = {
    {"\xEF\xBB\xBF", kUtf8},
    {std::string_view("\xFF\xFE\0\0", 4), "UTF-32LE"},
    {std::string_view("\0\0\xFE\xFF", 4), "UTF-32BE"},
    {"\xFF\xFE", "UTF-16LE"},
    {"\xFE\xFF", "UTF-16BE"},
};

// UTF-16 without a mark: many blanks and line ends, told by their pattern, and never both bytes
// zero.
std::string_view utf16ByShape(std::string_view head) {
  size_t little = 0;
  size_t big = 0;
  const size_t units = std::min<size_t>(head.size() / 2, 2048);
  for (size_t i = 0; i < units; ++i) {
    const auto even = static_cast<unsigned char>(head[2 * i]);
    const auto odd = static_cast<unsigned char>(head[2 * i + 1]);
    if (even == 0 && odd == 0) return {};
    const auto isText = [](unsigned char c) {
      return (c >= 0x20 && c < 0x7F) || c == '\n' || c == '\r' || c == '\t';
    };
    little += odd == 0 && isText(even);
    big += even == 0 && isText(odd);
  }
  // Text of any script has blanks, digits and line ends of the ASCII block.
  constexpr size_t kShare = 12;
  const size_t most = std::max(little, big);
  if (units < 2 || most * kShare < units || std::min(little, big) * 8 > most) return {};
  return little > big ? "UTF-16LE" : "UTF-16BE";
}

// UTF-8 into which a few bytes of something else have strayed.
bool isMostlyUtf8(std::string_view text) {
  constexpr size_t kShare = 4;
  size_t characters = 0;
  size_t strays = 0;
  while (!text.empty()) {
    const size_t valid = validUtf8Prefix(text);
    for (const char c : text.substr(0, valid)) characters += static_cast<unsigned char>(c) >= 0xC0;
    strays += valid < text.size();
    text.remove_prefix(std::min(valid + 1, text.size()));
  }
  return characters >= strays * kShare;
}

bool isControl(unsigned char c) {
  return c < 0x20 && c != '\t' && c != '\n' && c != '\v' && c != '\f' && c != '\r' && c != '\b' &&
         c != 0x1B;
}

// Is one of eight bytes below a blank? Now and then told of bytes that only follow such a one.
bool mayHoldControls(const char* at) {
  uint64_t bytes;
  std::memcpy(&bytes, at, sizeof bytes);
  return ((bytes - 0x2020202020202020U) & ~bytes & 0x8080808080808080U) != 0;
}

}  // namespace

size_t validUtf8Prefix(std::string_view text) {
  const auto* const begin = reinterpret_cast<const unsigned char*>(text.data());
  const auto* const end = begin + text.size();
  const auto* at = begin;
  for (;;) {
    while (end - at >= 16) {
      uint64_t words[2];
      std::memcpy(words, at, 16);
      if ((words[0] | words[1]) & 0x8080808080808080U) break;
      at += 16;
    }
    // Up to the next stretch of ASCII, character by character.
    const auto* const from = at;
    while (at != end && (*at >= 0x80 || at - from < 16)) {
      if (*at < 0x80) {
        ++at;
      } else if (*at < 0xE0) {
        if (*at < 0xC2 || end - at < 2 || (at[1] & 0xC0) != 0x80)
          return static_cast<size_t>(at - begin);
        at += 2;
      } else {
        const unsigned bytes = decodeCharacter(at, end).bytes;
        if (bytes == 1) return static_cast<size_t>(at - begin);
        at += bytes;
      }
    }
    if (at == end) return text.size();
  }
}

bool looksLikeUtf8(std::string_view text) {
  const std::string_view rest = text.substr(validUtf8Prefix(text));
  return rest.empty() || isCutCharacter(rest);
}

bool looksBinary(std::string_view head) {
  for (const Mark& mark : kMarks)
    if (head.starts_with(mark.bytes)) return false;
  constexpr size_t kTellingBytes = 8192;
  head = head.substr(0, kTellingBytes);
  size_t zeros = 0;
  size_t controls = 0;
  for (size_t at = 0; at < head.size();) {
    if (head.size() - at >= sizeof(uint64_t) && !mayHoldControls(head.data() + at)) {
      at += sizeof(uint64_t);
      continue;
    }
    const char c = head[at++];
    zeros += c == 0;
    controls += isControl(static_cast<unsigned char>(c));
  }
  constexpr size_t kZeroShare = 512;
  constexpr size_t kControlShare = 50;
  if (zeros * kZeroShare <= head.size() && controls * kControlShare <= head.size()) return false;
  return utf16ByShape(head).empty();
}

void appendUtf8(std::string& to, char32_t character) {
  unsigned char bytes[4];
  const bool valid = character <= kLastCharacter && (character < 0xD800 || character > 0xDFFF);
  to.append(reinterpret_cast<char*>(bytes),
            encodeCharacter(valid ? character : kReplacement, bytes));
}

std::string chooseCharset(std::string_view head, std::string_view declared, size_t* markBytes) {
  if (markBytes != nullptr) *markBytes = 0;
  for (const Mark& mark : kMarks) {
    if (!head.starts_with(mark.bytes)) continue;
    if (markBytes != nullptr) *markBytes = mark.bytes.size();
    return std::string(mark.charset);
  }
  if (head.find('\0') != std::string_view::npos) {
    const std::string_view shape = utf16ByShape(head);
    if (!shape.empty()) return std::string(shape);
  }
  const bool ascii = isAscii(head);
  if (!ascii && looksLikeUtf8(head)) return std::string(kUtf8);
  std::string name = usedName(declared);
  if (!name.empty() && !is16Or32Bit(name) && isKnown(name)) return name;
  return std::string(ascii || isMostlyUtf8(head) ? kUtf8 : kWindows1252);
}

class Decoder::Converter {
 public:
  virtual ~Converter() = default;
  virtual std::string_view decode(std::string_view bytes, bool last) = 0;
};

namespace {

// Checked, not converted. An invalid byte is one of Windows-1252: text in two character sets is
// more common than damage.
class Utf8Converter {
 public:
  std::string_view decode(std::string_view bytes, bool last) {
    if (!cut_.empty()) {
      joined_ = cut_;
      joined_ += bytes;
      bytes = joined_;
      cut_.clear();
    }
    const size_t valid = validUtf8Prefix(bytes);
    if (valid == bytes.size()) return bytes;
    if (!last && isCutCharacter(bytes.substr(valid))) {
      cut_ = bytes.substr(valid);
      return bytes.substr(0, valid);
    }
    repair(bytes, valid, last);
    return repaired_;
  }

 private:
  void repair(std::string_view bytes, size_t valid, bool last) {
    repaired_.assign(bytes.substr(0, valid));
    bytes.remove_prefix(valid);
    while (!bytes.empty()) {
      if (!last && isCutCharacter(bytes)) {
        cut_ = bytes;
        return;
      }
      append1252(repaired_, static_cast<unsigned char>(bytes[0]));
      bytes.remove_prefix(1);
      valid = validUtf8Prefix(bytes);
      repaired_ += bytes.substr(0, valid);
      bytes.remove_prefix(valid);
    }
  }

  std::string cut_;
  std::string joined_;
  std::string repaired_;
};

class Windows1252Converter {
 public:
  std::string_view decode(std::string_view bytes, bool) {
    if (isAscii(bytes)) return bytes;
    text_.clear();
    for (const char byte : bytes) append1252(text_, static_cast<unsigned char>(byte));
    return text_;
  }

 private:
  std::string text_;
};

class IconvConverter {
 public:
  explicit IconvConverter(const std::string& charset) : handle_(charset) {}

  bool isOpen() const { return handle_.isOpen(); }

  std::string_view decode(std::string_view bytes, bool last) {
    input_ = cut_;
    input_ += bytes;
    cut_.clear();
    text_.clear();
    char* in = input_.data();
    size_t inLeft = input_.size();
    while (inLeft != 0) {
      const size_t result = convert(&in, &inLeft);
      if (result != size_t(-1) || errno == E2BIG) continue;
      if (errno == EINVAL && !last && inLeft <= kLongestCharacter) {
        cut_.assign(in, inLeft);
        break;
      }
      text_ += kReplacementBytes;
      ++in;
      --inLeft;
    }
    if (last) convert(nullptr, nullptr);
    return text_;
  }

 private:
  static constexpr size_t kLongestCharacter = 16;

  size_t convert(char** in, size_t* inLeft) {
    std::array<char, 8192> buffer;
    char* out = buffer.data();
    size_t outLeft = buffer.size();
    const size_t result = iconv(handle_.get(), in, inLeft, &out, &outLeft);
    const int error = errno;
    text_.append(buffer.data(), buffer.size() - outLeft);
    errno = error;
    return result;
  }

  IconvHandle handle_;
  std::string input_;
  std::string cut_;
  std::string text_;
};

}  // namespace

template <typename Of>
class ConverterOf : public Decoder::Converter {
 public:
  template <typename... Arguments>
  explicit ConverterOf(Arguments&&... arguments) : of_(std::forward<Arguments>(arguments)...) {}
  std::string_view decode(std::string_view bytes, bool last) override {
    return of_.decode(bytes, last);
  }
  Of& of() { return of_; }

 private:
  Of of_;
};

Decoder::Decoder(std::string_view charset) {
  const std::string name = usedName(charset);
  if (name == kUtf8) {
    converter_ = std::make_unique<ConverterOf<Utf8Converter>>();
    return;
  }
  if (!name.empty() && name != kWindows1252 && isKnown(name)) {
    auto iconv = std::make_unique<ConverterOf<IconvConverter>>(name);
    if (iconv->of().isOpen()) converter_ = std::move(iconv);
  }
  if (!converter_) converter_ = std::make_unique<ConverterOf<Windows1252Converter>>();
}

Decoder::~Decoder() = default;

std::string_view Decoder::decode(std::string_view bytes, bool last) {
  return converter_->decode(bytes, last);
}

std::string decodeAll(std::string_view bytes, std::string_view charset) {
  Decoder decoder(charset);
  return std::string(decoder.decode(bytes, true));
}

Outcome deliverDecoded(ByteInput& input, std::string_view charset, TextSink& sink) {
  constexpr size_t kPieceBytes = 65536;
  const auto buffer = std::make_unique_for_overwrite<char[]>(kPieceBytes);
  Decoder decoder(charset);
  for (;;) {
    const size_t got = input.read(buffer.get(), kPieceBytes);
    const bool last = got < kPieceBytes;
    const std::string_view text = decoder.decode({buffer.get(), got}, last);
    if (!text.empty() && !sink.text(text)) return Outcome::kStopped;
    if (last) return Outcome::kDone;
  }
}

}  // namespace veska::unicode
