// CTextAnalyzer: the analyzer of every kind of document in the Unicode mode, where it stands in the
// registry under the kind's name. A text source reads the document; the tokenizer or the display
// writer takes the text.

#ifndef VESKA_ANALYZERS_UNICODE_TEXTANALYZER_H_
#define VESKA_ANALYZERS_UNICODE_TEXTANALYZER_H_

#include "analyzers/fileanalyzer.h"
#include "analyzers/unicode/kinds.h"

class CTextAnalyzer : public CFileAnalyzer {
 public:
  CTextAnalyzer(CVeskaIndex* owner, const veska::unicode::Kind& kind)
      : CFileAnalyzer(owner), kind_(kind) {}

  // Can the member of an archive be read while it is unpacked? False for kinds that want a file.
  bool canUseIndexBuffer() override { return !kind_.needsSeek; }

  // A container that only its first bytes tell is handed to the analyzer of its kind.
  bool indexFile(const char* path, unsigned long parentId) override;
  bool extractToTempFile(const char* container, const char* member, const char* tempPath,
                         unsigned long id) override;

  // The analyzer that a container is handed to. Null for a document that holds no others, for the
  // kinds that are told by patterns, and when the file cannot be read.
  CFileAnalyzer* containerAnalyzer(const char* path) const;

  // option: without mark-up. Without it, HTML and XML are shown as they stand.
  char* fillDisplayBuffer(const char* path, unsigned long fileId, unsigned long maxBytes,
                          int lineWidth, bool option) override;

  // Indexes what read gives, piece by piece, as the record recordId, whose name helps to tell the
  // kind. path: named in reports.
  void indexStream(const BlockReader& read, const char* path, unsigned long recordId);

 private:
  void indexInput(veska::unicode::ByteInput& input, std::string_view name, const char* path,
                  unsigned long recordId);
  bool isMarkup() const;
  CFileAnalyzer* containerAnalyzer(veska::unicode::PeekedInput& input, std::string_view name) const;

  const veska::unicode::Kind& kind_;
};

#endif  // VESKA_ANALYZERS_UNICODE_TEXTANALYZER_H_
