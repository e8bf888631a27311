// CZipAnalyzer: the members of a ZIP archive (APPNOTE.TXT of PKWARE), read with minizip's unzip
// interface. Members are found through the archive's central directory; encrypted members and
// compression methods other than stored and deflate are not read.

#ifndef VESKA_ANALYZERS_ZIPANALYZER_H_
#define VESKA_ANALYZERS_ZIPANALYZER_H_

#include "analyzers/container.h"

class VESKA_API CZipAnalyzer : public CContainerAnalyzer {
 public:
  using CContainerAnalyzer::CContainerAnalyzer;

  // Result: false when the archive cannot be opened or its directory cannot be read to the end.
  // Deliberate: what follows a member that cannot be opened (it is encrypted, ...) is not indexed.
  bool indexFile(const char* path, unsigned long parentId) override;

  // The first member of exactly that name. Result: true when tempPath was made, even if damaged
  // data cut the copy short.
  bool extractToTempFile(const char* container, const char* member, const char* tempPath,
                         unsigned long id) override;

 private:
  class Archive;

  bool indexMembers(Archive& archive, ContainerScope& scope, unsigned long parentId,
                    const char* path);
  bool indexMember(Archive& archive, ContainerScope& scope, unsigned long parentId,
                   const char* path);
  void indexInPlace(Archive& archive, const Member& member, const char* path);
  void indexCopy(Archive& archive, const Member& member, const std::string& name);
};

#endif  // VESKA_ANALYZERS_ZIPANALYZER_H_
