// Unix mailboxes: messages one after the other, each opened by a line "From SENDER DATE" (RFC 4155
// and its many dialects).

#ifndef VESKA_ANALYZERS_UNICODE_MAILBOX_H_
#define VESKA_ANALYZERS_UNICODE_MAILBOX_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "analyzers/unicode/readahead.h"
#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

// Reads a mailbox of any size message by message. A line "From ..." opens a message when a header
// follows it, and an empty line precedes it or a date stands in it: not all programs mark such
// lines in a text.
class MailboxReader {
 public:
  // input: outlives the object.
  explicit MailboxReader(ByteInput& input);

  // Moves on to the next message, past what is left of this one. Result: false when there is none.
  bool next();
  // Reads on in the message, which begins behind its "From " line. Result: bytes read, fewer than
  // asked for only at its end.
  size_t read(char* to, size_t bytes);
  // What stands behind "From " in front of the message, at most 1000 bytes.
  const std::string& envelope() const { return envelope_; }

 private:
  void lookAhead();
  void take(size_t bytes);
  size_t openingBytes() const;
  size_t messageBytes();

  ReadAhead window_;
  bool started_ = false;
  size_t sure_ = 0;                // bytes of the window that belong to the message
  std::string before_ = "\n\n\n";  // the last bytes in front of the window
  std::string envelope_;
};

// Name of the record of a message: "SENDER YYYY-MM-DD HH:MM:SS-NUMBER.eml", the date being that of
// the sender's clock; at most 255 bytes. head: the message's first bytes. time: set to the date in
// seconds since 1970, 0 when there is none. number: counted from 1.
std::string messageName(std::string_view head, std::string_view envelope, uint64_t number,
                        int64_t* time);

// The number in such a name; 0 when there is none.
uint64_t messageNumber(std::string_view name);

// All messages, one after the other, as one document: for mailboxes that come as streams.
std::unique_ptr<TextSource> makeMailboxSource();
bool isMailbox(std::string_view head);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_MAILBOX_H_
