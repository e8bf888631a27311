#include "analyzers/gzipanalyzer.h"

#include <zlib.h>

#include <memory>

#include "analyzers/inputfile.h"
#include "analyzers/zlibmemory.h"
#include "index/index.h"

namespace {

constexpr unsigned kBufferBytes = 65536;

struct GzipCloser {
  void operator()(gzFile_s* file) const { gzclose_r(file); }
};

class GzipFile {
 public:
  explicit GzipFile(const char* path) : file_(gzopen(path, "rbe")) {
    if (file_) gzbuffer(file_.get(), kBufferBytes);
  }

  bool isOpen() const { return file_ != nullptr; }

  MemberSource source() {
    return [this](char* to, size_t bytes) -> long {
      const int got = gzread(file_.get(), to, static_cast<unsigned>(bytes));
      if (got > 0) return got;
      // A file that ends in the middle of its data is told by the error state alone.
      int error = Z_OK;
      gzerror(file_.get(), &error);
      return memoryChecked(error) == Z_OK ? 0 : -1;
    };
  }

 private:
  std::unique_ptr<gzFile_s, GzipCloser> file_;
};

}  // namespace

std::string CGZipAnalyzer::memberName(std::string_view path) {
  const std::string_view base = baseName(path);
  const size_t dot = base.rfind('.');
  std::string name(base.substr(0, dot));
  if (dot != base.npos && base.substr(dot) == ".tgz" && !name.empty()) name += ".tar";
  return name;
}

bool CGZipAnalyzer::indexFile(const char* path, unsigned long parentId) {
  ContainerScope scope(*index, path);
  if (scope.tooDeep()) return true;
  const std::string name = memberName(path);
  if (name.empty()) return false;
  Member member{0, memberAnalyzer(name)};
  if (!isWanted(member.analyzer)) return true;
  const int64_t time = containerTime(path, parentId);
  member.id = enterRecord(name.c_str(), parentId, time, 0);
  if (!member.analyzer) return true;

  scope.beginMember(name);
  MemberCopy copy(*index, copyPath(member.id, name));
  {
    GzipFile file(path);
    if (!file.isOpen()) {
      openFailed(scope);
      return false;
    }
    if (!copy.isOpen() || copy.fill(file.source()) == MemberCopy::Result::kNotWritten) return true;
  }
  enterRecord(name.c_str(), parentId, time, static_cast<uint32_t>(copy.bytes()));
  member.analyzer->indexFile(copy.path().c_str(), member.id);
  return true;
}

bool CGZipAnalyzer::extractToTempFile(const char* container, const char* member,
                                      const char* tempPath, unsigned long) {
  GzipFile file(container);
  return file.isOpen() && extract(container, member, tempPath, file.source());
}
