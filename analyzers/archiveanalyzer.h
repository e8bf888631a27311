// CArchiveAnalyzer: the archives of the Unicode mode, one object for each format. Members that
// cannot be opened are passed over and told; all others are read where they stand, archives within
// compressed files too, or through a copy when their analyzer wants a file.

#ifndef VESKA_ANALYZERS_ARCHIVEANALYZER_H_
#define VESKA_ANALYZERS_ARCHIVEANALYZER_H_

#include "analyzers/archivereader.h"
#include "analyzers/container.h"

class CArchiveAnalyzer : public CContainerAnalyzer {
 public:
  CArchiveAnalyzer(CVeskaIndex* owner, const ArchiveFormat& format)
      : CContainerAnalyzer(owner), format_(format) {}

  // Result: false when the archive cannot be opened.
  bool indexFile(const char* path, unsigned long parentId) override;

  // The first member of exactly that name; of a compressed file its one member.
  bool extractToTempFile(const char* container, const char* member, const char* tempPath,
                         unsigned long id) override;

  // The text of all members.
  char* fillDisplayBuffer(const char* path, unsigned long fileId, unsigned long maxBytes,
                          int lineWidth, bool option) override;

 private:
  void indexInput(veska::unicode::ByteInput& input, std::string_view name, ContainerScope& scope,
                  unsigned long parentId, int64_t time);
  void indexMember(ArchiveReader& reader, ContainerScope& scope, unsigned long parentId,
                   int64_t time);
  // Result: bytes of the member that were read.
  uint64_t indexContents(ArchiveReader& reader, const Member& member, const std::string& name,
                         int64_t time);
  uint64_t indexInPlace(ArchiveReader& reader, const Member& member, const std::string& name,
                        int64_t time);
  uint64_t indexCopy(ArchiveReader& reader, const Member& member, const std::string& name);
  bool isStreamed() const { return !format_.needsSeek; }

  const ArchiveFormat& format_;
};

#endif  // VESKA_ANALYZERS_ARCHIVEANALYZER_H_
