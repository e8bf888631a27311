// The bytes of a message (RFC 5322, RFC 2045, RFC 2046): its lines, the boundaries between its
// parts, and the bodies of parts, decoded as they are read.

#ifndef VESKA_ANALYZERS_UNICODE_MIMESTREAM_H_
#define VESKA_ANALYZERS_UNICODE_MIMESTREAM_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "analyzers/unicode/readahead.h"
#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

// Goes through a message line by line. A line that is a boundary of one of the multiparts that have
// been entered ends the part, however deep it lies: a multipart whose own end is missing ends there
// too.
class MimeStream {
 public:
  // input: outlives the object.
  explicit MimeStream(ByteInput& input);

  // What is left of the line that stands here, with its end; of a line longer than a bound, a
  // piece. Valid until the next call. Result: empty at the end of the part.
  std::string_view line();
  // Moves on. bytes: at most what line() gave last.
  void take(size_t bytes);
  // Moves to the end of the part.
  void skipPart();

  // Is there no such boundary in the rest of the message? Long messages are not searched: false.
  bool lacks(std::string_view boundary);
  // Enters a multipart: from now on its boundary ends parts.
  void enter(std::string boundary) { boundaries_.push_back(std::move(boundary)); }
  // Moves on from the end of one part of the innermost multipart to the next. Result: false when
  // there is none.
  bool nextPart();
  // Leaves the innermost multipart. What follows its last part is part of the one around it.
  void leave();
  size_t depth() const { return boundaries_.size(); }

 private:
  bool atBoundary(std::string_view line);

  static constexpr size_t kNoLevel = SIZE_MAX;

  ReadAhead window_;
  bool lineStart_ = true;
  std::vector<std::string> boundaries_;  // the innermost last
  size_t level_ = kNoLevel;              // of the multipart whose boundary stands here
  bool closes_ = false;                  // it is the last one
  size_t boundaryBytes_ = 0;             // length of its line
};

// The part that a stream stands in, as it is.
class BodyInput : public ByteInput {
 public:
  explicit BodyInput(MimeStream& stream) : stream_(stream) {}
  size_t read(char* to, size_t bytes) override;

 private:
  MimeStream& stream_;
};

enum class TransferEncoding { kIdentity, kBase64, kQuotedPrintable };

// The encoding that a Content-Transfer-Encoding field names; an unknown one changes nothing.
TransferEncoding transferEncodingNamed(std::string_view name);

// The bytes of a part, decoded. Base64 ends where its padding ends it or where a line of something
// else follows, as mailing lists append; other bytes that stand for nothing are passed over. In
// quoted-printable text an escape that is none stands for itself.
class DecodedInput : public ByteInput {
 public:
  // encoded: outlives the object.
  DecodedInput(ByteInput& encoded, TransferEncoding encoding)
      : encoded_(encoded), encoding_(encoding) {}

  size_t read(char* to, size_t bytes) override;

 private:
  bool decodeMore();
  void decodeBase64(std::string_view bytes);
  void decodeQuotedPrintable(std::string_view bytes);
  void quotedPrintable(char c);
  void endQuotedPrintable();

  enum class Escape { kNone, kBegun, kDigit, kLineEnd };

  ByteInput& encoded_;
  TransferEncoding encoding_;
  std::string decoded_;
  size_t taken_ = 0;
  bool ended_ = false;
  uint32_t bits_ = 0;  // of a base64 group that has begun
  int values_ = 0;
  Escape escape_ = Escape::kNone;
  char digit_ = 0;
};

// The bytes that base64 or quoted-printable text stands for, whole.
std::string decodeTransfer(std::string_view text, TransferEncoding encoding);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_MIMESTREAM_H_
