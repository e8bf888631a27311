// CGZipAnalyzer: a file compressed with gzip (RFC 1952), as a container of one member. The member
// is called what the file is called, less its last extension; "x.tgz" holds "x.tar".

#ifndef VESKA_ANALYZERS_GZIPANALYZER_H_
#define VESKA_ANALYZERS_GZIPANALYZER_H_

#include <string>

#include "analyzers/container.h"

class VESKA_API CGZipAnalyzer : public CContainerAnalyzer {
 public:
  using CContainerAnalyzer::CContainerAnalyzer;

  // The member is always decompressed into a temporary file; its record gets the container's time
  // and the size that comes out. Damaged data is indexed as far as it can be decompressed. A file
  // that is not compressed is its own member.
  // Result: false when the file cannot be opened or leaves no name for a member.
  bool indexFile(const char* path, unsigned long parentId) override;

  // The whole file, whatever the member's name.
  bool extractToTempFile(const char* container, const char* member, const char* tempPath,
                         unsigned long id) override;

 private:
  static std::string memberName(std::string_view path);
};

#endif  // VESKA_ANALYZERS_GZIPANALYZER_H_
