// Runs the real program in a folder of its own and compares all that it prints.
#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/types.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/support/tempdir.h"

namespace veska::test {

struct Outcome {
  int status = -1;  // exit status; 128 + number when a signal ended it
  std::string out;  // the case's folder stands as DIR, times as in "1.5 s" as T s
  std::string err;  // as out

  bool operator==(const Outcome&) const = default;
};
std::ostream& operator<<(std::ostream& stream, const Outcome& outcome);

// What is special about the surroundings of a run.
struct Surroundings {
  std::map<std::string, std::string> variables;  // on top of those that every run has
  std::map<int, rlim_t> limits;                  // RLIMIT_...: the number
  unsigned seconds = 0;                          // SIGALRM ends it then; 0: never
};

// A run that goes on beside the case.
class RunningProgram {
 public:
  RunningProgram(std::vector<std::string> words, const std::string& folder,
                 const Surroundings& surroundings = {});
  ~RunningProgram();  // kills it
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;

  void signal(int number) const;
  Outcome wait();
  pid_t process() const { return process_; }

 private:
  std::string folder_;
  pid_t process_ = -1;
  std::string outPath_;
  std::string errPath_;
};

class ProgramTest : public testing::Test {
 protected:
  // The home is DIR/home, the working directory DIR. Locale and colours of the surroundings are
  // off.
  Outcome run(std::vector<std::string> words, const Surroundings& surroundings = {}) const;
  // The same under another locale, which need not be installed: "C", "de_DE.ISO-8859-1".
  Outcome runIn(const std::string& locale, std::vector<std::string> words) const;
  // out of a run that must end with status 0 and without remarks.
  std::string out(std::vector<std::string> words) const;

  std::string path(const std::string& name) const { return dir_ / name; }
  void write(const std::string& name, const std::string& text) const {
    writeFile(path(name), text);
  }
  // Gives the file another time, so that a change within the second is seen.
  void setTime(const std::string& name, long secondsSince1970) const;
  // The same for a folder and all that it holds.
  void setTimes(const std::string& name, long secondsSince1970) const;
  // Copies a folder in the place of another.
  void copy(const std::string& from, const std::string& to) const;
  // Writes `now` in the place of the first `before` of the settings.
  void changeSettings(const std::string& before, const std::string& now) const;
  // The paths, sorted, that a search for the word prints.
  std::string found(const std::string& word) const;
  // The paths, sorted, of all files that the index knows.
  std::string known() const;
  // The folder of the generation in force, with a trailing "/".
  std::string tables() const;

  // Runs the program and kills it right before the n-th system call that may change files. Result:
  // false when it ended of itself before.
  bool runKilledBeforeChange(std::vector<std::string> words, int n) const;

  const std::string& folder() const { return dir_.path(); }

 private:
  TempDir dir_;
};

}  // namespace veska::test
