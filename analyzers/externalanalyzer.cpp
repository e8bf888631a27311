#include "analyzers/externalanalyzer.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <tuple>
#include <utility>

#include "analyzers/shellcommand.h"
#include "analyzers/tempfile.h"
#include "api/reporting.h"
#include "index/index.h"

namespace {

// Position of the "%" of the next placeholder, npos if there is none.
size_t findPlaceholder(std::string_view command) {
  for (size_t at = 1; at < command.size(); ++at) {
    if (command[at - 1] == '%' && (command[at] == 'i' || command[at] == 'o')) return at - 1;
  }
  return command.npos;
}

bool isRegularFile(const std::string& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

uint64_t fileBytes(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

// Is there output, and is it no older than its source?
bool isCurrent(const std::string& output, const char* source) {
  struct stat made;
  struct stat origin;
  if (lstat(output.c_str(), &made) != 0 || !S_ISREG(made.st_mode)) return false;
  if (stat(source, &origin) != 0) return true;
  return std::tie(made.st_mtim.tv_sec, made.st_mtim.tv_nsec) >=
         std::tie(origin.st_mtim.tv_sec, origin.st_mtim.tv_nsec);
}

// What stands between the first and the last dot of the path's last component, the first included.
std::string_view innerExtensions(std::string_view path) {
  if (const size_t slash = path.rfind('/'); slash != path.npos) path.remove_prefix(slash + 1);
  const size_t first = path.find('.');
  return first == path.npos ? std::string_view() : path.substr(first, path.rfind('.') - first);
}

char* emptyText() { return static_cast<char*>(std::calloc(1, 1)); }

}  // namespace

// Keeps a converter from being handed its own output, directly or by way of others.
class CExternalAnalyzer::Conversion {
 public:
  Conversion(std::vector<unsigned long>& running, unsigned long number)
      : running_(running),
        isLoop_(std::find(running.begin(), running.end(), number) != running.end()) {
    running_.push_back(number);
  }
  ~Conversion() { running_.pop_back(); }
  Conversion(const Conversion&) = delete;
  Conversion& operator=(const Conversion&) = delete;

  bool isLoop() const { return isLoop_; }

 private:
  std::vector<unsigned long>& running_;
  bool isLoop_;
};

CExternalAnalyzer::CExternalAnalyzer(CVeskaIndex* owner, std::string outputExtension,
                                     std::string_view command)
    : CFileAnalyzer(owner), outputExtension_(std::move(outputExtension)) {
  const size_t first = findPlaceholder(command);
  if (first == command.npos) return;
  const std::string_view rest = command.substr(first + 2);
  const size_t second = findPlaceholder(rest);
  if (second == rest.npos) return;
  commandHead_ = command.substr(0, first);
  commandMiddle_ = rest.substr(0, second);
  commandTail_ = rest.substr(second + 2);
  lastPlaceholder_ = rest[second + 1];
}

bool CExternalAnalyzer::canUseIndexBuffer() { return false; }

std::string CExternalAnalyzer::makeTemporaryPath(std::string_view source,
                                                 unsigned long number) const {
  const bool inner = outputExtension_.starts_with("...");
  return temporaryPath(index->temporaryDirectory, number,
                       inner ? std::string(innerExtensions(source)) : '.' + outputExtension_);
}

std::string CExternalAnalyzer::makeCommand(const std::string& source,
                                           const std::string& temporary) const {
  if (lastPlaceholder_ == 0) return {};
  const bool sourceLast = lastPlaceholder_ == 'i';
  const std::string& first = sourceLast ? temporary : source;
  const std::string& second = sourceLast ? source : temporary;
  ShellPlace before;
  before.advance(commandHead_);
  ShellPlace between = before;
  between.advance(commandMiddle_);
  const bool plainOnly = before.isUnsafe() || between.isUnsafe() ||
                         isReadTwice(commandHead_ + commandMiddle_ + commandTail_);
  if (plainOnly && !(isPlainPath(source) && isPlainPath(temporary))) return {};
  return commandHead_ + before.argument(first) + commandMiddle_ + between.argument(second) +
         commandTail_;
}

bool CExternalAnalyzer::createTemporaryFile(const std::string& source,
                                            const std::string& temporary) {
  if (temporary.empty() || temporary == source) return false;
  if (!index->analyzerThatMatches(temporary.c_str())) return false;
  unlink(temporary.c_str());
  const std::string command = makeCommand(source, temporary);
  const bool made =
      !command.empty() && runConverter(command, temporary) && isRegularFile(temporary);
  if (!made)
    report("ConverterFailed", source);
  else if (cutToLimit(temporary))
    report("LimitReached", source);
  return made;
}

bool CExternalAnalyzer::runConverter(const std::string& command, const std::string& temporary) {
  // A byte more than may stay tells output that goes on from output that ends just here.
  const uint64_t most = index->maxMemberBytes == 0 ? 0 : index->maxMemberBytes + 1;
  switch (runShellCommand(command, index->maxConverterSeconds, most)) {
    case CommandResult::kEnded:
      return true;
    case CommandResult::kTimeUp:
      ++index->limitsReached;
      unlink(temporary.c_str());
      return false;
    default:
      index->readFailed = true;
      return false;
  }
}

// Result: the output was longer than a member may be.
bool CExternalAnalyzer::cutToLimit(const std::string& temporary) {
  const unsigned long most = index->maxMemberBytes;
  if (most == 0 || fileBytes(temporary) <= most) return false;
  ++index->limitsReached;
  if (truncate(temporary.c_str(), static_cast<off_t>(most)) != 0) index->readFailed = true;
  return true;
}

bool CExternalAnalyzer::indexFile(const char* path, unsigned long number) {
  const Conversion conversion(converting_, number);
  const std::string temporary = makeTemporaryPath(path, number);
  if (conversion.isLoop() || !createTemporaryFile(path, temporary)) return false;
  CFileAnalyzer* analyzer = index->analyzerThatMatches(temporary.c_str());
  if (!analyzer) return false;
  if (!isRegularFile(temporary)) {
    index->readFailed = true;
    report("ConverterFailed", path);
    return false;
  }
  std::optional<FileRemover> remover;
  if (!analyzer->canUseIndexBuffer()) remover.emplace(temporary);
  return analyzer->indexFile(temporary.c_str(), number);
}

char* CExternalAnalyzer::fillDisplayBuffer(const char* path, unsigned long number,
                                           unsigned long maxBytes, int lineWidth, bool option) {
  const Conversion conversion(converting_, number);
  const std::string temporary = makeTemporaryPath(path, number);
  if (conversion.isLoop() || temporary.empty()) return emptyText();
  if (!isCurrent(temporary, path) && !createTemporaryFile(path, temporary)) return emptyText();
  CFileAnalyzer* analyzer = index->analyzerThatMatches(temporary.c_str());
  if (!analyzer || !isRegularFile(temporary)) return emptyText();
  return analyzer->fillDisplayBuffer(temporary.c_str(), number, maxBytes, lineWidth, option);
}

void CExternalAnalyzer::report(const char* key, const std::string& source) const {
  const Expansion& expansion = index->expansion;
  reportProblem(key, expansion.depth == 0 ? source : expansion.memberPath);
}
