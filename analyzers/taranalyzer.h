// CTarAnalyzer: the regular files of a TAR archive (POSIX.1-1988 ustar and what came before it).
//
// A header block of 512 bytes, then the member's data, padded with zeros to whole blocks:
//     0  100  name, ended by a zero if shorter; first byte 0: end of the archive
//   124   12  size        } octal digits, or a binary number (first byte 0x80 or 0xFF) as GNU tar
//   136   12  time, Unix  } writes it for large values
//   156    1  kind: NUL and "0" are regular files
//
// Deliberate: names are taken from the name field alone. The ustar prefix field and the long names
// of extended headers are not regarded.

#ifndef VESKA_ANALYZERS_TARANALYZER_H_
#define VESKA_ANALYZERS_TARANALYZER_H_

#include "analyzers/container.h"

class VESKA_API CTarAnalyzer : public CContainerAnalyzer {
 public:
  using CContainerAnalyzer::CContainerAnalyzer;

  // The archive counts as one file indexed, its members that are read in place do not. A member
  // that the archive's end cuts off is indexed as far as it goes. Result: false when the archive
  // cannot be opened.
  bool indexFile(const char* path, unsigned long parentId) override;

  // The first regular file of exactly that name, in its exact size.
  bool extractToTempFile(const char* container, const char* member, const char* tempPath,
                         unsigned long id) override;

 private:
  class Archive;

  void indexMember(Archive& archive, ContainerScope& scope, unsigned long parentId,
                   const char* path);
  void indexInPlace(Archive& archive, const Member& member, const char* path);
  void indexCopy(Archive& archive, const Member& member, const std::string& name);
};

#endif  // VESKA_ANALYZERS_TARANALYZER_H_
