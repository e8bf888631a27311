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
  const auto* const archive = dynamic_cast<CArchiveAnalyzer*>(member.analyzer);
  const bool inPlace =
      archive != nullptr ? archive->isStreamed() : member.analyzer->canUseIndexBuffer();
  return inPlace ? indexInPlace(reader, member, name, time) : indexCopy(reader, member, name);
}

uint64_t CArchiveAnalyzer::indexInPlace(ArchiveReader& reader, const Member& member,
                                        const std::string& name, int64_t time) {
  const std::string path = index->expansion.memberPath;
  uint64_t bytesRead = 0;
  bool damaged = false;
  MemberStream limited(*index, sourceOf(reader), false);
  // What stands in the archive as it is concerns no limit on what expands.
  const auto read = [&](char* to, size_t bytes) -> size_t {
    if (format_.expands) return limited.read(to, bytes);
    const long got = reader.read(to, bytes);
    damaged = damaged || got < 0;
    return static_cast<size_t>(std::max(got, 0L));
  };
  StreamInput stream([&](char* to, size_t bytes) {
    size_t done = 0;
    while (done < bytes) {
      const size_t got = read(to + done, bytes - done);
      if (got == 0) break;
      done += got;
    }
    bytesRead += done;
    return done;
  });
  if (auto* const archive = dynamic_cast<CArchiveAnalyzer*>(member.analyzer)) {
    ContainerScope scope(*index, path.c_str());
    if (!scope.tooDeep()) archive->indexInput(stream, name, scope, member.id, time);
  } else {
    indexBlocks([&stream](char* to, size_t bytes) { return stream.read(to, bytes); },
                *member.analyzer, path.c_str(), member.id);
  }
  if (damaged || limited.state() == MemberStream::State::kDamaged)
    reportProblem("MemberFailed", path);
  return bytesRead;
}

// A copy that is cut short has words all the same.
uint64_t CArchiveAnalyzer::indexCopy(ArchiveReader& reader, const Member& member,
                                     const std::string& name) {
  MemberCopy copy(*index, copyPath(member.id, baseName(name)));
  if (!copy.isOpen() || copy.fill(sourceOf(reader)) == MemberCopy::Result::kNotWritten) return 0;
  member.analyzer->indexFile(copy.path().c_str(), member.id);
  return copy.bytes();
}

bool CArchiveAnalyzer::extractToTempFile(const char* container, const char* member,
                                         const char* tempPath, unsigned long) {
  FileInput file(container);
  if (!file.isOpen()) return false;
  const std::unique_ptr<ArchiveReader> reader = format_.open(file, container);
  const bool single = format_.isSingle;
  while (reader->next()) {
    if (!single && reader->member().name != member) continue;
    return reader->open() == ArchiveReader::Opened::kYes &&
           extract(container, member, tempPath, sourceOf(*reader)) && !file.failed();
  }
  return false;
}

char* CArchiveAnalyzer::fillDisplayBuffer(const char* path, unsigned long fileId,
                                          unsigned long maxBytes, int lineWidth, bool option) {
  return CTextAnalyzer(index, *kindNamed(format_.name))
      .fillDisplayBuffer(path, fileId, maxBytes, lineWidth, option);
}
