// The engine speaks through callbacks of the process, which carry no context. One Session is active
// at a time; its hooks are found through a pointer of this file, and the last report waits here
// until somebody asks for it.
#include "host/session.h"

#include <algorithm>
#include <cerrno>
#include <string>

#include "host/encoding.h"
#include "host/state.h"

namespace veska {
namespace {

constexpr double kSecondsFrom1904To1970 = 2082844800.0;

SessionHooks* activeHooks = nullptr;
std::optional<Report> lastReport;
std::string activePlace;  // folder of the index that was opened last

void noteReport(const char* key, const char* detail) {
  const int systemError = errno;
  lastReport = Report{key, detail, systemError, activePlace};
}

bool answerStatus(const char* key, const char* detail, bool) {
  return activeHooks == nullptr || !activeHooks->status || activeHooks->status(key, detail);
}

void noteProblem(const char* key, const char* path) {
  const int systemError = errno;
  if (activeHooks != nullptr && activeHooks->problem) activeHooks->problem(key, path, systemError);
}

// Windows-1252, by byte value.
bool isAssigned(int byte) {
  return byte != 0x81 && byte != 0x8D && byte != 0x8F && byte != 0x90 && byte != 0x9D;
}

bool isLetter(int byte) {
  const bool isDigit = byte >= '0' && byte <= '9';
  return isWordByte(static_cast<unsigned char>(byte)) && !isDigit;
}

bool isPrintable(int byte) { return byte >= 0x20 && byte != 0x7F && isAssigned(byte); }

}  // namespace

void failWithLastReport() {
  const Report report = lastReport.value_or(Report{});
  lastReport.reset();
  fail(errorOf(report));
}

Session::Session(SessionHooks hooks) : hooks_(std::make_unique<SessionHooks>(std::move(hooks))) {
  activeHooks = hooks_.get();
  lastReport.reset();
  vSetThrowCallBack(noteReport);
  vSetWarningCallBack(noteReport);
  vSetStatusCallBack(answerStatus);
  vSetProblemCallBack(noteProblem);
}

Session::Session(Session&& other) noexcept
    : index_(std::exchange(other.index_, nullptr)), hooks_(std::move(other.hooks_)) {}

void Session::close() {
  if (index_ != nullptr) vidxClearIndex(std::exchange(index_, nullptr));
}

Session::~Session() {
  close();
  if (hooks_ && activeHooks == hooks_.get()) activeHooks = nullptr;
}

Session Session::start(bool create, const std::string& folder, bool unicode, SessionHooks hooks) {
  Session session(std::move(hooks));
  activePlace = folder;
  session.index_ = vCreateNewIndex(create, folder.c_str());
  if (session.index_ == nullptr) failWithLastReport();
  vidxSetUnicode(session.index_, unicode);
  vidxSetExactNames(session.index_, true);
  session.setCharacterClasses();
  return session;
}

Session Session::open(const std::string& folder, bool unicode, SessionHooks hooks) {
  return start(false, folder, unicode, std::move(hooks));
}

Session Session::create(const std::string& folder, bool unicode, SessionHooks hooks) {
  return start(true, folder, unicode, std::move(hooks));
}

// Of Unicode text the classes are for ASCII alone.
void Session::setCharacterClasses() {
  for (int byte = 0; byte < 256; ++byte) {
    const bool inWord = isWordByte(static_cast<unsigned char>(byte));
    vidxSetValidCharMask(index_, byte, inWord);
    vidxSetValidTrailingMask(index_, byte, inWord);
    vidxSetValidViewableMask(index_, byte, isPrintable(byte));
    vidxSetNonAlphaCharMask(index_, byte, isPrintable(byte) && !isLetter(byte));
  }
}

std::vector<std::string> Session::applySettings(const Settings& settings,
                                                const std::string& temporaryFolder) {
  vidxSetMinWordLength(index_, settings.shortestWord);
  vidxSetMaxWordLength(index_, settings.longestWord);
  vidxSetTrackAll(index_, settings.recordAllFiles);
  vidxSetMaxPerFileRead(index_, settings.fileBytes);
  vidxSetMaxMemberBytes(index_, settings.memberBytes);
  vidxSetMaxArchiveBytes(index_, settings.archiveBytes);
  vidxSetMaxNesting(index_, settings.archiveLevels);
  vidxSetMaxConverterSeconds(index_, settings.converterSeconds);
  vidxSetTemporaryDirectory(index_, temporaryFolder.c_str());
  engineCall([this] { vidxCreateAnalyzers(index_); });
  std::vector<std::string> unknown;
  vidxSetIncludeCount(index_, static_cast<int>(settings.include.size()));
  for (size_t slot = 0; slot < settings.include.size(); ++slot) {
    const IncludePattern& include = settings.include[slot];
    vidxSetIncludePattern(index_, static_cast<int>(slot), include.pattern.c_str(),
                          include.reader.c_str());
    const bool isUnknown = lastReport && lastReport->key == "AnalyzerNotFound";
    if (isUnknown) lastReport.reset();
    check();
    if (isUnknown && std::find(unknown.begin(), unknown.end(), include.reader) == unknown.end()) {
      unknown.push_back(include.reader);
    }
  }
  vidxSetExcludeCount(index_, static_cast<int>(settings.exclude.size()));
  for (size_t slot = 0; slot < settings.exclude.size(); ++slot) {
    vidxSetExcludePattern(index_, static_cast<int>(slot), settings.exclude[slot].c_str());
  }
  check();
  return unknown;
}

void Session::prepareRun(const State& earlier, int64_t referenceTime, bool isUpdate) {
  vidxSetIsUpdate(index_, isUpdate);
  vidxSetExactUpdate(index_, true);
  vidxSetShowStatus(index_, true);
  vidxSetStatusLevel(index_, 2);
  vidxSetTimeBase(index_, static_cast<double>(referenceTime) + kSecondsFrom1904To1970);
  vidxSetDirectoriesRead(index_, earlier.directoriesRead);
  vidxSetFilesIndexed(index_, earlier.filesIndexed);
  vidxSetContentsIndexed(index_, earlier.contentsIndexed);
  vidxSetWordsIndexed(index_, earlier.wordsIndexed);
  vidxSetBytesRead(index_, earlier.bytesRead);
}

std::optional<Report> Session::takeError() { return std::exchange(lastReport, std::nullopt); }

void Session::check() {
  if (lastReport) failWithLastReport();
}

}  // namespace veska
