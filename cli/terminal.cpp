#include "cli/terminal.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "host/charset.h"
#include "host/encoding.h"
#include "host/errors.h"

namespace veska {
namespace {

// Set while a pager reads what we write: it may leave before the end.
bool pagerReads = false;

std::string pagerCommand() {
  for (const char* name : {"VESKA_PAGER", "PAGER"}) {
    if (const char* command = std::getenv(name)) return command;
  }
  return "less -R";
}

std::vector<std::string> splitAtBlanks(const std::string& command) {
  std::vector<std::string> words;
  for (size_t at = 0; at < command.size();) {
    const size_t begin = command.find_first_not_of(" \t", at);
    if (begin == std::string::npos) break;
    at = std::min(command.find_first_of(" \t", begin), command.size());
    words.push_back(command.substr(begin, at - begin));
  }
  return words;
}

[[noreturn]] void becomePager(const std::string& command) {
  std::vector<std::string> words = splitAtBlanks(command);
  if (command.find_first_of("|&;<>()$`\\\"'*?[#~=%!{}\n") != std::string::npos) {
    words = {"/bin/sh", "-c", command};
  }
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  setenv("LESS", "FRX", 0);  // leave at once when all fits; show colours; keep the screen
  execvp(arguments.front(), arguments.data());
  // No such pager: the text must not be lost.
  const char* const copy[] = {"cat", nullptr};
  execvp("cat", const_cast<char* const*>(copy));
  _exit(127);
}

}  // namespace

bool isTerminal(int descriptor) { return isatty(descriptor) == 1; }

size_t terminalWidth(size_t otherwise) {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return otherwise;
  return size.ws_col;
}

bool useColour(const std::string& choice) {
  if (choice != "auto") return choice == "always";
  const char* noColour = std::getenv("NO_COLOR");
  if (noColour != nullptr && *noColour != '\0') return false;
  const char* terminal = std::getenv("TERM");
  return isTerminal(STDOUT_FILENO) && terminal != nullptr && std::string_view(terminal) != "dumb";
}

namespace {

// exact: the character set of a terminal that the name is for, if it is to be written in that.
std::string withEscapes(std::string_view bytes, bool forTerminal, const Charset* exact) {
  std::string out;
  out.reserve(bytes.size());
  for (size_t at = 0;;) {
    size_t plain = at;
    while (plain < bytes.size() && bytes[plain] >= ' ' && bytes[plain] < 0x7F) ++plain;
    out += bytes.substr(at, plain - at);
    at = plain;
    if (at == bytes.size()) return out;
    const DecodedChar c = decodeUtf8(bytes, at);
    const auto byte = static_cast<unsigned char>(bytes[at]);
    std::string printed;
    if (c.valid) appendPrintable(printed, c.code);
    const std::string_view raw = bytes.substr(at, c.bytes);
    const bool isPrintable = c.valid && printed == raw;
    if (isPrintable && exact != nullptr) printed = exact->exactly(raw);
    if (isPrintable && !printed.empty()) {
      out += printed;
    } else if (!c.valid && !forTerminal) {
      out += raw;
    } else if (byte == '\n') {
      out += "\\n";
    } else if (byte == '\t') {
      out += "\\t";
    } else {
      for (const char part : raw) out += fmt::format("\\x{:02X}", static_cast<unsigned char>(part));
    }
    at += c.bytes;
  }
}

// What stdout is written in.
bool wantsUtf8() {
  const Charset& charset = Charset::ofLocale();
  return charset.isUtf8() || (charset.isAscii() && !pagerReads && !isTerminal(STDOUT_FILENO));
}

}  // namespace

std::string printableName(std::string_view bytes, bool forTerminal) {
  return withEscapes(bytes, forTerminal,
                     forTerminal && !wantsUtf8() ? &Charset::ofLocale() : nullptr);
}

Palette::Palette(bool colour) {
  if (!colour) return;
  path = "\033[35m";
  hit = "\033[1;31m";
  lineNumber = "\033[32m";
  dim = "\033[2m";
  reset = "\033[0m";
}

void appendMarked(std::string& out, std::string_view text,
                  const std::vector<std::pair<size_t, size_t>>& hits, const Palette& palette) {
  size_t at = 0;
  for (const auto& [begin, end] : hits) {
    out += text.substr(at, begin - at);
    out += palette.hit;
    out += text.substr(begin, end - begin);
    out += palette.reset;
    at = end;
  }
  out += text.substr(at);
}

void writeOut(std::string_view bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size()) return;
  if (pagerReads && errno == EPIPE) return;
  failWithErrno("the output cannot be written", errno);
}

void writeText(std::string_view utf8) {
  if (wantsUtf8()) {
    writeOut(utf8);
  } else {
    writeOut(Charset::ofLocale().encoded(utf8));
  }
}

void flushOut() {
  if (std::fflush(stdout) == 0 || (pagerReads && errno == EPIPE)) return;
  failWithErrno("the output cannot be written", errno);
}

void remark(std::string_view text) {
  std::fflush(stdout);
  std::string line = withEscapes(text, true, nullptr) + "\n";
  if (!Charset::ofLocale().isAscii() || isTerminal(STDERR_FILENO)) {
    line = Charset::ofLocale().encoded(line);
  }
  std::fwrite(line.data(), 1, line.size(), stderr);
}

Pager::Pager(bool wanted) {
  const std::string command = wanted ? pagerCommand() : std::string();
  if (splitAtBlanks(command).empty() || command == "cat") return;
  int ends[2];
  std::fflush(stdout);
  if (pipe2(ends, O_CLOEXEC) != 0) return;
  formerOutput_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  process_ = fork();
  if (process_ == 0) {
    dup2(ends[0], STDIN_FILENO);
    becomePager(command);
  }
  if (process_ > 0) {
    dup2(ends[1], STDOUT_FILENO);
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGINT, SIG_IGN);  // the pager's: it means "stop what you do", not "go away"
    pagerReads = true;
  }
  close(ends[0]);
  close(ends[1]);
}

Pager::~Pager() {
  if (running()) {
    std::fflush(stdout);
    dup2(formerOutput_, STDOUT_FILENO);
    while (waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
    }
    std::signal(SIGPIPE, SIG_DFL);
    std::signal(SIGINT, SIG_DFL);
    pagerReads = false;
    std::clearerr(stdout);
  }
  if (formerOutput_ >= 0) close(formerOutput_);
}

}  // namespace veska
