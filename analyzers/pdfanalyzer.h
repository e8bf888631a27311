// CPdfAnalyzer: PDF documents. The layers in pdf/ give their text as Unicode, page by page; here it
// becomes text of the index's 8-bit character set that the base class cuts into words or strips for
// display. A document that needs a password keeps its record, without words.

#ifndef VESKA_ANALYZERS_PDFANALYZER_H_
#define VESKA_ANALYZERS_PDFANALYZER_H_

#include "analyzers/fileanalyzer.h"

class VESKA_API CPdfAnalyzer : public CFileAnalyzer {
 public:
  using CFileAnalyzer::CFileAnalyzer;

  // False: the bytes of the file are not its text.
  bool canUseIndexBuffer() override;

  // As the base; the read limit counts bytes of text. Posts "DecodingPdf" (path) when a report is
  // due. Reports the problems "OpenFailed", "PasswordNeeded", "Damaged" and "LimitReached".
  bool indexFile(const char* path, unsigned long parentId) override;

  // As the base, with the status "DecodingPdf". Empty for a document that has no text to give.
  char* fillDisplayBuffer(const char* path, unsigned long fileId, unsigned long maxBytes,
                          int lineWidth, bool option) override;
};

#endif  // VESKA_ANALYZERS_PDFANALYZER_H_
