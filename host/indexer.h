// Brings the index up to date: one run from the lock to the switch of the generation.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/changes.h"
#include "host/generation.h"
#include "host/home.h"
#include "host/progress.h"
#include "host/session.h"
#include "host/settings.h"
#include "host/state.h"

namespace veska {

struct RunOptions {
  std::vector<std::string> newRoots;  // folders to add, as they were typed
  bool rebuild = false;               // start from nothing
  bool dropMissing = false;           // rebuild although roots are missing
  bool wait = false;                  // for another writer
  bool quiet = false;
};

struct RunResult {
  bool changed = false;  // a new generation is in force
  bool halted = false;
  bool settingsDiffer = false;              // from those under which the files were read
  std::vector<std::string> unknownReaders;  // named by the settings, but not there
  State state;                              // of the generation in force
  double bytesRead = 0;                     // by this run
  uint64_t contentsRead = 0;                // files and members, by this run
};

class Indexer {
 public:
  Indexer(const Home& home, RunOptions options);

  // REQUIRES: catchInterrupts() was called. Fails without a change to the index in force.
  RunResult run();

 private:
  void prepareRoots();
  std::vector<std::string> rootsInForce() const;
  void openBase();
  void look();
  bool isUnseen(const std::string& root) const;
  uint64_t fingerprint() const;
  void build(NewGeneration& next);
  void readSkipWords(Session& session) const;
  void dropTrees(CVeskaIndex* index) const;
  void addTrees(Session& session);
  bool addTree(Session& session, const std::string& root);
  bool finishStep(Session& session);
  void save(Session& session, NewGeneration& next);
  void finishProblems(const std::string& folder);
  void noteProblem(std::string_view key, std::string_view path, int systemError);

  const Home& home_;
  const RunOptions options_;
  Progress progress_;
  const std::function<bool()> interrupted_;

  std::vector<std::string> added_;  // canonical paths of options_.newRoots
  std::optional<WriterLock> lock_;
  std::string scratch_;
  Settings settings_;
  std::optional<Generation> base_;
  State earlier_;
  std::vector<Problem> earlierProblems_;
  Changes changes_;

  RunResult result_;
  std::vector<Problem> problems_;
  uint64_t problemCount_ = 0;
  int convertersError_ = 0;  // why the list of converters could not be read
};

}  // namespace veska
