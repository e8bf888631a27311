#include "analyzers/unicode/mimestream.h"

#include <algorithm>
#include <array>
#include <utility>

#include "analyzers/unicode/mailheader.h"

namespace veska::unicode {
namespace {

constexpr size_t kBufferBytes = 65536;
constexpr size_t kRawBytes = 8192;

constexpr signed char kNoValue = -1;
constexpr auto kBase64Values = [] {
  std::array<signed char, 256> values{};
  values.fill(kNoValue);
  constexpr std::string_view kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (size_t i = 0; i < kAlphabet.size(); ++i)
    values[static_cast<unsigned char>(kAlphabet[i])] = static_cast<signed char>(i);
  return values;
}();

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

enum class BoundaryLine { kNone, kOpens, kCloses };

// (RFC 2046, section 5.1.1.) Blanks may follow a boundary, but nothing else.
BoundaryLine boundaryLine(std::string_view line, std::string_view boundary) {
  if (!line.starts_with("--")) return BoundaryLine::kNone;
  std::string_view text = line.substr(2);
  text = text.substr(0, text.find_last_not_of(" \t\r\n") + 1);
  if (!text.starts_with(boundary)) return BoundaryLine::kNone;
  text.remove_prefix(boundary.size());
  if (text.empty()) return BoundaryLine::kOpens;
  return text == "--" ? BoundaryLine::kCloses : BoundaryLine::kNone;
}

}  // namespace

// ---- MimeStream

MimeStream::MimeStream(ByteInput& input) : window_(input, kBufferBytes) {}

std::string_view MimeStream::line() {
  if (level_ != kNoLevel) return {};
  size_t feed = window_.rest().find('\n');
  if (feed == std::string_view::npos && !window_.isFull()) {
    window_.fill();
    feed = window_.rest().find('\n');
  }
  const bool isWhole = feed != std::string_view::npos;
  const std::string_view line = window_.rest().substr(0, isWhole ? feed + 1 : feed);
  return lineStart_ && atBoundary(line) ? std::string_view() : line;
}

void MimeStream::take(size_t bytes) {
  if (bytes == 0) return;
  lineStart_ = window_.rest()[bytes - 1] == '\n';
  window_.take(bytes);
}

void MimeStream::skipPart() {
  for (std::string_view rest = line(); !rest.empty(); rest = line()) take(rest.size());
}

bool MimeStream::lacks(std::string_view boundary) {
  if (window_.rest().size() < kBufferBytes / 2 && !window_.isFull()) window_.fill();
  if (!window_.ended()) return false;
  const std::string_view rest = window_.rest();
  const auto beginsPart = [&](size_t at) {
    return boundaryLine(rest.substr(at, rest.find('\n', at) - at), boundary) ==
           BoundaryLine::kOpens;
  };
  if (lineStart_ && beginsPart(0)) return false;
  const std::string mark = std::string("\n--").append(boundary);
  for (size_t at = rest.find(mark); at != std::string_view::npos; at = rest.find(mark, at + 1)) {
    if (beginsPart(at + 1)) return false;
  }
  return true;
}

bool MimeStream::atBoundary(std::string_view line) {
  if (!line.starts_with("--")) return false;
  for (size_t level = boundaries_.size(); level-- > 0;) {
    const BoundaryLine kind = boundaryLine(line, boundaries_[level]);
    if (kind == BoundaryLine::kNone) continue;
    level_ = level;
    closes_ = kind == BoundaryLine::kCloses;
    boundaryBytes_ = line.size();
    return true;
  }
  return false;
}

bool MimeStream::nextPart() {
  if (level_ == kNoLevel || level_ + 1 != boundaries_.size()) return false;
  level_ = kNoLevel;
  take(boundaryBytes_);
  lineStart_ = true;
  return !closes_;
}

void MimeStream::leave() { boundaries_.pop_back(); }

// ---- BodyInput

size_t BodyInput::read(char* to, size_t bytes) {
  size_t done = 0;
  while (done < bytes) {
    const std::string_view line = stream_.line();
    if (line.empty()) break;
    const size_t count = line.copy(to + done, bytes - done);
    stream_.take(count);
    done += count;
  }
  return done;
}

// ---- DecodedInput

TransferEncoding transferEncodingNamed(std::string_view name) {
  if (sameWord(name, "base64")) return TransferEncoding::kBase64;
  if (sameWord(name, "quoted-printable")) return TransferEncoding::kQuotedPrintable;
  return TransferEncoding::kIdentity;
}

size_t DecodedInput::read(char* to, size_t bytes) {
  if (encoding_ == TransferEncoding::kIdentity) return encoded_.read(to, bytes);
  size_t done = 0;
  while (done < bytes) {
    if (taken_ == decoded_.size() && !decodeMore()) break;
    const size_t count = decoded_.copy(to + done, bytes - done, taken_);
    taken_ += count;
    done += count;
  }
  return done;
}

// Result: false when nothing more comes.
bool DecodedInput::decodeMore() {
  decoded_.clear();
  taken_ = 0;
  while (decoded_.empty() && !ended_) {
    char raw[kRawBytes];
    const size_t got = encoded_.read(raw, kRawBytes);
    ended_ = got < kRawBytes;
    if (encoding_ == TransferEncoding::kBase64)
      decodeBase64({raw, got});
    else
      decodeQuotedPrintable({raw, got});
  }
  return !decoded_.empty();
}

void DecodedInput::decodeBase64(std::string_view bytes) {
  const auto endGroup = [this] {
    if (values_ >= 2) decoded_ += static_cast<char>(bits_ >> (6 * values_ - 8));
    if (values_ == 3) decoded_ += static_cast<char>(bits_ >> 2);
    values_ = 0;
  };
  for (const char c : bytes) {
    const signed char value = kBase64Values[static_cast<unsigned char>(c)];
    if (value != kNoValue) {
      bits_ = bits_ << 6 | static_cast<unsigned char>(value);
      if (++values_ < 4) continue;
      for (const int shift : {16, 8, 0}) decoded_ += static_cast<char>(bits_ >> shift);
      values_ = 0;
    } else if ((c == '=' && values_ >= 2) || c == '_' || c == '-') {
      ended_ = true;
      break;
    }
  }
  if (ended_) endGroup();
}

void DecodedInput::decodeQuotedPrintable(std::string_view bytes) {
  while (!bytes.empty()) {
    if (escape_ == Escape::kNone) {
      const size_t plain = std::min(bytes.find('='), bytes.size());
      decoded_ += bytes.substr(0, plain);
      bytes.remove_prefix(plain);
      if (bytes.empty()) break;
    }
    quotedPrintable(bytes.front());
    bytes.remove_prefix(1);
  }
  if (ended_) endQuotedPrintable();
}

void DecodedInput::quotedPrintable(char c) {
  const Escape before = std::exchange(escape_, Escape::kNone);
  if (before == Escape::kNone || (before == Escape::kLineEnd && c != '\n')) {
    if (c == '=')
      escape_ = Escape::kBegun;
    else if (before == Escape::kLineEnd && (c == ' ' || c == '\t' || c == '\r'))
      escape_ = Escape::kLineEnd;
    else
      decoded_ += c;
  } else if (before == Escape::kBegun) {
    if (c == '\r' || c == ' ' || c == '\t') {
      escape_ = Escape::kLineEnd;
    } else if (hexValue(c) >= 0) {
      escape_ = Escape::kDigit;
      digit_ = c;
    } else if (c != '\n') {
      decoded_ += '=';
      quotedPrintable(c);
    }
  } else if (before == Escape::kDigit) {
    if (hexValue(c) >= 0) {
      decoded_ += static_cast<char>(hexValue(digit_) * 16 + hexValue(c));
    } else {
      decoded_.append(1, '=').append(1, digit_);
      quotedPrintable(c);
    }
  }
}

void DecodedInput::endQuotedPrintable() {
  if (escape_ == Escape::kDigit) decoded_.append(1, '=').append(1, digit_);
  escape_ = Escape::kNone;
}

std::string decodeTransfer(std::string_view text, TransferEncoding encoding) {
  MemoryInput encoded(text);
  DecodedInput input(encoded, encoding);
  std::string decoded(text.size(), '\0');
  decoded.resize(input.read(decoded.data(), decoded.size()));
  return decoded;
}

}  // namespace veska::unicode
