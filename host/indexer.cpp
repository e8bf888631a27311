// The run works on a copy of the index in force and replaces that only at its end, so whatever
// stops it does no harm. Ctrl-C is no failure: what was read until then is sorted, saved and put in
// force, and the next run goes on from there. Only a halted rebuild is thrown away, since the index
// that it would replace knows more.
#include "host/indexer.h"

#include <sys/random.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <iterator>
#include <utility>

#include "host/accents.h"
#include "host/errors.h"
#include "host/files.h"
#include "host/signals.h"

namespace veska {
namespace {

constexpr double kSecondsFrom1904To1970 = 2082844800.0;

uint64_t newLineage() {
  // Fewer bits than there are, so that every reader of JSON keeps the number exactly.
  constexpr uint64_t kMask = (uint64_t{1} << 53) - 1;
  uint64_t number = 0;
  while (number == 0) {
    if (::getrandom(&number, sizeof number, 0) != sizeof number) {
      failWithErrno("cannot draw a random number", errno);
    }
    number &= kMask;
  }
  return number;
}

// What the system lacked for a while is no fault of the file.
bool isShortage(int systemError) {
  constexpr int kShortages[] = {ENOMEM, EMFILE, ENFILE, ENOSPC, EDQUOT, EFBIG, EAGAIN};
  return std::find(std::begin(kShortages), std::end(kShortages), systemError) !=
         std::end(kShortages);
}

// The next run tries again once the rights of the file have changed.
bool isAboutAccess(std::string_view key) { return key == "OpenFailed" || key == "ReadFailed"; }

std::string checkedRoot(const std::string& typed, const Home& home) {
  struct stat info;
  if (::stat(typed.c_str(), &info) != 0) failWithErrno("cannot index " + typed, errno);
  if (!S_ISDIR(info.st_mode)) {
    fail("cannot index " + typed + ": it is no folder", "name the folder that holds it");
  }
  std::string path = canonicalPath(typed);
  if (liesIn(path, home.root())) {
    fail("cannot index " + typed + ": the index itself lies there", "choose another folder");
  }
  return path;
}

bool contains(const std::vector<std::string>& list, const std::string& value) {
  return std::find(list.begin(), list.end(), value) != list.end();
}

bool liesInAny(const std::string& path, const std::vector<std::string>& folders) {
  return std::any_of(folders.begin(), folders.end(),
                     [&](const std::string& folder) { return liesIn(path, folder); });
}

// The bytes of the file, none when it does not exist. Fails when it cannot be read.
std::string textIfThere(const std::string& path) {
  std::string text;
  if (!readWholeFile(path, &text) && errno != ENOENT) failWithErrno("cannot read " + path, errno);
  return text;
}

// Marks the folders that `chosen` names by their path, with all files directly in them, obsolete.
// Members of archives go with their archive. REQUIRES: the tables are writable.
void markFoldersObsolete(CVeskaIndex* index, const std::function<bool(const char*)>& chosen) {
  CFileStorage* files = vidxGetFiles(index);
  const auto isObsolete = [](const char* name) {
    return static_cast<unsigned char>(name[0]) == 0xFF;
  };
  std::vector<unsigned long> folders;
  for (auto id = vfsGetFirst(files); id != 0; id = vfsGetNext(files, id)) {
    void* record = recordFields(files, id);
    const char* name = vfiGetFileName(record);
    if (isObsolete(name) || vfiGetFileParentID(record) != 0) continue;
    if (chosen(name)) folders.push_back(id);
  }
  if (folders.empty()) return;
  for (auto id = vfsGetFirst(files); id != 0; id = vfsGetNext(files, id)) {
    void* record = recordFields(files, id);
    const unsigned long folder = vfiGetFileParentID(record) == 0 ? id : vfiGetFileParentID(record);
    if (isObsolete(vfiGetFileName(record))) continue;
    if (std::binary_search(folders.begin(), folders.end(), folder)) vfiMarkFileObsolete(record);
  }
}

}  // namespace

Indexer::Indexer(const Home& home, RunOptions options)
    : home_(home),
      options_(std::move(options)),
      progress_(options_.quiet),
      interrupted_([] { return haltRequested(); }) {}

RunResult Indexer::run() {
  for (const std::string& typed : options_.newRoots) added_.push_back(checkedRoot(typed, home_));
  result_.state.referenceTime = static_cast<int64_t>(std::time(nullptr));
  if (added_.empty() && home_.currentNumber() == 0) {
    settings_ = readSettings(home_.settingsFile());
    if (settings_.roots.empty()) home_.requireCurrent();
  }
  lock_.emplace(home_, options_.wait);
  prepareRoots();
  openBase();
  look();
  if (base_ && !options_.rebuild && !changes_.any) {
    const int64_t reference = result_.state.referenceTime;
    result_.state = earlier_;
    result_.state.referenceTime = reference;
    result_.state.missingRoots = changes_.missingRoots;
    return std::move(result_);
  }
  NewGeneration next(home_, *lock_);
  build(next);
  return std::move(result_);
}

// Writes veska.toml when there is none yet, and adds the new roots to it.
void Indexer::prepareRoots() {
  const std::string path = home_.settingsFile();
  std::string text;
  const bool exists = readWholeFile(path, &text);
  if (!exists && errno != ENOENT) failWithErrno("cannot read " + path, errno);
  std::vector<std::string> roots = added_;
  if (!exists) {
    text = defaultSettingsText();
    // A settings file that was thrown away is no order to drop everything.
    const std::vector<std::string> known = rootsInForce();
    roots.insert(roots.begin(), known.begin(), known.end());
  }
  const std::string edited = withRootsAdded(text, roots, path);
  if (!exists || edited != text) replaceFile(path, edited);
  settings_ = parseSettings(edited, path);
}

std::vector<std::string> Indexer::rootsInForce() const {
  const std::optional<Generation> current = home_.openCurrent();
  const std::optional<State> state = current ? readState(current->path) : std::nullopt;
  return state ? state->roots : std::vector<std::string>();
}

void Indexer::openBase() {
  sweepGenerations(home_, *lock_);
  // A rebuild is the way out of a damaged index: it makes do with what can be read of it.
  if (options_.rebuild) return;
  base_ = home_.openCurrent();
  if (!base_) return;
  std::optional<State> state = readState(base_->path);
  if (!state) {
    fail("the file " + base_->path + "state.json is missing", "repair with: veska rebuild");
  }
  earlier_ = std::move(*state);
  earlierProblems_ = readProblems(base_->path);
}

// Finds what there is to do, without writing.
void Indexer::look() {
  result_.settingsDiffer = base_ && earlier_.settings != fingerprint();
  if (!base_) {
    for (const std::string& root : settings_.roots) {
      if (!isUnseen(root)) continue;
      const std::string reason = errno != 0 ? std::string(": ") + std::strerror(errno) : "";
      if (options_.rebuild && !options_.dropMissing) {
        fail("cannot rebuild: " + root + " is missing or empty" + reason,
             "its entries would be lost; mount it, take it out of veska.toml, or use "
             "--drop-missing");
      }
      changes_.missingRoots.push_back(root);
    }
    return;
  }
  progress_.phase("looking for changes");
  // Until a rebuild the index goes on as it was made.
  settings_ = settings_.forText(earlier_.unicode);
  Session session = Session::open(base_->path, earlier_.unicode);
  const std::vector<uint64_t> cached = cachedRecords(home_, earlier_.lineage);
  ChangeFinder finder(session.index(), settings_, earlier_, earlierProblems_, home_.root());
  changes_ = finder.find(cached, interrupted_);
  sweepCache(home_, *lock_, earlier_.lineage, [this](uint64_t id) {
    return std::binary_search(changes_.liveCached.begin(), changes_.liveCached.end(), id);
  });
  // Put in, a missing root has nothing to be read; taken out, it has entries to be dropped.
  for (const std::string& root : settings_.roots) {
    const bool isMissing = lookAtRoot(root) == RootSight::kMissing;
    if (!contains(earlier_.roots, root) && !isMissing) changes_.any = true;
  }
  for (const std::string& root : earlier_.roots) {
    if (!contains(settings_.roots, root)) changes_.any = true;
  }
}

// A rebuild cannot tell an empty root from an unplugged disk, unless it was just named.
bool Indexer::isUnseen(const std::string& root) const {
  const RootSight sight = lookAtRoot(root);
  return sight == RootSight::kMissing ||
         (options_.rebuild && sight == RootSight::kEmpty && !contains(added_, root));
}

void Indexer::build(NewGeneration& next) {
  if (base_) {
    // What is damaged must not be saved anew, under checksums that fit.
    if (sumTables(base_->path) != earlier_.tables) {
      fail("the index in " + base_->path + " is damaged: a table is not as it was saved",
           "see what is wrong with: veska verify; repair with: veska rebuild");
    }
    progress_.phase("copying the index");
    next.copyTables(*base_, interrupted_);
  } else {
    earlier_ = State{};
    earlier_.lineage = newLineage();
    earlier_.settings = fingerprint();
    earlier_.unicode = settings_.unicode;
  }
  scratch_ = home_.cacheFolder(earlier_.lineage);
  makePrivateFolder(scratch_);
  progress_.setScratchFolder(scratch_);

  CVeskaIndex* index = nullptr;
  SessionHooks hooks;
  hooks.status = [&](std::string_view key, std::string_view detail) {
    progress_.report(index, key, detail);
    return !haltRequested();
  };
  hooks.problem = [this](std::string_view key, std::string_view path, int systemError) {
    noteProblem(key, path, systemError);
  };
  Session session = base_ ? Session::open(next.path(), earlier_.unicode, std::move(hooks))
                          : Session::create(next.path(), earlier_.unicode, std::move(hooks));
  index = session.index();
  result_.unknownReaders = session.applySettings(settings_, scratch_);
  if (convertersError_ != 0)
    failWithErrno("cannot read " + home_.convertersFile(), convertersError_);
  session.prepareRun(earlier_, result_.state.referenceTime, base_.has_value());
  for (const std::string& root : changes_.missingRoots) vidxKeepTree(index, root.c_str());
  if (base_) {
    vidxPrune(index);
  } else {
    readSkipWords(session);
    vidxNewFileLinks(index);
  }
  if (finishStep(session)) {
    engineCall([&] { dropTrees(index); });
    addTrees(session);
  }
  if (result_.halted && options_.rebuild && home_.currentNumber() != 0) {
    fail("the rebuild was interrupted; the index is as it was", "", kExitInterrupted);
  }
  progress_.phase("sorting the words");
  vidxCompressLinks(index);
  session.check();
  save(session, next);
}

uint64_t Indexer::fingerprint() const {
  const std::string skipWords = textIfThere(home_.skipFile());
  const std::string converters = textIfThere(home_.convertersFile());
  return settings_.fingerprint(skipWords + '\0' + converters);
}

void Indexer::readSkipWords(Session& session) const {
  struct stat info;
  if (::stat(home_.skipFile().c_str(), &info) != 0) {
    if (errno == ENOENT) return;
    failWithErrno("cannot read " + home_.skipFile(), errno);
  }
  vidxIndexExclusions(session.index());
  session.check();
}

// Result: false when the step was halted. Fails when it failed.
bool Indexer::finishStep(Session& session) {
  const std::optional<Report> error = session.takeError();
  if (error && error->key != "HaltRequested") {
    fail(errorOf(*error));
  }
  result_.halted = result_.halted || error.has_value() || haltRequested();
  return !result_.halted;
}

// Takes out what lies below no root any more, and what a new root above it will read anew: the
// engine would count its words twice.
void Indexer::dropTrees(CVeskaIndex* index) const {
  CFileStorage* files = vidxGetFiles(index);
  std::vector<std::string> fresh;
  for (const std::string& root : settings_.roots) {
    const bool isKnown = vfsLookupFile(files, root.c_str(), 0) != 0;
    if (!isKnown && lookAtRoot(root) != RootSight::kMissing) fresh.push_back(root);
  }
  markFoldersObsolete(index, [&](const char* path) {
    return liesInAny(path, fresh) || !liesInAny(path, settings_.roots);
  });
}

void Indexer::addTrees(Session& session) {
  for (const std::string& root : settings_.roots) {
    if (!addTree(session, root)) return;
  }
}

bool Indexer::addTree(Session& session, const std::string& root) {
  CFileStorage* files = vidxGetFiles(session.index());
  struct stat info;
  const bool known = engineCall([&] { return vfsLookupFile(files, root.c_str(), 0) != 0; });
  if (known) return true;
  if (::stat(root.c_str(), &info) != 0) {
    if (errno == ENOENT || errno == ENOTDIR) return true;
    failWithErrno("cannot index " + root, errno);
  }
  if (!S_ISDIR(info.st_mode)) return true;
  const unsigned long id = vfsAddFile(files, root.c_str());
  session.check();
  engineCall([&] {
    vfiSetFileTimeLastWritten(recordFields(files, id),
                              static_cast<double>(info.st_mtime) + kSecondsFrom1904To1970);
  });
  vidxIndexDirectory(session.index(), root.c_str(), id);
  return finishStep(session);
}

void Indexer::save(Session& session, NewGeneration& next) {
  progress_.phase("saving");
  CVeskaIndex* index = session.index();
  vidxStoreStorage(index, next.path().c_str());
  session.check();
  State& state = result_.state;
  state.version = VESKA_VERSION;
  state.lineage = earlier_.lineage;
  state.settings = earlier_.settings;
  state.unicode = earlier_.unicode;
  state.complete = !result_.halted;
  state.roots = settings_.roots;
  state.missingRoots = changes_.missingRoots;
  state.directoriesRead = vidxGetDirectoriesRead(index);
  state.filesIndexed = vidxGetFilesIndexed(index);
  state.contentsIndexed = vidxGetContentsIndexed(index);
  state.wordsIndexed = vidxGetWordsIndexed(index);
  state.bytesRead = vidxGetBytesRead(index);
  result_.bytesRead = state.bytesRead - earlier_.bytesRead;
  result_.contentsRead = state.contentsIndexed - earlier_.contentsIndexed;
  countRecords(index, &state);
  if (state.unicode) {
    const std::string known = base_ ? base_->path : std::string();
    state.lastAccentsWord = writeAccents(index, next.path(), known, earlier_.lastAccentsWord);
  }
  session.close();
  removeTree(next.path() + "temp");
  finishProblems(next.path());
  state.finishTime = static_cast<int64_t>(std::time(nullptr));
  state.tables = sumTables(next.path());
  writeState(next.path(), state);
  next.commit();
  result_.changed = true;
  base_.reset();
  sweepGenerations(home_, *lock_);
}

void Indexer::noteProblem(std::string_view key, std::string_view path, int systemError) {
  if (path == home_.convertersFile()) convertersError_ = systemError;
  ++problemCount_;
  if (problems_.size() >= kMostProblemsListed) return;
  Problem problem{std::string(key), std::string(path), systemError};
  // Without time and size it differs from the file as it is: the next run tries again.
  if (!isShortage(systemError)) statOfProblem(problem.path, &problem);
  problems_.push_back(std::move(problem));
}

// Adds what earlier runs passed over and this one had no reason to try again.
void Indexer::finishProblems(const std::string& folder) {
  for (const Problem& old : earlierProblems_) {
    const auto isSame = [&](const Problem& problem) { return problem.path == old.path; };
    Problem now{old.key, old.path, old.systemError};
    if (std::any_of(problems_.begin(), problems_.end(), isSame)) continue;
    if (!liesInAny(old.path, settings_.roots)) continue;
    const bool isKept = liesInAny(old.path, changes_.missingRoots);
    const bool isThere = statOfProblem(old.path, &now);
    // New rights or a new owner leave what was found in a file as it was.
    const bool isUnchanged = isThere && now.modified == old.modified && now.size == old.size &&
                             (now.changed == old.changed || !isAboutAccess(old.key));
    if ((!isUnchanged || old.key == "FolderUnreadable") && !isKept) continue;
    ++problemCount_;
    if (problems_.size() < kMostProblemsListed) problems_.push_back(old);
  }
  writeProblems(folder, problems_);
  result_.state.problemCount = problemCount_;
}

}  // namespace veska
