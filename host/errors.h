// What a person is told when something goes wrong: one sentence that says what happened, one that
// says what to do, and the status with which the program ends. The engine's report keys become such
// errors here, and this is the host's one place that throws.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace veska {

enum ExitStatus {
  kExitDone = 0,
  kExitNothingFound = 1,
  kExitError = 2,
  kExitInterrupted = 130,  // as shells count it: 128 + SIGINT
};

// A failure that ends a command. Texts may hold bytes of file names: the printer escapes them.
class HostError : public std::runtime_error {
 public:
  HostError(const std::string& sentence, std::string remedy, int exitStatus, int systemError = 0);

  std::string_view sentence() const { return what(); }
  const std::string& remedy() const { return remedy_; }  // may be empty
  int exitStatus() const { return exitStatus_; }
  // errno of the call that failed, 0 when none did.
  int systemError() const { return systemError_; }

 private:
  std::string remedy_;
  int exitStatus_;
  int systemError_;
};

// sentence: what happened, without a full stop; remedy: what to do, may be empty.
[[noreturn]] void fail(const std::string& sentence, const std::string& remedy = {},
                       int exitStatus = kExitError);

// Fails with an error that was taken up before.
[[noreturn]] void fail(const HostError& error);

// fail() with the text of the system's error `number` behind the sentence: "cannot open X: ...".
[[noreturn]] void failWithErrno(const std::string& sentence, int number,
                                const std::string& remedy = {});

// A report of the engine as it came to a callback.
struct Report {
  std::string key;
  std::string detail;
  int systemError = 0;  // errno of the call that failed, 0 when none did
  std::string place{};  // folder of the index
};

// The sentence and the remedy for a report of the throw or warning channel; an unknown key gives a
// sentence that names it. "HaltRequested" has the exit status 130, all else 2.
HostError errorOf(const Report& report);

// For a file that was passed over: what went wrong and what to do, for the problem keys of the
// engine ("OpenFailed", "Damaged", ...). systemError: the errno behind it, 0 when there is none.
struct ProblemText {
  std::string sentence;
  std::string remedy;
};
ProblemText problemText(std::string_view key, int systemError);
// "NAME: what went wrong; what to do".
std::string problemLine(std::string_view name, std::string_view key, int systemError);

}  // namespace veska
