#include "analyzers/unicode/mailheader.h"

#include <algorithm>
#include <cstring>

#include "analyzers/unicode/charset.h"

namespace veska::unicode {
namespace {

constexpr auto npos = std::string_view::npos;
constexpr size_t kMostFieldBytes = 65536;
constexpr std::string_view kBlanks = " \t\r\n";

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 0x20) : c; }

std::string lowered(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), lower);
  return result;
}

std::string_view trimmed(std::string_view text) {
  const size_t begin = text.find_first_not_of(kBlanks);
  if (begin == npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

struct FieldName {
  std::string_view name;
  std::string MailHeader::*field;
};
constexpr FieldName kFields[] = {
    {"from", &MailHeader::from},
    {"to", &MailHeader::recipients},
    {"cc", &MailHeader::recipients},
    {"bcc", &MailHeader::recipients},
    {"subject", &MailHeader::subject},
    {"date", &MailHeader::date},
    {"content-type", &MailHeader::contentType},
    {"content-transfer-encoding", &MailHeader::transferEncoding},
    {"content-disposition", &MailHeader::disposition},
};

// Where the value of a field of that name goes; null when it is of no use.
std::string* fieldOf(MailHeader& header, std::string_view name) {
  for (const FieldName& known : kFields) {
    if (!sameWord(known.name, name)) continue;
    std::string& field = header.*known.field;
    if (field.empty()) return &field;
    if (known.field != &MailHeader::recipients || field.size() >= kMostFieldBytes) return nullptr;
    field += ", ";
    return &field;
  }
  return nullptr;
}

void appendToField(std::string& field, std::string_view text) {
  field += text.substr(0, kMostFieldBytes - std::min(kMostFieldBytes, field.size()));
}

// The value of a parameter that stands at the beginning of text, quoted or not, with what was
// quoted in it; text is moved past it.
std::string takeValue(std::string_view& text) {
  std::string value;
  if (!text.starts_with('"')) {
    const size_t end = std::min(text.find_first_of("; \t\r\n"), text.size());
    value = text.substr(0, end);
    text.remove_prefix(end);
    return value;
  }
  text.remove_prefix(1);
  while (!text.empty() && text.front() != '"') {
    if (text.front() == '\\' && text.size() > 1) text.remove_prefix(1);
    value += text.front();
    text.remove_prefix(1);
  }
  return value;
}

// The bytes that %XX stand for.
std::string percentDecoded(std::string_view text) {
  std::string decoded;
  for (size_t i = 0; i < text.size(); ++i) {
    const auto digits = text.substr(i + 1 < text.size() ? i + 1 : text.size(), 2);
    constexpr std::string_view kHex = "0123456789abcdef";
    if (text[i] == '%' && digits.size() == 2 && kHex.find(lower(digits[0])) != npos &&
        kHex.find(lower(digits[1])) != npos) {
      decoded += static_cast<char>(kHex.find(lower(digits[0])) * 16 + kHex.find(lower(digits[1])));
      i += 2;
    } else {
      decoded += text[i];
    }
  }
  return decoded;
}

// ---- Encoded words

struct EncodedWord {
  std::string_view charset;
  bool base64 = false;
  std::string_view text;
  size_t bytes = 0;  // of the whole
};

// "=?charset*language?B?text?=", the language and its asterisk being optional.
std::optional<EncodedWord> encodedWordAt(std::string_view text) {
  constexpr size_t kLongest = 1024;
  text = text.substr(0, kLongest);
  const size_t mark = text.find('?', 2);
  if (!text.starts_with("=?") || mark == npos || mark + 2 >= text.size() || text[mark + 2] != '?')
    return {};
  EncodedWord word;
  word.charset = text.substr(2, mark - 2);
  word.charset = word.charset.substr(0, word.charset.find('*'));
  word.base64 = lower(text[mark + 1]) == 'b';
  if (word.charset.empty() || (!word.base64 && lower(text[mark + 1]) != 'q')) return {};
  const size_t begin = mark + 3;
  const size_t end = text.find("?=", begin);
  if (end == npos) return {};
  word.text = text.substr(begin, end - begin);
  word.bytes = end + 2;
  return word;
}

std::string decodedBytes(const EncodedWord& word) {
  if (word.base64) return decodeTransfer(word.text, TransferEncoding::kBase64);
  std::string text(word.text);
  std::replace(text.begin(), text.end(), '_', ' ');
  return decodeTransfer(text, TransferEncoding::kQuotedPrintable);
}

// Puts the text of a field together. Words in one character set that follow each other are
// converted as one, since senders cut them anywhere.
class HeaderText {
 public:
  HeaderText(std::string_view charset, EncodedWords words) : charset_(charset), words_(words) {}

  void addWord(const EncodedWord& word) {
    const bool apart = afterWord_ && words_ == EncodedWords::kNames && wordLength_ < kUncutBytes;
    if (apart || !sameWord(word.charset, wordCharset_)) endWords();
    if (apart && blanksBefore_) text_ += ' ';
    wordLength_ = word.bytes;
    blanksBefore_ = false;
    wordCharset_ = word.charset;
    wordBytes_ += decodedBytes(word);
    afterWord_ = true;
  }

  // Blanks between two encoded words are no text.
  void addPlain(std::string_view text, bool wordFollows) {
    blanksBefore_ = afterWord_ && wordFollows && trimmed(text).empty();
    if (blanksBefore_) return;
    endWords();
    afterWord_ = false;
    text_ += decodeAll(text, chooseCharset(text, charset_));
  }

  std::string finish() {
    endWords();
    return joinBlanks(text_);
  }

 private:
  void endWords() {
    if (!wordBytes_.empty())
      text_ += decodeAll(wordBytes_, chooseCharset(wordBytes_, wordCharset_));
    wordBytes_.clear();
    wordCharset_.clear();
  }

  static std::string joinBlanks(std::string_view text) {
    std::string joined;
    for (const char c : trimmed(text)) {
      const bool blank = kBlanks.find(c) != npos;
      if (!blank || joined.back() != ' ') joined += blank ? ' ' : c;
    }
    return joined;
  }

  // Encoded words have at most 75 characters.
  static constexpr size_t kUncutBytes = 60;

  std::string_view charset_;
  EncodedWords words_;
  std::string text_;
  std::string wordBytes_;
  std::string wordCharset_;
  size_t wordLength_ = 0;  // of the last one, encoded
  bool afterWord_ = false;
  bool blanksBefore_ = false;
};

}  // namespace

bool sameWord(std::string_view a, std::string_view b) {
  a = trimmed(a);
  b = trimmed(b);
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return lower(x) == lower(y); });
}

std::string decodeHeaderText(std::string_view field, std::string_view charset, EncodedWords words) {
  HeaderText text(charset, words);
  while (!field.empty()) {
    size_t at = field.find("=?");
    std::optional<EncodedWord> word;
    while (at != npos && !(word = encodedWordAt(field.substr(at)))) at = field.find("=?", at + 1);
    if (at != 0) text.addPlain(field.substr(0, at), word.has_value());
    if (!word) break;
    text.addWord(*word);
    field.remove_prefix(at + word->bytes);
  }
  return text.finish();
}

// ---- Fields

size_t fieldNameBytes(std::string_view line) {
  size_t bytes = 0;
  while (bytes < line.size() && line[bytes] > ' ' && line[bytes] < 0x7F && line[bytes] != ':')
    ++bytes;
  const size_t colon = std::min(line.find_first_not_of(" \t", bytes), line.size());
  return colon < line.size() && line[colon] == ':' ? bytes : 0;
}

MailHeader readMailHeader(MimeStream& stream) {
  MailHeader header;
  std::string* field = nullptr;
  bool lineStart = true;
  for (;;) {
    const std::string_view line = stream.line();
    if (line.empty()) break;
    const std::string_view text = line.substr(0, line.find_last_not_of("\r\n") + 1);
    const bool isStart = std::exchange(lineStart, line.ends_with('\n'));
    const size_t nameBytes = isStart ? fieldNameBytes(text) : 0;
    if (isStart && text.empty()) {
      stream.take(line.size());
      break;
    }
    if (nameBytes != 0) {
      field = fieldOf(header, text.substr(0, nameBytes));
      const size_t colon = text.find(':', nameBytes);
      if (field != nullptr) appendToField(*field, trimmed(text.substr(colon + 1)));
    } else if (!isStart || text.front() == ' ' || text.front() == '\t') {
      if (field != nullptr) appendToField(*field, text);
    } else if (text.starts_with(">From ") || text.starts_with("From ")) {
      field = nullptr;
    } else {
      break;
    }
    stream.take(line.size());
  }
  return header;
}

StructuredField::StructuredField(std::string_view field) {
  constexpr size_t kMostParameters = 200;
  size_t end = std::min(field.find(';'), field.size());
  value_ = lowered(trimmed(field.substr(0, end)));
  // A comment may stand behind it.
  value_.resize(std::min(value_.find_first_of(" \t("), value_.size()));
  field.remove_prefix(end);
  while (parameters_.size() < kMostParameters) {
    const size_t begin = field.find_first_not_of("; \t\r\n");
    if (begin == npos) break;
    field.remove_prefix(begin);
    end = field.find_first_of("=;");
    if (end == npos) break;
    const std::string name = lowered(trimmed(field.substr(0, end)));
    const bool hasValue = field[end] == '=';
    field.remove_prefix(end + 1);
    if (!hasValue) continue;
    field.remove_prefix(std::min(field.find_first_not_of(kBlanks), field.size()));
    parameters_.emplace_back(name, takeValue(field));
    field.remove_prefix(std::min(field.find(';'), field.size()));
  }
}

std::string StructuredField::piece(std::string_view name, bool* found) const {
  for (const auto& [known, value] : parameters_) {
    if (known != name) continue;
    *found = true;
    return value;
  }
  *found = false;
  return {};
}

// (RFC 2231, sections 3 and 4: "name*", or "name*0", "name*1*", ...)
std::string StructuredField::parameter(std::string_view name) const {
  const std::string base(name);
  std::string bytes;
  bool found = false;
  bool extended = false;
  for (size_t i = 0; i <= parameters_.size(); ++i) {
    const std::string numbered = i == 0 ? base : base + '*' + std::to_string(i - 1);
    std::string part = piece(numbered + '*', &found);
    if (found) {
      if (i <= 1) extended = true;
      bytes += percentDecoded(part);
    } else {
      if (i == 0) continue;
      part = piece(numbered, &found);
      if (!found) break;
      bytes += part;
    }
    if (i == 0) break;
  }
  if (bytes.empty()) return piece(base, &found);
  const size_t charsetEnd = bytes.find('\'');
  const size_t languageEnd = charsetEnd == npos ? npos : bytes.find('\'', charsetEnd + 1);
  if (!extended || languageEnd == npos) return bytes;
  const std::string text = bytes.substr(languageEnd + 1);
  return decodeAll(text, chooseCharset(text, std::string_view(bytes).substr(0, charsetEnd)));
}

std::string MailHeader::fileName() const {
  std::string name = StructuredField(disposition).parameter("filename");
  if (name.empty()) name = StructuredField(contentType).parameter("name");
  return decodeHeaderText(name, charset());
}

std::string MailHeader::charset() const {
  return StructuredField(contentType).parameter("charset");
}

}  // namespace veska::unicode
