// The header of a message or of one of its parts: its fields, unfolded; encoded words (RFC 2047),
// parameters (RFC 2045, RFC 2231) and dates (RFC 5322) in them.

#ifndef VESKA_ANALYZERS_UNICODE_MAILHEADER_H_
#define VESKA_ANALYZERS_UNICODE_MAILHEADER_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "analyzers/unicode/mimestream.h"

namespace veska::unicode {

// Are both the same but for the case of ASCII letters and blanks around them?
bool sameWord(std::string_view a, std::string_view b);

// A field of the form "value; name=value; ...".
class StructuredField {
 public:
  explicit StructuredField(std::string_view field);

  // What stands in front of the parameters, in lower case.
  const std::string& value() const { return value_; }

  // A parameter, name in lower case; empty when it is not there. One in several pieces is joined,
  // one with a character set of its own is UTF-8, any other is as it stands.
  std::string parameter(std::string_view name) const;

 private:
  std::string piece(std::string_view name, bool* found) const;

  std::string value_;
  std::vector<std::pair<std::string, std::string>> parameters_;  // names in lower case
};

// The fields that are used, as they stand, unfolded; at most 64 KiB of each. Of fields that come
// several times, the first, but all recipients.
struct MailHeader {
  std::string from;
  std::string recipients;  // To, Cc, Bcc
  std::string subject;
  std::string date;
  std::string contentType;
  std::string transferEncoding;
  std::string disposition;

  // The file name that the part has, UTF-8, empty for none.
  std::string fileName() const;
  // The character set that the part declares, empty for none.
  std::string charset() const;
};

// Reads the header at which the stream stands and the empty line that ends it. What cannot be a
// field ends it as well, and is text of the body.
MailHeader readMailHeader(MimeStream& stream);

// How encoded words that follow each other belong together. In text the blanks between them mean
// nothing. Names in addresses are often encoded word by word, so that there the blanks count,
// unless a word is so long that it had to be cut.
enum class EncodedWords { kText, kNames };

// The text of a field as people read it: encoded words decoded, blanks joined. charset: of bytes
// that are no ASCII, where they are not UTF-8.
std::string decodeHeaderText(std::string_view field, std::string_view charset = {},
                             EncodedWords words = EncodedWords::kText);

// Does line begin with the name of a field and its colon? Result: length of the name, 0 for no.
size_t fieldNameBytes(std::string_view line);

struct MailDate {
  int64_t seconds;   // since 1970, in universal time
  std::string text;  // "YYYY-MM-DD HH:MM:SS", where the sender was
};

// The text of a Date field, or the date of a mailbox's "From " line.
std::optional<MailDate> parseMailDate(std::string_view text);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_MAILHEADER_H_
