// CMailboxAnalyzer: the mailboxes of the Unicode mode. Each message is a member, with all that it
// holds; its record is called "SENDER YYYY-MM-DD HH:MM:SS-NUMBER.eml". Messages are read where they
// stand, whatever the size of the mailbox, and found again by their numbers.

#ifndef VESKA_ANALYZERS_MAILBOXANALYZER_H_
#define VESKA_ANALYZERS_MAILBOXANALYZER_H_

#include "analyzers/container.h"

class CMailboxAnalyzer : public CContainerAnalyzer {
 public:
  using CContainerAnalyzer::CContainerAnalyzer;

  // Result: false when the mailbox cannot be opened.
  bool indexFile(const char* path, unsigned long parentId) override;

  // The message of that number if it has that name, else the first of the same sender and date: the
  // mailbox may have changed since it was indexed.
  bool extractToTempFile(const char* container, const char* member, const char* tempPath,
                         unsigned long id) override;

  // The text of all messages.
  char* fillDisplayBuffer(const char* path, unsigned long fileId, unsigned long maxBytes,
                          int lineWidth, bool option) override;
};

#endif  // VESKA_ANALYZERS_MAILBOXANALYZER_H_
