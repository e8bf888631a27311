// What stands in the text of a message and is no text to its reader: armoured signatures and keys,
// encoded files, and the line ends of flowed text.

#ifndef VESKA_ANALYZERS_UNICODE_MAILTEXT_H_
#define VESKA_ANALYZERS_UNICODE_MAILTEXT_H_

#include <string>
#include <string_view>

#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

// Passes text on to another sink, line by line, without
//  - what lies between "-----BEGIN X-----" and "-----END X-----" (RFC 4880, RFC 7468), as long as
//    it looks like armour; the text of a clear-signed message stays;
//  - files in the form of uuencode (POSIX).
class MailTextSink : public TextSink {
 public:
  // How the lines of a paragraph are cut (RFC 3676): kFlowed: at a blank, which stays; kDelSp: at
  // one that is not part of the text. Either way they are joined again.
  enum class Flow { kFixed, kFlowed, kDelSp };

  explicit MailTextSink(TextSink& sink, Flow flow = Flow::kFixed) : sink_(sink), flow_(flow) {}

  bool text(std::string_view utf8) override;
  bool boundary(Break strength) override;
  // Passes on what is left.
  bool finish();

 private:
  enum class Within { kText, kArmour, kUuencode };

  bool endLine();
  bool cutLine();
  bool line(std::string_view line);
  bool isNoise(std::string_view line);
  bool isArmour(std::string_view line);
  bool flowedLine(std::string_view line);

  TextSink& sink_;
  Flow flow_;
  std::string line_;      // begun, without an end as yet
  bool lineCut_ = false;  // its beginning was passed on
  Within within_ = Within::kText;
  bool clearSigned_ = false;
  size_t quoteDepth_ = 0;
  bool goesOn_ = false;  // the last line is not the paragraph's last
  bool unended_ = false;
};

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_MAILTEXT_H_
