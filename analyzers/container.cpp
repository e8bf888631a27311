#include "analyzers/container.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <memory>
#include <utility>

#include "analyzers/inputfile.h"
#include "api/reporting.h"
#include "index/index.h"

namespace {

constexpr uint64_t kDiskBlockBytes = 4096;

// Bytes that a limit leaves; 0 means that there is no limit.
uint64_t roomBelow(uint64_t limit, uint64_t taken) {
  if (limit == 0) return std::numeric_limits<uint64_t>::max();
  return limit > taken ? limit - taken : 0;
}

void reportLimit(CVeskaIndex& index, const std::string& path) {
  ++index.limitsReached;
  reportProblem("LimitReached", path);
}

}  // namespace

// ---- ContainerScope

ContainerScope::ContainerScope(CVeskaIndex& index, const char* path) : index_(index) {
  Expansion& expansion = index.expansion;
  if (expansion.depth == 0) {
    expansion.exhausted = false;
    expansion.bytes = 0;
    expansion.storedBytes = 0;
    expansion.memberPath = path;
  }
  path_ = expansion.memberPath;
  tooDeep_ = expansion.depth > index.maxNesting;
  if (tooDeep_) reportLimit(index, path_);
  ++expansion.depth;
}

ContainerScope::~ContainerScope() { --index_.expansion.depth; }

bool ContainerScope::exhausted() const { return index_.expansion.exhausted; }

void ContainerScope::beginMember(std::string_view name) {
  std::string& path = index_.expansion.memberPath;
  path.assign(path_).append(1, '/').append(name);
}

void ContainerScope::report(const char* key, int systemError) const {
  reportProblem(key, path_, systemError);
}

// ---- MemberStream

MemberStream::MemberStream(CVeskaIndex& index, MemberSource source, Use use, bool expands)
    : index_(index),
      source_(std::move(source)),
      use_(use),
      expands_(expands),
      path_(index.expansion.memberPath) {}

uint64_t MemberStream::room() const {
  const Expansion& expansion = index_.expansion;
  uint64_t room = std::numeric_limits<uint64_t>::max();
  const auto limit = [&room](uint64_t most, uint64_t taken) {
    room = std::min(room, roomBelow(most, taken));
  };
  if (expands_) limit(index_.maxArchiveBytes, expansion.bytes);
  if (use_ == Use::kCopy || (use_ == Use::kDocument && expands_))
    limit(index_.maxMemberBytes, bytes_);
  if (use_ == Use::kCopy) limit(index_.maxMemberBytes, expansion.storedBytes);
  return room;
}

void MemberStream::reachLimit() {
  state_ = State::kLimited;
  Expansion& expansion = index_.expansion;
  if (roomBelow(index_.maxArchiveBytes, expansion.bytes) == 0) expansion.exhausted = true;
  reportLimit(index_, path_);
}

size_t MemberStream::read(char* to, size_t bytes) {
  if (state_ != State::kOpen || bytes == 0) return 0;
  const uint64_t most = room();
  // A byte more than there is room for tells a member that goes on from one that ends just here.
  const size_t wanted = most < bytes ? static_cast<size_t>(most) + 1 : bytes;
  const long got = source_(to, wanted);
  if (got <= 0) {
    state_ = got < 0 ? State::kDamaged : State::kEnded;
    return 0;
  }
  const auto taken = static_cast<size_t>(std::min<uint64_t>(static_cast<uint64_t>(got), most));
  bytes_ += taken;
  if (expands_) index_.expansion.bytes += taken;
  if (use_ == Use::kCopy) index_.expansion.storedBytes += taken;
  if (taken < static_cast<uint64_t>(got)) reachLimit();
  return taken;
}

// ---- MemberCopy

MemberCopy::MemberCopy(CVeskaIndex& index, std::string path)
    : index_(index), file_(std::move(path)) {
  if (file_.isOpen()) return;
  const int reason = errno;
  if (!file_.path().empty()) index.readFailed = true;
  reportProblem("MemberFailed", index.expansion.memberPath, file_.path().empty() ? 0 : reason);
}

MemberCopy::~MemberCopy() {
  if (!kept_) index_.expansion.storedBytes -= bytes_;
}

// What stays counts as stored until the top file ends, in whole blocks: thousands of small files
// fill a disk as well.
void MemberCopy::keep() {
  file_.keep();
  kept_ = true;
  Expansion& expansion = index_.expansion;
  expansion.storedBytes += (kDiskBlockBytes - bytes_ % kDiskBlockBytes) % kDiskBlockBytes;
  if (roomBelow(index_.maxMemberBytes, expansion.storedBytes) != 0 || expansion.exhausted) return;
  expansion.exhausted = true;
  reportLimit(index_, expansion.memberPath);
}

MemberCopy::Result MemberCopy::copy(MemberStream& stream) {
  const auto block = std::make_unique<char[]>(CFileAnalyzer::kBlockBytes);
  while (const size_t count = stream.read(block.get(), CFileAnalyzer::kBlockBytes)) {
    if (!file_.write(block.get(), count)) return Result::kNotWritten;
  }
  if (!file_.close()) return Result::kNotWritten;
  switch (stream.state()) {
    case MemberStream::State::kLimited:
      return Result::kLimited;
    case MemberStream::State::kDamaged:
      return Result::kDamaged;
    default:
      return Result::kWhole;
  }
}

MemberCopy::Result MemberCopy::fill(MemberSource source, bool expands) {
  MemberStream stream(index_, std::move(source), MemberStream::Use::kCopy, expands);
  const Result result = copy(stream);
  const int reason = result == Result::kNotWritten ? errno : 0;
  bytes_ = stream.bytes();
  if (result == Result::kNotWritten) index_.readFailed = true;
  if (result == Result::kNotWritten || result == Result::kDamaged) {
    reportProblem("MemberFailed", index_.expansion.memberPath, reason);
  }
  return result;
}

// ---- CContainerAnalyzer

bool CContainerAnalyzer::canUseIndexBuffer() { return false; }

std::string_view CContainerAnalyzer::baseName(std::string_view name) {
  const size_t separator = name.find_last_of("/\\");
  return separator == name.npos ? name : name.substr(separator + 1);
}

int32_t CContainerAnalyzer::recordTime(int64_t seconds) {
  using Limits = std::numeric_limits<int32_t>;
  return static_cast<int32_t>(std::clamp<int64_t>(seconds, Limits::min(), Limits::max()));
}

CFileAnalyzer* CContainerAnalyzer::memberAnalyzer(const std::string& base) const {
  CFileAnalyzer* analyzer = index->analyzerThatMatches(base.c_str());
  return analyzer && index->isExcluded(base.c_str()) ? nullptr : analyzer;
}

bool CContainerAnalyzer::isWanted(const CFileAnalyzer* analyzer) const {
  return analyzer || index->trackAll;
}

bool CContainerAnalyzer::isUpToDate(const char* name, unsigned long parentId, int64_t time) const {
  return index->isUpdate && time <= index->timeBase &&
         index->files->lookupFile(name, parentId) != 0;
}

uint32_t CContainerAnalyzer::enterRecord(const char* name, unsigned long parentId, int64_t time,
                                         uint32_t size) {
  auto id = static_cast<uint32_t>(index->files->lookupFile(name, parentId));
  if (id == 0) {
    ++index->filesIndexed;
    id = static_cast<uint32_t>(index->files->addFile(name));
  }
  index->files->setInfo(id, {static_cast<uint32_t>(parentId), recordTime(time), size, 0});
  return id;
}

CContainerAnalyzer::Member CContainerAnalyzer::enterMember(const char* name, unsigned long parentId,
                                                           int64_t time, uint32_t size) {
  if (isUpToDate(name, parentId, time)) return {};
  CFileAnalyzer* analyzer = memberAnalyzer(std::string(baseName(name)));
  if (!isWanted(analyzer)) return {};
  return {enterRecord(name, parentId, time, size), analyzer};
}

// With exact updates, the record of a file has its time only once the file was read to the end.
int64_t CContainerAnalyzer::containerTime(const char* path, unsigned long parentId) const {
  const int32_t recorded = index->files->info(static_cast<uint32_t>(parentId)).time;
  return recorded == 0 && index->exactUpdate && index->expansion.depth == 1 ? InputFile(path).time()
                                                                            : recorded;
}

std::string CContainerAnalyzer::copyPath(uint32_t recordId, std::string_view base) const {
  return temporaryPath(index->temporaryDirectory, recordId, base);
}

bool CContainerAnalyzer::extract(const char* container, const char* member, const char* tempPath,
                                 MemberSource source) const {
  ContainerScope scope(*index, container);
  scope.beginMember(member);
  return copyOut(tempPath, std::move(source));
}

bool CContainerAnalyzer::copyOut(const char* tempPath, MemberSource source, bool expands) const {
  MemberCopy copy(*index, tempPath);
  if (!copy.isOpen() || copy.fill(std::move(source), expands) == MemberCopy::Result::kNotWritten)
    return false;
  copy.keep();
  return true;
}

void CContainerAnalyzer::openFailed(const ContainerScope& scope) const {
  const int reason = errno;
  index->readFailed = true;
  scope.report("OpenFailed", reason);
}

void CContainerAnalyzer::readFailed(const ContainerScope& scope) const {
  index->readFailed = true;
  scope.report("ReadFailed");
}
