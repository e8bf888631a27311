#include "analyzers/mailscan.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>

namespace {

constexpr std::string_view kMessage = "From ";
constexpr std::string_view kFrom = "From:";
constexpr std::string_view kDate = "Date:";
constexpr std::string_view kBase64 = "Content-Transfer-Encoding: base64";
constexpr std::string_view kFileName = "filename=";

constexpr size_t kMessageSkip = 4;       // a message begins with the blank of its "From "
constexpr size_t kMinRemaining = 11;     // bytes that are left while a file name is looked for
constexpr int kMaxHeaderLineFeeds = 11;  // that may stand in front of it
constexpr size_t kMaxExtension = 19;

// A header's text with its folded lines, which begin with a blank.
std::string_view headerText(std::string_view rest) {
  size_t end = rest.find('\n');
  while (end != rest.npos && end + 1 < rest.size() &&
         (rest[end + 1] == ' ' || rest[end + 1] == '\t')) {
    end = rest.find('\n', end + 1);
  }
  return rest.substr(0, end);
}

std::string_view cleanExtension(std::string_view extension) {
  extension = extension.substr(0, kMaxExtension);
  const auto isForeign = [](unsigned char c) { return c > 0x7F || !std::isalnum(c); };
  const auto end = std::find_if(extension.begin(), extension.end(), isForeign);
  return extension.substr(0, static_cast<size_t>(end - extension.begin()));
}

class MailboxScan {
 public:
  MailboxScan(std::string_view text, const std::function<void(const MailPart&)>& part)
      : text_(text), part_(part) {}

  void run() {
    while (position_ < text_.size()) {
      if (lineStart()) continue;
      const size_t lineEnd = text_.find('\n', position_);
      position_ = lineEnd == text_.npos ? text_.size() : lineEnd + 1;
    }
    if (!text_.empty()) endMessage(text_.size() - 1);
  }

 private:
  // Looks at the line that begins here. Result: true when position_ stands at another line's start.
  bool lineStart() {
    const std::string_view rest = text_.substr(position_);
    const char first = rest.front();
    if (pending_ && (first == '\n' || first == '\r' || first == 0))
      endAttachment();
    else if (first == 0 || rest.starts_with(kMessage))
      beginMessage();
    else if (!inHeaders_)
      return false;
    else if (!from_ && rest.starts_with(kFrom))
      from_ = headerText(rest.substr(kFrom.size()));
    else if (!date_ && rest.starts_with(kDate))
      date_ = headerText(rest.substr(kDate.size()));
    else if (rest.starts_with(kBase64))
      return beginAttachment();
    return false;
  }

  void beginMessage() {
    if (pending_) endAttachment();
    endMessage(position_);
    from_.reset();
    date_.reset();
    inHeaders_ = true;
    counter_ = 0;
    position_ = start_ = std::min(position_ + kMessageSkip, text_.size());
  }

  // The text of a message that has had no attachment.
  void endMessage(size_t end) {
    if (inHeaders_ && counter_ == 0) emit({}, end, false);
  }

  // Result: true when an attachment's data begins at position_.
  bool beginAttachment() {
    if (!from_ || !date_) {
      inHeaders_ = false;
      return false;
    }
    const std::optional<std::string_view> name = fileName();
    if (!name) return false;
    endMessage(position_);
    ++counter_;
    const size_t dot = name->rfind('.');
    if (dot == name->npos) return false;

    extension_ = cleanExtension(name->substr(dot + 1));
    const auto nameEnd = static_cast<size_t>(name->data() + name->size() - text_.data());
    const size_t lineEnd = std::min(text_.find_first_of("\r\n", nameEnd), text_.size());
    position_ = start_ = std::min(text_.find_first_not_of("\r\n", lineEnd), text_.size());
    pending_ = true;
    return true;
  }

  // The file name that the headers around this one give the part, if they do.
  std::optional<std::string_view> fileName() {
    int lineFeeds = 0;
    for (size_t at = position_ + kBase64.size() + 1; at + kMinRemaining <= text_.size(); ++at) {
      if (text_[at] == '\n' && ++lineFeeds > kMaxHeaderLineFeeds) {
        inHeaders_ = false;
        return std::nullopt;
      }
      if (!text_.substr(at).starts_with(kFileName)) continue;
      at += kFileName.size();
      if (text_[at] == '"') ++at;
      return text_.substr(at, text_.find_first_of("\"\r\n", at) - at);
    }
    return std::nullopt;
  }

  void endAttachment() {
    pending_ = false;
    emit(extension_, position_, true);
    ++counter_;
  }

  void emit(std::string_view extension, size_t end, bool isAttachment) {
    if (!from_ || !date_) return;
    const size_t length = end > start_ ? end - start_ : 0;
    part_({*from_, *date_, extension, text_.substr(start_, length), counter_, isAttachment});
  }

  std::string_view text_;
  const std::function<void(const MailPart&)>& part_;
  size_t position_ = 0;
  size_t start_ = 0;  // of the message or attachment
  std::optional<std::string_view> from_;
  std::optional<std::string_view> date_;
  std::string_view extension_;
  bool inHeaders_ = true;
  bool pending_ = false;  // an attachment has begun
  int counter_ = 0;       // of the message's parts
};

constexpr signed char kNoValue = -1;

constexpr std::array<signed char, 256> base64Values() {
  std::array<signed char, 256> values{};
  values.fill(kNoValue);
  constexpr std::string_view kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (size_t i = 0; i < kAlphabet.size(); ++i) {
    values[static_cast<unsigned char>(kAlphabet[i])] = static_cast<signed char>(i);
  }
  return values;
}

constexpr std::array<signed char, 256> kBase64Values = base64Values();

}  // namespace

void scanMailbox(std::string_view mailbox, const std::function<void(const MailPart&)>& part) {
  MailboxScan(mailbox, part).run();
}

bool Base64Reader::nextValue(unsigned& value) {
  while (position_ < text_.size()) {
    const char c = text_[position_++];
    const bool emptyLine =
        (c == '\n' && previous_ == '\n') || (c == '\r' && (previous_ == '\n' || previous_ == '\r'));
    if (begun_ && emptyLine) {
      position_ = text_.size();
      return false;
    }
    previous_ = c;
    begun_ = begun_ || (c >= '+' && c <= 'z');
    const signed char found = kBase64Values[static_cast<unsigned char>(c)];
    if (found == kNoValue) continue;
    value = static_cast<unsigned char>(found);
    return true;
  }
  return false;
}

// Four values give three bytes; at the end two give one, and three give two.
bool Base64Reader::decodeGroup() {
  unsigned bits = 0;
  size_t values = 0;
  for (unsigned value = 0; values < 4 && nextValue(value); ++values) bits = bits << 6 | value;
  if (values < 2) return false;
  bits <<= 6 * (4 - values);
  for (size_t i = 0; i < 3; ++i) ready_[i] = static_cast<char>(bits >> (16 - 8 * i));
  readyCount_ = values - 1;
  readyTaken_ = 0;
  return true;
}

size_t Base64Reader::read(char* to, size_t bytes) {
  size_t written = 0;
  while (written < bytes) {
    if (readyTaken_ == readyCount_ && !decodeGroup()) break;
    to[written++] = ready_[readyTaken_++];
  }
  return written;
}
