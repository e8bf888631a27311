#include "analyzers/taranalyzer.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <utility>

#include "analyzers/inputfile.h"
#include "analyzers/tarheader.h"
#include "index/index.h"

using namespace veska::tar;

namespace {

constexpr uint64_t kChunkBytes = 65536;

constexpr unsigned char kBinary = 0x80;
constexpr unsigned char kNegativeBinary = 0xFF;

// A big-endian two's complement number below the mark bit; values out of reach become the nearest
// in reach.
int64_t readBinary(const unsigned char* field, size_t bytes) {
  using Limits = std::numeric_limits<int64_t>;
  int64_t value = (field[0] & 0x7F) - (field[0] & 0x40 ? 0x80 : 0);
  for (size_t i = 1; i < bytes; ++i) {
    if (value > Limits::max() >> 8) return Limits::max();
    if (value < Limits::min() >> 8) return Limits::min();
    value = value * 256 + field[i];
  }
  return value;
}

// Leniently: what stands before the first octal digit is passed over, what follows the last
// ignored.
int64_t readNumber(const char* header, Field field) {
  const auto* at = reinterpret_cast<const unsigned char*>(header) + field.offset;
  if (at[0] == kBinary || at[0] == kNegativeBinary) return readBinary(at, field.bytes);
  const auto isDigit = [](unsigned char c) { return c >= '0' && c <= '7'; };
  const auto* const end = at + field.bytes;
  int64_t value = 0;
  for (at = std::find_if(at, end, isDigit); at != end && isDigit(*at); ++at) {
    value = value * 8 + (*at - '0');
  }
  return value;
}

}  // namespace

// An open archive, standing at one of its members.
class CTarAnalyzer::Archive {
 public:
  explicit Archive(const char* path) : file_(path) {}

  bool isOpen() const { return file_.isOpen(); }
  bool readFailed() const { return file_.failed(); }

  // Reads the next header. Result: false at the end of the archive.
  bool next() {
    char header[kHeaderBytes];
    if (next_ > file_.size()) return false;
    file_.seek(next_);
    if (file_.read(header, kHeaderBytes) != kHeaderBytes || header[0] == 0) return false;
    name_.assign(header, strnlen(header, kName.bytes));
    time_ = readNumber(header, kTime);
    regular_ = header[kKind] == 0 || header[kKind] == '0';
    const int64_t size = readNumber(header, kSize);
    size_ = static_cast<uint64_t>(size < 0 ? std::numeric_limits<int64_t>::max() : size);
    data_ = next_ + kHeaderBytes;
    next_ = data_ + paddedSize();
    return true;
  }

  // Deliberate: nothing follows the header of a folder, whatever size it tells.
  void skipFolder() {
    size_ = 0;
    next_ = data_;
  }

  const std::string& name() const { return name_; }
  int64_t time() const { return time_; }
  bool isRegular() const { return regular_; }
  uint64_t size() const { return size_; }
  bool isCutOff() const { return data_ + size_ > file_.size(); }

  // The member's bytes as far as the file has them.
  MemberSource source() { return file_.source(data_, std::min(size_, bytesLeft())); }
  // As above, with the zeros that fill its last block.
  MemberSource paddedSource() { return file_.source(data_, std::min(paddedSize(), bytesLeft())); }

 private:
  uint64_t paddedSize() const { return (size_ + kHeaderBytes - 1) / kHeaderBytes * kHeaderBytes; }
  uint64_t bytesLeft() const { return data_ < file_.size() ? file_.size() - data_ : 0; }

  InputFile file_;
  uint64_t next_ = 0;  // header
  uint64_t data_ = 0;
  std::string name_;
  int64_t time_ = 0;
  uint64_t size_ = 0;
  bool regular_ = false;
};

bool CTarAnalyzer::indexFile(const char* path, unsigned long parentId) {
  ContainerScope scope(*index, path);
  if (scope.tooDeep()) return true;
  Archive archive(path);
  if (!archive.isOpen()) {
    openFailed(scope);
    return false;
  }
  while (!scope.exhausted() && archive.next()) {
    if (baseName(archive.name()).empty())
      archive.skipFolder();
    else if (archive.isRegular())
      indexMember(archive, scope, parentId, path);
  }
  if (archive.readFailed())
    readFailed(scope);
  else if (archive.isCutOff())
    scope.report("Damaged");
  ++index->contentsIndexed;
  return true;
}

void CTarAnalyzer::indexMember(Archive& archive, ContainerScope& scope, unsigned long parentId,
                               const char* path) {
  const std::string& name = archive.name();
  const uint64_t size = std::min<uint64_t>(archive.size(), std::numeric_limits<uint32_t>::max());
  const Member member =
      enterMember(name.c_str(), parentId, archive.time(), static_cast<uint32_t>(size));
  if (!member.analyzer) return;
  scope.beginMember(name);
  if (member.analyzer->canUseIndexBuffer())
    indexInPlace(archive, member, path);
  else
    indexCopy(archive, member, name);
}

// The bytes stand in the archive as they are, so that no limit on what expands concerns them.
void CTarAnalyzer::indexInPlace(Archive& archive, const Member& member, const char* path) {
  const MemberSource source = archive.source();
  const auto chunk = std::make_unique<char[]>(kChunkBytes);
  uint64_t left = index->maxPerFileRead;
  bool firstChunk = true;
  index->pendingWord[0] = 0;
  while (const long got = source(chunk.get(), static_cast<size_t>(std::min(left, kChunkBytes)))) {
    if (got < 0) break;
    const auto bytes = static_cast<unsigned long>(got);
    index->pendingWord[0] = 0;
    member.analyzer->indexBuffer(chunk.get(), bytes, member.id, std::exchange(firstChunk, false));
    index->countBytesRead(bytes, path);
    left -= bytes;
  }
}

// Deliberate: the copy has the padded length. Readers of files do not mind zeros at the end.
void CTarAnalyzer::indexCopy(Archive& archive, const Member& member, const std::string& name) {
  MemberCopy copy(*index, copyPath(member.id, baseName(name)));
  if (!copy.isOpen()) return;
  const MemberCopy::Result result = copy.fill(archive.paddedSource());
  if (result == MemberCopy::Result::kNotWritten) return;
  member.analyzer->indexFile(copy.path().c_str(), member.id);
}

bool CTarAnalyzer::extractToTempFile(const char* container, const char* member,
                                     const char* tempPath, unsigned long) {
  Archive archive(container);
  while (archive.isOpen() && archive.next()) {
    if (baseName(archive.name()).empty())
      archive.skipFolder();
    else if (archive.isRegular() && archive.name() == member)
      return extract(container, member, tempPath, archive.source());
  }
  return false;
}
