#include "analyzers/zipanalyzer.h"

#include <fcntl.h>
#include <minizip/unzip.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <limits>
#include <memory>

#include "analyzers/zlibmemory.h"
#include "api/reporting.h"
#include "index/index.h"

namespace {

constexpr size_t kMaxNameBytes = 255;
constexpr uLong kEncrypted = 1;  // general purpose flag, bit 0

struct UnzipCloser {
  void operator()(void* archive) const { unzClose(archive); }
};

// The local time that an archive tells, as Unix seconds. Members carry no daylight-saving flag, so
// that of the present moment is taken.
int64_t memberTime(const tm_unz& date) {
  const time_t now = time(nullptr);
  struct tm local = {};
  localtime_r(&now, &local);
  local.tm_sec = static_cast<int>(date.tm_sec);
  local.tm_min = static_cast<int>(date.tm_min);
  local.tm_hour = static_cast<int>(date.tm_hour);
  local.tm_mday = static_cast<int>(date.tm_mday);
  local.tm_mon = static_cast<int>(date.tm_mon);
  local.tm_year = static_cast<int>(date.tm_year) - 1900;
  return mktime(&local);
}

}  // namespace

// An open archive, standing at one of its members.
class CZipAnalyzer::Archive {
 public:
  explicit Archive(const char* path) {
    errno = 0;
    zip_.reset(memoryChecked(unzOpen(path)));
    // The library seeks to where a damaged archive sends it, which may be refused as EINVAL.
    refused_ = !zip_ && errno != 0 && errno != EINVAL;
    unz_global_info global;
    if (zip_ && unzGetGlobalInfo(zip_.get(), &global) == UNZ_OK)
      entries_ = global.number_entry;
    else
      zip_.reset();
  }

  bool isOpen() const { return zip_ != nullptr; }
  // The system refused to open the file; otherwise it is no sound archive.
  bool refused() const { return refused_; }
  uLong entries() const { return entries_; }

  // Reads what the directory says about the member. Result: false when it is damaged.
  bool readInfo() {
    // The library ends a name with a zero only where the buffer leaves room for one.
    char name[kMaxNameBytes + 1] = {};
    if (unzGetCurrentFileInfo(zip_.get(), &info_, name, kMaxNameBytes, nullptr, 0, nullptr, 0) !=
        UNZ_OK) {
      return false;
    }
    name_ = name;
    return true;
  }

  bool next() { return unzGoToNextFile(zip_.get()) == UNZ_OK; }

  const std::string& name() const { return name_; }
  uint32_t size() const { return static_cast<uint32_t>(info_.uncompressed_size); }
  int64_t time() const { return memberTime(info_.tmu_date); }
  bool encrypted() const { return info_.flag & kEncrypted; }

  bool openMember() {
    return !encrypted() && memoryChecked(unzOpenCurrentFile(zip_.get())) == UNZ_OK;
  }
  // Result: false when all was read and the check sum is wrong.
  bool closeMember() { return unzCloseCurrentFile(zip_.get()) == UNZ_OK; }

  MemberSource source() {
    return [this](char* to, size_t bytes) -> long {
      return memoryChecked(unzReadCurrentFile(zip_.get(), to, static_cast<unsigned>(bytes)));
    };
  }

 private:
  std::unique_ptr<void, UnzipCloser> zip_;
  bool refused_ = false;
  uLong entries_ = 0;
  unz_file_info info_ = {};
  std::string name_;
};

bool CZipAnalyzer::indexFile(const char* path, unsigned long parentId) {
  ContainerScope scope(*index, path);
  if (scope.tooDeep()) return true;
  Archive archive(path);
  if (!archive.isOpen()) {
    if (archive.refused())
      openFailed(scope);
    else
      scope.report("Damaged");
    return false;
  }
  if (archive.entries() == 0 || indexMembers(archive, scope, parentId, path)) return true;
  scope.report("Damaged");
  return false;
}

bool CZipAnalyzer::indexMembers(Archive& archive, ContainerScope& scope, unsigned long parentId,
                                const char* path) {
  for (uLong entry = 1;; ++entry) {
    if (!archive.readInfo()) return false;
    // Deliberate: the archive does not move on from a member that cannot be opened.
    if (!indexMember(archive, scope, parentId, path) || scope.exhausted()) return true;
    if (entry >= archive.entries()) return true;
    if (!archive.next()) return false;
  }
}

// Result: false when the member cannot be opened.
bool CZipAnalyzer::indexMember(Archive& archive, ContainerScope& scope, unsigned long parentId,
                               const char* path) {
  const std::string& name = archive.name();
  if (baseName(name).empty()) return true;
  const Member member = enterMember(name.c_str(), parentId, archive.time(), archive.size());
  if (!member.analyzer) return true;
  scope.beginMember(name);
  if (!archive.openMember()) {
    reportProblem(archive.encrypted() ? "PasswordNeeded" : "MemberFailed",
                  index->expansion.memberPath);
    return false;
  }
  if (member.analyzer->canUseIndexBuffer())
    indexInPlace(archive, member, path);
  else
    indexCopy(archive, member, name);
  return true;
}

void CZipAnalyzer::indexInPlace(Archive& archive, const Member& member, const char* path) {
  MemberStream stream(*index, archive.source(), MemberStream::Use::kDocument);
  indexBlocks([&stream](char* to, size_t bytes) { return stream.read(to, bytes); },
              *member.analyzer, path, member.id);
  if (!archive.closeMember() || stream.state() == MemberStream::State::kDamaged) {
    reportProblem("MemberFailed", index->expansion.memberPath);
  }
}

void CZipAnalyzer::indexCopy(Archive& archive, const Member& member, const std::string& name) {
  MemberCopy copy(*index, copyPath(member.id, baseName(name)));
  if (!copy.isOpen()) return;
  const MemberCopy::Result result = copy.fill(archive.source());
  const bool whole = result == MemberCopy::Result::kWhole;
  if (!archive.closeMember() && whole) reportProblem("MemberFailed", index->expansion.memberPath);
  if (whole || result == MemberCopy::Result::kLimited) {
    member.analyzer->indexFile(copy.path().c_str(), member.id);
  }
}

bool CZipAnalyzer::extractToTempFile(const char* container, const char* member,
                                     const char* tempPath, unsigned long) {
  Archive archive(container);
  if (!archive.isOpen()) return false;
  for (uLong entry = 1; entry <= archive.entries() && archive.readInfo(); ++entry) {
    if (archive.name() == member) {
      return archive.openMember() && extract(container, member, tempPath, archive.source());
    }
    if (!archive.next()) return false;
  }
  return false;
}
