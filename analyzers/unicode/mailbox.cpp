#include "analyzers/unicode/mailbox.h"

#include <algorithm>
#include <charconv>

#include "analyzers/unicode/charset.h"
#include "analyzers/unicode/kinds.h"
#include "analyzers/unicode/mailheader.h"

namespace veska::unicode {
namespace {

constexpr auto npos = std::string_view::npos;
constexpr size_t kBufferBytes = 131072;
constexpr size_t kMostSeparatorBytes = 1000;
// Of the line behind it, to see whether it is a field of a header.
constexpr size_t kFieldBytes = 200;
constexpr size_t kLookAheadBytes = kMostSeparatorBytes + kFieldBytes;
constexpr std::string_view kFrom = "From ";
constexpr std::string_view kNewLineFrom = "\nFrom ";

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// "9:18" somewhere in it?
bool holdsTime(std::string_view line) {
  for (size_t colon = line.find(':'); colon != npos; colon = line.find(':', colon + 1)) {
    if (colon != 0 && colon + 2 < line.size() && isDigit(line[colon - 1]) &&
        isDigit(line[colon + 1]) && isDigit(line[colon + 2]))
      return true;
  }
  return false;
}

// text: begins with "From ". Result: bytes of that line, 0 when it opens no message.
size_t openingLine(std::string_view text, bool afterEmptyLine) {
  const size_t end = text.substr(0, kMostSeparatorBytes).find('\n');
  if (end == npos) return 0;
  const std::string_view next = text.substr(end + 1, kFieldBytes);
  if (fieldNameBytes(next) == 0 && !next.starts_with(">From ")) return 0;
  return afterEmptyLine || holdsTime(text.substr(0, end)) ? end + 1 : 0;
}

}  // namespace

MailboxReader::MailboxReader(ByteInput& input) : window_(input, kBufferBytes) {}

// Sees to it that a whole separator is in the buffer, if one stands here.
void MailboxReader::lookAhead() {
  if (!window_.ended() && window_.rest().size() < kLookAheadBytes) window_.fill();
}

void MailboxReader::take(size_t bytes) {
  const size_t kept = std::min(bytes, before_.size());
  before_.erase(0, kept);
  before_.append(window_.rest().substr(bytes - kept, kept));
  window_.take(bytes);
}

// Bytes of the line that opens a message here, 0 when none does.
size_t MailboxReader::openingBytes() const {
  const std::string_view text = window_.rest();
  if (!before_.ends_with('\n') || !text.starts_with(kFrom)) return 0;
  return openingLine(text, before_.ends_with("\n\n") || before_ == "\n\r\n");
}

// Bytes that surely belong to the message; 0 at its end.
size_t MailboxReader::messageBytes() {
  if (sure_ != 0) return sure_;
  lookAhead();
  if (openingBytes() != 0) return 0;
  const std::string_view text = window_.rest();
  if (const size_t found = text.find(kNewLineFrom); found != npos)
    sure_ = found + 1;
  else
    sure_ = window_.ended() ? text.size() : text.size() - (kNewLineFrom.size() - 1);
  return sure_;
}

bool MailboxReader::next() {
  if (started_) {
    while (const size_t bytes = messageBytes()) {
      take(bytes);
      sure_ = 0;
    }
  }
  lookAhead();
  while (!started_ && (window_.rest().starts_with('\n') || window_.rest().starts_with('\r'))) {
    take(1);
    lookAhead();
  }
  started_ = true;
  if (window_.rest().empty()) return false;
  // A file may begin with a message that no such line opens.
  const size_t opening = openingBytes();
  envelope_ = window_.rest().substr(0, opening);
  envelope_.erase(0, kFrom.size());
  take(opening);
  return true;
}

size_t MailboxReader::read(char* to, size_t bytes) {
  size_t done = 0;
  while (done < bytes && messageBytes() != 0) {
    const size_t count = std::min(bytes - done, sure_);
    window_.rest().copy(to + done, count);
    take(count);
    sure_ -= count;
    done += count;
  }
  return done;
}

// ---- Names

namespace {

constexpr size_t kMostNameBytes = 255;
constexpr std::string_view kExtension = ".eml";

// The address between "<" and ">", else all of it; without what is no part of a name.
std::string senderOf(std::string_view from) {
  const size_t open = from.find('<');
  const size_t close = open == npos ? npos : from.find('>', open);
  if (close != npos && close > open + 1) from = from.substr(open + 1, close - open - 1);
  std::string sender(from);
  for (char& c : sender)
    if ((c >= 0 && c < ' ') || c == 0x7F || c == '/' || c == '\\') c = '_';
  return sender.empty() ? "unknown" : sender;
}

std::string_view cutAtCharacter(std::string_view text, size_t bytes) {
  if (text.size() <= bytes) return text;
  while (bytes != 0 && (static_cast<unsigned char>(text[bytes]) & 0xC0) == 0x80) --bytes;
  return text.substr(0, bytes);
}

}  // namespace

std::string messageName(std::string_view head, std::string_view envelope, uint64_t number,
                        int64_t* time) {
  MemoryInput input(head);
  MimeStream stream(input);
  const MailHeader header = readMailHeader(stream);
  std::string from = decodeHeaderText(header.from, header.charset(), EncodedWords::kNames);
  const size_t addressEnd = std::min(envelope.find(' '), envelope.size());
  if (from.empty()) from = decodeHeaderText(envelope.substr(0, addressEnd));
  std::optional<MailDate> date = parseMailDate(header.date);
  if (!date) date = parseMailDate(envelope.substr(addressEnd));
  *time = date ? date->seconds : 0;

  std::string rest;
  if (date) rest.append(1, ' ').append(date->text);
  rest.append(1, '-').append(std::to_string(number)).append(kExtension);
  return std::string(cutAtCharacter(senderOf(from), kMostNameBytes - rest.size())) + rest;
}

uint64_t messageNumber(std::string_view name) {
  if (!name.ends_with(kExtension)) return 0;
  name.remove_suffix(kExtension.size());
  name.remove_prefix(std::min(name.rfind('-') + 1, name.size()));
  uint64_t number = 0;
  std::from_chars(name.data(), name.data() + name.size(), number);
  return number;
}

// ---- The source

namespace {

class MailboxSource : public TextSource {
 public:
  Outcome deliver(ByteInput& input, const SourceRequest& request, TextSink& sink) override {
    MailboxReader reader(input);
    StreamInput message([&reader](char* to, size_t bytes) { return reader.read(to, bytes); });
    Outcome worst = Outcome::kDone;
    while (reader.next()) {
      const Outcome outcome = deliverDocument(*kindNamed("mail"), message, request, sink);
      if (outcome == Outcome::kStopped || !sink.boundary(Break::kParagraph))
        return Outcome::kStopped;
      if (worst == Outcome::kDone && outcome != Outcome::kBinary) worst = outcome;
    }
    return worst;
  }
};

}  // namespace

std::unique_ptr<TextSource> makeMailboxSource() { return std::make_unique<MailboxSource>(); }

bool isMailbox(std::string_view head) {
  return head.starts_with(kFrom) && openingLine(head, false) != 0;
}

}  // namespace veska::unicode
