// CArchiveAnalyzer: the archives of the Unicode mode, one object for each format. Members that
// cannot be opened are passed over and told; all others are read where they stand, archives within
// compressed files too, or through a copy when their analyzer wants a file.

#ifndef VESKA_ANALYZERS_ARCHIVEANALYZER_H_
#define VESKA_ANALYZERS_ARCHIVEANALYZER_H_

#include <span>
#include <string>
#include <string_view>

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

  // How many of these members, each within the one before it and the first within this archive, are
  // reached in one go: 1, and one more for each of the leading ones that is an archive to be read
  // where it stands.
  size_t levelsInPlace(std::span<const std::string> members) const;
  // As extractToTempFile, for the last of that many members.
  bool extractNested(const char* container, std::span<const std::string> members,
                     const char* tempPath);

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
  bool extractFrom(veska::unicode::ByteInput& input, ContainerScope& scope, const std::string& way,
                   std::span<const std::string> members, const char* tempPath);
  // The analyzer of a member, if that is an archive to be read where it stands; else null.
  static CArchiveAnalyzer* streamedArchive(CFileAnalyzer* analyzer);
  CArchiveAnalyzer* streamedArchive(const std::string& member) const;

  const ArchiveFormat& format_;
};

#endif  // VESKA_ANALYZERS_ARCHIVEANALYZER_H_
