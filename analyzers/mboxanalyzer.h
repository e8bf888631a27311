// CMBoxAnalyzer: the messages of a Unix mailbox (mbox: each message opened by a line "From ...")
// and their base64 attachments (RFC 2045), as members of the mailbox.
//
// A part's record is called "SENDER YYYY-MM-DD HH:MM:SS-N.EXT": message text has number 0 and the
// extension "txt", attachments have their counter and the extension of their own file name. The
// part's bytes, attachments decoded, are kept in a cache file for display.
//
// Deliberate, and kept for the sake of names and records that exist:
//  - only the first maxPerFileRead + 1000 bytes of a mailbox are looked at;
//  - headers are recognised in one spelling, anywhere in a message;
//  - a message without sender or date is left out, as is one with a base64 part that has no file
//    name nearby, and as is message text after the first attachment;
//  - the counter grows twice with each attachment: 1, 3, 5;
//  - the last message ends one byte before the mailbox does.

#ifndef VESKA_ANALYZERS_MBOXANALYZER_H_
#define VESKA_ANALYZERS_MBOXANALYZER_H_

#include <string>
#include <string_view>

#include "analyzers/container.h"

class VESKA_API CMBoxAnalyzer : public CContainerAnalyzer {
 public:
  using CContainerAnalyzer::CContainerAnalyzer;

  // Result: false when the mailbox cannot be opened, or no memory is left for it.
  bool indexFile(const char* path, unsigned long parentId) override;

  // Copies a part's cache file; id is the part's record.
  bool extractToTempFile(const char* container, const char* member, const char* tempPath,
                         unsigned long id) override;

  // Slot 12. Makes or refreshes the record of a part of the mailbox parentId, writes its cache file
  // and has that indexed. time: Unix seconds; data, length: the part as it stands in the mailbox.
  virtual void processMessageText(const char* name, long time, unsigned long parentId,
                                  const char* data, unsigned long length, bool isAttachment);

  // Path of a part's cache file, empty without a temporary directory.
  std::string makeCachePath(std::string_view name, unsigned long id) const;

  // Name of a part's record, at most 255 bytes. from: the text of the "From:" header with its
  // folded lines; time: Unix seconds.
  static std::string makeFileName(std::string_view from, long time, std::string_view extension,
                                  int number);

  // Unix seconds of the text of a "Date:" header, read as local time: a zone is ignored, and what
  // is missing is taken from the present moment. 0 when there is no day and month.
  static long parseAsctime(std::string_view text);
};

#endif  // VESKA_ANALYZERS_MBOXANALYZER_H_
