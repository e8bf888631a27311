// Commands for the shell: how a foreign path is written into one, and how one is run.

#ifndef VESKA_ANALYZERS_SHELLCOMMAND_H_
#define VESKA_ANALYZERS_SHELLCOMMAND_H_

#include <cstdint>
#include <string>
#include <string_view>

// Where in a command the shell stands: what it makes of the bytes that come next. (Shell Command
// Language, POSIX.1-2017 XCU 2.2.)
class ShellPlace {
 public:
  // Reads a piece of the command on from here.
  void advance(std::string_view piece);

  // The path, written so that the shell takes it as one argument (or as a part of the one that it
  // is glued to), whatever bytes it holds. A path of letters, digits and "/._-+,@%:=" stays as it
  // is.
  std::string argument(const std::string& path) const;

  // Can only a path of such characters go in here? True behind a backslash and behind a "#", where
  // quoting does not help.
  bool isUnsafe() const { return escaped_ || comment_; }

 private:
  enum class Quotes { kNone, kSingle, kDouble };

  Quotes quotes_ = Quotes::kNone;
  bool escaped_ = false;
  bool comment_ = false;
};

// Does the path hold only characters that mean nothing to any shell?
bool isPlainPath(std::string_view path);

// Does the command have parts of it read once more (command substitution, a second shell, a here
// document)? What is quoted for the first reading is not for the second.
bool isReadTwice(std::string_view command);

enum class CommandResult { kEnded, kTimeUp, kNotStarted };

// Runs "/bin/sh -c command" in a process group of its own, with no input and its output discarded;
// none of our descriptors is open in it, and the files that it makes are private. Waits for its
// end. maxSeconds: after so many it is ended with all that it has started (0: never); so it is when
// this process dies. maxFileBytes: size at which its files stop growing (0: none). The signal
// handling of the process is left as it was; children of the host are not touched.
CommandResult runShellCommand(const std::string& command, int maxSeconds, uint64_t maxFileBytes);

#endif  // VESKA_ANALYZERS_SHELLCOMMAND_H_
