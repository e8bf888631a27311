// What reaches a terminal: colours only where they are wanted, no control characters of foreign
// texts and names ever, long texts through a pager.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace veska {

bool isTerminal(int descriptor);
// Columns of the terminal on stdout; `otherwise` when it is none.
size_t terminalWidth(size_t otherwise);

// Whether to colour stdout. choice: "auto" (a terminal that is not dumb, and NO_COLOR is not set),
// "always" or "never".
bool useColour(const std::string& choice);

// A file name for a line of output. Control characters become \n, \t, \x1B and so on. Bytes that
// are not UTF-8, and characters that the locale lacks, become \xHH for a terminal; elsewhere they
// stay, so that the name can be used. Result: for writeOut().
std::string printableName(std::string_view bytes, bool forTerminal);

// Escape sequences, empty without colour.
struct Palette {
  explicit Palette(bool colour);
  std::string_view path, hit, lineNumber, dim, reset;
};

// Appends a text with the parts [begin, end) marked.
void appendMarked(std::string& out, std::string_view text,
                  const std::vector<std::pair<size_t, size_t>>& hits, const Palette& palette);

// Writes bytes to stdout, buffered. Fails when stdout cannot take them (a full disk).
void writeOut(std::string_view bytes);
// Writes UTF-8 in the character set of the locale; without one, only a terminal gets anything less
// than UTF-8.
void writeText(std::string_view utf8);
void flushOut();
// A remark on stderr, after what was written to stdout; one line, control characters escaped.
void remark(std::string_view text);

// While it lives, stdout goes to $VESKA_PAGER, $PAGER or "less -R"; without any of them, or with
// "cat" or an empty value, to where it went before. The command is started without a shell unless
// it holds characters that only a shell understands.
class Pager {
 public:
  explicit Pager(bool wanted);
  ~Pager();  // waits until the reader has left the pager
  Pager(const Pager&) = delete;
  Pager& operator=(const Pager&) = delete;

  bool running() const { return process_ > 0; }

 private:
  pid_t process_ = -1;
  int formerOutput_ = -1;
};

}  // namespace veska
