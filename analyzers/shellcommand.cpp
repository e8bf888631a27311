// A converter may hang, and it may have started others that run in sessions of their own. So
// between it and us stands a supervisor: a child of ours that adopts what its descendants leave
// behind (PR_SET_CHILD_SUBREAPER), which makes all of them known to it, and that ends when they
// have. The host's own children and signal handlers have no part in it.
//
// The host may have threads: in the forked processes, only what POSIX calls async-signal-safe is
// used.

#include "analyzers/shellcommand.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

namespace {

constexpr int64_t kNanoseconds = 1'000'000'000;
constexpr int64_t kForever = INT64_MAX;
constexpr int64_t kGrace = kNanoseconds;         // between SIGTERM and SIGKILL
constexpr int64_t kKillTime = 5 * kNanoseconds;  // for what does not even heed that
constexpr int64_t kPoll = kNanoseconds / 50;

constexpr int kFirstFree = STDERR_FILENO + 1;  // descriptor

constexpr char kEnded = 'e';
constexpr char kTimeUp = 't';

int64_t now() {
  struct timespec time;
  clock_gettime(CLOCK_MONOTONIC, &time);
  return time.tv_sec * kNanoseconds + time.tv_nsec;
}

// All signals held back from the calling thread; mask() tells what was held back before.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

  const sigset_t& before() const { return before_; }

  // Lets all signals in again but SIGCHLD: a handler of the host must not reap our child.
  void blockChildSignalOnly() {
    sigset_t mask = before_;
    sigaddset(&mask, SIGCHLD);
    pthread_sigmask(SIG_SETMASK, &mask, nullptr);
  }

 private:
  sigset_t before_;
};

struct Job {
  const char* command;
  int64_t duration;  // nanoseconds
  uint64_t maxFileBytes;
  const sigset_t* mask;
  pid_t host;
  int report;  // descriptor for one letter at the end
};

[[noreturn]] void runShell(const Job& job) {
  setpgid(0, 0);
  umask(077);
  if (job.maxFileBytes != 0) {
    const struct rlimit limit = {job.maxFileBytes, job.maxFileBytes};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  sigprocmask(SIG_SETMASK, job.mask, nullptr);
  execl("/bin/sh", "sh", "-c", job.command, static_cast<char*>(nullptr));
  _exit(127);
}

// Waits for a child's end, or for the host's, until a time. Result: false when there is no need to
// wait on.
bool awaitSignal(int64_t until) {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGCHLD);
  sigaddset(&signals, SIGTERM);
  const int64_t left = until - now();
  if (left <= 0) return false;
  const struct timespec time = {left / kNanoseconds, left % kNanoseconds};
  return sigtimedwait(&signals, nullptr, until == kForever ? nullptr : &time) != SIGTERM;
}

// Reaps what has ended. Result: true when the child is among it, or when none is left at all.
bool reap(pid_t child) {
  for (;;) {
    const pid_t ended = waitpid(-1, nullptr, WNOHANG);
    if (ended == 0) return false;
    if (ended < 0 && errno == EINTR) continue;
    if (ended < 0 || ended == child) return true;
  }
}

// Sends SIGKILL to our children. What they leave behind becomes ours.
void killChildren() {
  char text[4096];
  const int file = open("/proc/thread-self/children", O_RDONLY | O_CLOEXEC);
  if (file < 0) return;
  pid_t child = 0;
  for (ssize_t bytes; (bytes = read(file, text, sizeof text)) > 0;) {
    for (ssize_t i = 0; i < bytes; ++i) {
      if (text[i] >= '0' && text[i] <= '9') {
        child = child * 10 + (text[i] - '0');
      } else if (child > 0) {
        kill(child, SIGKILL);
        child = 0;
      }
    }
  }
  close(file);
}

void endAll(pid_t group) {
  kill(-group, SIGTERM);
  kill(-group, SIGCONT);
  const int64_t killFrom = now() + kGrace;
  const int64_t giveUp = killFrom + kKillTime;
  constexpr pid_t kNone = 0;
  while (!reap(kNone) && now() < giveUp) {
    if (now() >= killFrom) {
      kill(-group, SIGKILL);
      killChildren();
    }
    awaitSignal(now() + kPoll);
  }
}

void useNullDevice() {
  const int null = open("/dev/null", O_RDWR);
  for (int descriptor = 0; descriptor < kFirstFree; ++descriptor) dup2(null, descriptor);
}

[[noreturn]] void supervise(const Job& job) {
  signal(SIGCHLD, SIG_DFL);
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (getppid() != job.host) _exit(0);
  const int report = fcntl(job.report, F_DUPFD_CLOEXEC, kFirstFree);
  if (report < 0) _exit(1);
  useNullDevice();
  if (report > kFirstFree) close_range(kFirstFree, static_cast<unsigned>(report) - 1, 0);
  close_range(static_cast<unsigned>(report) + 1, ~0U, 0);

  const int64_t until = job.duration == kForever ? kForever : now() + job.duration;
  const pid_t shell = _Fork();
  if (shell < 0) _exit(1);
  if (shell == 0) runShell(job);
  setpgid(shell, shell);

  bool ended = false;
  while (!(ended = reap(shell)) && awaitSignal(until)) {
  }
  if (!ended) endAll(shell);
  const char letter = ended ? kEnded : kTimeUp;
  [[maybe_unused]] const ssize_t written = write(report, &letter, 1);
  _exit(0);
}

// The last letter that comes before the supervisor's end; 0 when there is none.
char readReport(int descriptor) {
  char letter = 0;
  for (;;) {
    const ssize_t got = read(descriptor, &letter, 1);
    if (got == 0 || (got < 0 && errno != EINTR)) return letter;
  }
}

}  // namespace

CommandResult runShellCommand(const std::string& command, int maxSeconds, uint64_t maxFileBytes) {
  int report[2];
  if (pipe2(report, O_CLOEXEC) != 0) return CommandResult::kNotStarted;
  SignalsBlocked signals;
  const int64_t duration = maxSeconds > 0 ? maxSeconds * kNanoseconds : kForever;
  const Job job = {command.c_str(), duration, maxFileBytes, &signals.before(), getpid(), report[1]};
  const pid_t supervisor = fork();
  if (supervisor == 0) supervise(job);
  close(report[1]);
  signals.blockChildSignalOnly();

  const char letter = supervisor > 0 ? readReport(report[0]) : '\0';
  close(report[0]);
  // A host that ignores SIGCHLD has it reaped already.
  while (supervisor > 0 && waitpid(supervisor, nullptr, 0) < 0 && errno == EINTR) {
  }
  if (letter == kEnded) return CommandResult::kEnded;
  return letter == kTimeUp ? CommandResult::kTimeUp : CommandResult::kNotStarted;
}
