// The text of a mailbox: where its messages and attachments begin and end, and what base64 says.

#ifndef VESKA_ANALYZERS_MAILSCAN_H_
#define VESKA_ANALYZERS_MAILSCAN_H_

#include <cstddef>
#include <functional>
#include <string_view>

// A message's text or an attachment. All texts lie in the mailbox.
struct MailPart {
  std::string_view from;       // of the headers, with folded lines
  std::string_view date;       // likewise
  std::string_view extension;  // of an attachment's file name: letters and digits, 19 at most
  std::string_view data;       // as it stands; an attachment's is in base64
  int number = 0;              // 0: message text
  bool isAttachment = false;
};

// Calls part for each part of the mailbox, in order.
void scanMailbox(std::string_view mailbox, const std::function<void(const MailPart&)>& part);

// Decodes the base64 text of an attachment piece by piece. Bytes that stand for no value are passed
// over; the text ends at an empty line once it has begun.
class Base64Reader {
 public:
  explicit Base64Reader(std::string_view text) : text_(text) {}

  // Result: bytes written to to, 0 at the end.
  size_t read(char* to, size_t bytes);

 private:
  bool decodeGroup();
  bool nextValue(unsigned& value);

  std::string_view text_;
  size_t position_ = 0;
  char previous_ = 0;
  bool begun_ = false;
  char ready_[3] = {};  // decoded, not yet handed out
  size_t readyCount_ = 0;
  size_t readyTaken_ = 0;
};

#endif  // VESKA_ANALYZERS_MAILSCAN_H_
