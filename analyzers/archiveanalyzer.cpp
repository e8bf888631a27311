#include "analyzers/archiveanalyzer.h"

#include <algorithm>
#include <limits>
#include <string>

#include "analyzers/unicode/textanalyzer.h"
#include "api/reporting.h"
#include "index/index.h"

using namespace veska::unicode;

namespace {

uint32_t recordSize(uint64_t bytes) {
  return static_cast<uint32_t>(std::min<uint64_t>(bytes, std::numeric_limits<uint32_t>::max()));
}

MemberSource sourceOf(ArchiveReader& reader) {
  return [&reader](char* to, size_t bytes) { return reader.read(to, bytes); };
}

// The member that a reader stands at, read where it stands.
class MemberInput : public ByteInput {
 public:
  // format: of the archive.
  MemberInput(CVeskaIndex& index, ArchiveReader& reader, const ArchiveFormat& format,
              MemberStream::Use use)
      : stream_(index, sourceOf(reader), use, format.expands) {}

  size_t read(char* to, size_t bytes) override {
    size_t done = 0;
    while (done < bytes) {
      const size_t got = stream_.read(to + done, bytes - done);
      if (got == 0) break;
      done += got;
    }
    return done;
  }

  bool failed() const override {
    return isDamaged() || stream_.state() == MemberStream::State::kLimited;
  }
  bool isDamaged() const { return stream_.state() == MemberStream::State::kDamaged; }
  uint64_t bytesRead() const { return stream_.bytes(); }

 private:
  MemberStream stream_;
};

}  // namespace

bool CArchiveAnalyzer::indexFile(const char* path, unsigned long parentId) {
  ContainerScope scope(*index, path);
  if (scope.tooDeep()) return true;
  FileInput file(path);
  if (!file.isOpen()) {
    openFailed(scope);
    return false;
  }
  // A member's copy is called otherwise than the member.
  const std::string name = index->files->getText(parentId);
  indexInput(file, name, scope, parentId, containerTime(path, parentId));
  if (file.failed()) readFailed(scope);
  return true;
}

// time: of members that tell none.
void CArchiveAnalyzer::indexInput(ByteInput& input, std::string_view name, ContainerScope& scope,
                                  unsigned long parentId, int64_t time) {
  const std::unique_ptr<ArchiveReader> reader = format_.open(input, name);
  while (!scope.exhausted() && reader->next()) indexMember(*reader, scope, parentId, time);
  if (reader->isDamaged() && !input.failed()) scope.report("Damaged");
  ++index->contentsIndexed;
}

void CArchiveAnalyzer::indexMember(ArchiveReader& reader, ContainerScope& scope,
                                   unsigned long parentId, int64_t time) {
  const std::string name = reader.member().name;
  if (baseName(name).empty()) return;
  if (reader.member().time != 0) time = reader.member().time;
  const uint64_t size = reader.member().size;
  const Member member = enterMember(name.c_str(), parentId, time, recordSize(size));
  if (member.analyzer == nullptr) return;
  scope.beginMember(name);
  switch (reader.open()) {
    case ArchiveReader::Opened::kNeedsPassword:
      return reportProblem("PasswordNeeded", index->expansion.memberPath);
    case ArchiveReader::Opened::kUnreadable:
      return reportProblem("MemberFailed", index->expansion.memberPath);
    default:
      break;
  }
  const uint64_t read = indexContents(reader, member, name, time);
  if (size == 0) enterRecord(name.c_str(), parentId, time, recordSize(read));
}

uint64_t CArchiveAnalyzer::indexContents(ArchiveReader& reader, const Member& member,
                                         const std::string& name, int64_t time) {
  const bool inPlace =
      streamedArchive(member.analyzer) != nullptr || member.analyzer->canUseIndexBuffer();
  return inPlace ? indexInPlace(reader, member, name, time) : indexCopy(reader, member, name);
}

CArchiveAnalyzer* CArchiveAnalyzer::streamedArchive(CFileAnalyzer* analyzer) {
  auto* const archive = dynamic_cast<CArchiveAnalyzer*>(analyzer);
  return archive == nullptr || archive->format_.needsSeek ? nullptr : archive;
}

CArchiveAnalyzer* CArchiveAnalyzer::streamedArchive(const std::string& member) const {
  return streamedArchive(memberAnalyzer(std::string(baseName(member))));
}

uint64_t CArchiveAnalyzer::indexInPlace(ArchiveReader& reader, const Member& member,
                                        const std::string& name, int64_t time) {
  const std::string path = index->expansion.memberPath;
  CArchiveAnalyzer* const archive = streamedArchive(member.analyzer);
  MemberInput input(*index, reader, format_,
                    archive ? MemberStream::Use::kArchive : MemberStream::Use::kDocument);
  if (archive != nullptr) {
    ContainerScope scope(*index, path.c_str());
    if (!scope.tooDeep()) archive->indexInput(input, name, scope, member.id, time);
  } else {
    indexBlocks([&input](char* to, size_t bytes) { return input.read(to, bytes); },
                *member.analyzer, path.c_str(), member.id);
  }
  if (input.isDamaged()) reportProblem("MemberFailed", path);
  return input.bytesRead();
}

// A copy that is cut short has words all the same.
uint64_t CArchiveAnalyzer::indexCopy(ArchiveReader& reader, const Member& member,
                                     const std::string& name) {
  MemberCopy copy(*index, copyPath(member.id, baseName(name)));
  if (!copy.isOpen() ||
      copy.fill(sourceOf(reader), format_.expands) == MemberCopy::Result::kNotWritten)
    return 0;
  member.analyzer->indexFile(copy.path().c_str(), member.id);
  return copy.bytes();
}

bool CArchiveAnalyzer::extractToTempFile(const char* container, const char* member,
                                         const char* tempPath, unsigned long) {
  const std::string name = member;
  return extractNested(container, {&name, 1}, tempPath);
}

size_t CArchiveAnalyzer::levelsInPlace(std::span<const std::string> members) const {
  size_t levels = 1;
  while (levels < members.size() && streamedArchive(members[levels - 1]) != nullptr) ++levels;
  return levels;
}

bool CArchiveAnalyzer::extractNested(const char* container, std::span<const std::string> members,
                                     const char* tempPath) {
  ContainerScope scope(*index, container);
  FileInput file(container);
  return file.isOpen() && extractFrom(file, scope, "", members, tempPath) && !file.failed();
}

// way: down to this archive, each name with a "/" behind it.
bool CArchiveAnalyzer::extractFrom(ByteInput& input, ContainerScope& scope, const std::string& way,
                                   std::span<const std::string> members, const char* tempPath) {
  const std::unique_ptr<ArchiveReader> reader = format_.open(input, {});
  const std::string& wanted = members.front();
  while (reader->next()) {
    if (!format_.isSingle && reader->member().name != wanted) continue;
    if (reader->open() != ArchiveReader::Opened::kYes) return false;
    scope.beginMember(way + wanted);
    if (members.size() == 1) return copyOut(tempPath, sourceOf(*reader), format_.expands);
    CArchiveAnalyzer* const archive = streamedArchive(wanted);
    if (archive == nullptr) return false;
    const std::string path = index->expansion.memberPath;
    MemberInput member(*index, *reader, format_, MemberStream::Use::kArchive);
    const bool extracted =
        archive->extractFrom(member, scope, way + wanted + '/', members.subspan(1), tempPath);
    if (member.isDamaged()) reportProblem("MemberFailed", path);
    return extracted;
  }
  return false;
}

char* CArchiveAnalyzer::fillDisplayBuffer(const char* path, unsigned long fileId,
                                          unsigned long maxBytes, int lineWidth, bool option) {
  return CTextAnalyzer(index, *kindNamed(format_.name))
      .fillDisplayBuffer(path, fileId, maxBytes, lineWidth, option);
}
