#include "tests/cli/program.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <numeric>
#include <regex>
#include <set>
#include <sstream>

namespace fs = std::filesystem;

namespace veska::test {
namespace {

std::map<std::string, std::string> usualVariables(const std::string& folder) {
  return {{"PATH", "/usr/bin:/bin"},
          {"HOME", folder + "/user"},
          {"XDG_DATA_HOME", folder + "/data"},
          {"TMPDIR", folder},
          {"LC_ALL", "de_DE.UTF-8"},  // no output may depend on it
          {"TZ", "UTC"},
          {"TERM", "dumb"},
          {"ASAN_OPTIONS", "detect_leaks=0"}};  // leaks cannot be looked for under ptrace
}

int exitStatus(int status) {
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// In the child: never returns.
[[noreturn]] void become(std::vector<std::string> words, const std::string& folder,
                         const std::string& out, const std::string& err, bool traced,
                         const Surroundings& surroundings) {
  words.insert(words.begin(), {VESKA_PROGRAM, "--home", folder + "/home"});
  std::map<std::string, std::string> values = surroundings.variables;
  values.merge(usualVariables(folder));
  std::vector<std::string> variables;
  for (const auto& [name, value] : values) variables.push_back(name + "=" + value);
  const auto pointersTo = [](std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
  };

  const int input = ::open("/dev/null", O_RDONLY);
  const int output = ::open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  const int errors = ::open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  ::dup2(input, 0);
  ::dup2(output, 1);
  ::dup2(errors, 2);
  if (::chdir(folder.c_str()) != 0) ::_exit(126);
  for (const auto& [resource, number] : surroundings.limits) {
    const rlimit limit{number, number};
    ::setrlimit(static_cast<__rlimit_resource>(resource), &limit);
  }
  ::alarm(surroundings.seconds);
  if (traced) ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
  ::execve(VESKA_PROGRAM, pointersTo(words).data(), pointersTo(variables).data());
  ::_exit(127);
}

std::string normal(std::string text, const std::string& folder) {
  for (size_t at = 0; (at = text.find(folder, at)) != std::string::npos;) {
    text.replace(at, folder.size(), "DIR");
  }
  static const std::regex kSeconds("[0-9]+\\.[0-9] s\\b");
  return std::regex_replace(text, kSeconds, "T s");
}

std::string sortedLines(const std::string& text) {
  std::istringstream stream(text);
  std::multiset<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.insert(line + "\n");
  return std::accumulate(lines.begin(), lines.end(), std::string());
}

bool mayChangeFiles(const __ptrace_syscall_info& info) {
  static const std::set<uint64_t> kCalls = {
      SYS_ftruncate, SYS_fallocate, SYS_munmap,   SYS_msync,   SYS_fsync,     SYS_copy_file_range,
      SYS_renameat,  SYS_renameat2, SYS_unlinkat, SYS_mkdirat, SYS_symlinkat, SYS_pwrite64,
#ifdef SYS_rename
      SYS_rename,    SYS_unlink,    SYS_mkdir,    SYS_symlink, SYS_rmdir
#endif
  };
  const auto& [number, arguments] = info.entry;
  return kCalls.contains(number) || (number == SYS_write && arguments[0] > 2) ||
         (number == SYS_mmap && (arguments[3] & MAP_SHARED) != 0) ||
         (number == SYS_openat && (arguments[2] & O_CREAT) != 0);
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const Outcome& outcome) {
  return stream << "status " << outcome.status << "\n--- out\n"
                << outcome.out << "--- err\n"
                << outcome.err;
}

RunningProgram::RunningProgram(std::vector<std::string> words, const std::string& folder,
                               const Surroundings& surroundings)
    : folder_(folder) {
  static std::atomic<int> runs = 0;
  const std::string base = folder + "/.run" + std::to_string(++runs);
  outPath_ = base + ".out";
  errPath_ = base + ".err";
  process_ = ::fork();
  if (process_ == 0) become(words, folder, outPath_, errPath_, false, surroundings);
  if (process_ < 0) ADD_FAILURE() << "cannot start the program";
}

RunningProgram::~RunningProgram() {
  if (process_ <= 0) return;
  ::kill(process_, SIGKILL);
  ::waitpid(process_, nullptr, 0);
}

void RunningProgram::signal(int number) const { ::kill(process_, number); }

Outcome RunningProgram::wait() {
  int status = 0;
  ::waitpid(process_, &status, 0);
  process_ = -1;
  Outcome outcome{exitStatus(status), normal(readFile(outPath_), folder_),
                  normal(readFile(errPath_), folder_)};
  ::unlink(outPath_.c_str());
  ::unlink(errPath_.c_str());
  return outcome;
}

Outcome ProgramTest::run(std::vector<std::string> words, const Surroundings& surroundings) const {
  return RunningProgram(std::move(words), folder(), surroundings).wait();
}

Outcome ProgramTest::runIn(const std::string& locale, std::vector<std::string> words) const {
  return run(std::move(words), {{{"LC_ALL", locale}}, {}, 0});
}

std::string ProgramTest::out(std::vector<std::string> words) const {
  const Outcome outcome = run(std::move(words));
  EXPECT_EQ(outcome.status, 0) << outcome;
  EXPECT_EQ(outcome.err, "");
  return outcome.out;
}

void ProgramTest::setTime(const std::string& name, long secondsSince1970) const {
  const timespec times[2] = {{secondsSince1970, 0}, {secondsSince1970, 0}};
  ASSERT_EQ(::utimensat(AT_FDCWD, path(name).c_str(), times, 0), 0) << name;
}

void ProgramTest::setTimes(const std::string& name, long secondsSince1970) const {
  for (const std::string& entry : listTree(path(name)))
    setTime(name + "/" + entry, secondsSince1970);
  setTime(name, secondsSince1970);
}

void ProgramTest::copy(const std::string& from, const std::string& to) const {
  fs::remove_all(path(to));
  fs::copy(path(from), path(to), fs::copy_options::recursive | fs::copy_options::copy_symlinks);
}

void ProgramTest::changeSettings(const std::string& before, const std::string& now) const {
  std::string text = readFile(path("home/veska.toml"));
  const size_t at = text.find(before);
  ASSERT_NE(at, std::string::npos) << text;
  write("home/veska.toml", text.replace(at, before.size(), now));
}

std::string ProgramTest::found(const std::string& word) const {
  const Outcome outcome = run({"search", "--files", "--limit", "0", word});
  EXPECT_LE(outcome.status, 1) << outcome;
  return sortedLines(outcome.out);
}

std::string ProgramTest::known() const { return sortedLines(run({"files"}).out); }

std::string ProgramTest::tables() const {
  char target[256];
  const std::string link = path("home/indexes/default/tables");
  const ssize_t length = ::readlink(link.c_str(), target, sizeof target);
  EXPECT_GT(length, 0);
  return path("home/indexes/default/") +
         std::string(target, static_cast<size_t>(std::max<ssize_t>(length, 0))) + "/";
}

bool ProgramTest::runKilledBeforeChange(std::vector<std::string> words, int n) const {
  const pid_t process = ::fork();
  if (process == 0) become(words, folder(), "/dev/null", "/dev/null", true, {});
  int status = 0;
  ::waitpid(process, &status, 0);  // stopped at its first instruction
  ::ptrace(PTRACE_SETOPTIONS, process, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
  while (WIFSTOPPED(status)) {
    __ptrace_syscall_info info = {};
    const bool isCall = WSTOPSIG(status) == (SIGTRAP | 0x80);
    if (isCall) ::ptrace(PTRACE_GET_SYSCALL_INFO, process, sizeof info, &info);
    if (isCall && info.op == PTRACE_SYSCALL_INFO_ENTRY && mayChangeFiles(info) && --n == 0) {
      ::kill(process, SIGKILL);
      ::waitpid(process, &status, 0);
      return true;
    }
    const int passed = isCall || WSTOPSIG(status) == SIGTRAP ? 0 : WSTOPSIG(status);
    ::ptrace(PTRACE_SYSCALL, process, nullptr, passed);
    ::waitpid(process, &status, 0);
  }
  EXPECT_EQ(exitStatus(status), 0);
  return false;
}

}  // namespace veska::test
