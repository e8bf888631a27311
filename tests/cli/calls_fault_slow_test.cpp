// Each call of a run fails once: the run ends in order, with the old answers or the new ones or
// with a list of what is missing, and the next run puts everything right. A sample by default; all
// calls with VESKA_TEST_ALL=1 in the environment.
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <sstream>

#include "tests/cli/program.h"
#include "tests/support/archives.h"

#ifdef VESKA_FAULTS_LIBRARY

namespace veska::test {
namespace {

namespace fs = std::filesystem;

constexpr unsigned kMostSeconds = 20;

bool wantsAll() { return std::getenv("VESKA_TEST_ALL") != nullptr; }

struct Fault {
  std::string kind;
  long number;
  int error;
};

std::ostream& operator<<(std::ostream& stream, const Fault& fault) {
  return stream << "call " << fault.number << " of " << fault.kind << " fails with "
                << strerrorname_np(fault.error);
}

// What the calls of each kind may fail with.
using Kind = std::pair<const char*, std::vector<int>>;
const Kind kKinds[] = {
    {"open", {EMFILE, EINTR}},  {"fopen", {EMFILE}},  {"read", {EIO, EINTR}}, {"fread", {EIO}},
    {"write", {ENOSPC, EINTR}}, {"fwrite", {ENOSPC}}, {"fclose", {EIO}},      {"ftruncate", {EIO}},
    {"fallocate", {ENOSPC}},    {"mmap", {ENOMEM}},   {"mremap", {ENOMEM}},   {"munmap", {ENOMEM}},
    {"opendir", {EMFILE}},      {"readdir", {EIO}},   {"stat", {EIO}},        {"rename", {ENOSPC}},
    {"fsync", {EIO}},           {"mkdir", {ENOSPC}},  {"symlink", {ENOSPC}},  {"readlink", {EIO}},
    {"copy", {ENOSPC}},         {"malloc", {ENOMEM}}};

class FailingCalls : public ProgramTest {
 protected:
  void SetUp() override {
    write("docs/plain.txt", "alpha beta gamma\n");
    write("docs/stays.txt", "alpha stays beta\n");
    write("docs/gone.txt", "vanishing alpha\n");
    write("docs/sub/page.html", "<p>alpha &eacute;tude <b>beta</b></p>\n");
    write("docs/sub/note.rtf", "{\\rtf1\\ansi alpha {\\b beta} rich}\n");
    write("docs/sub/deep/box.zip",
          zipArchive({{"one.txt", "alpha zipped\n"}, {"two.rtf", "{\\rtf1 beta}"}}));
    write("docs/sub/deep/pack.tar.gz",
          gzipped(tarMember("in.txt", "alpha beta tarred\n") + tarEnd()));
    write("docs/mail.mbox",
          "From a Thu Jan  1 00:00:00 1970\nSubject: alpha letter\n\nbeta mailed\n\n"
          "From b Thu Jan  1 00:00:00 1970\nSubject: second\n\nbeta posted\n");
    write("docs/thing.cnv", "alpha converted beta\n");
    write("home/externanalyzers.txt", "conv\ntxt\ncp %i %o\n");
    std::string settings = "roots = []\n";
    for (const auto& [reader, pattern] : std::map<std::string, std::string>{{"conv", "*.cnv"},
                                                                            {"zip", "*.zip"},
                                                                            {"gzip", "*.gz"},
                                                                            {"tar", "*.tar"},
                                                                            {"mbox", "*.mbox"},
                                                                            {"html", "*.html"},
                                                                            {"rtf", "*.rtf"},
                                                                            {"generic", "*.txt"}})
      settings += "[[include]]\nreader = '" + reader + "'\npatterns = ['" + pattern + "']\n";
    write("home/veska.toml", settings);
    setTimes("docs", 1000);
    copy("home", "empty");
    out({"index", "docs"});
    old_ = answers();
    copy("home", "base");
    write("docs/plain.txt", "alpha beta delta\n");
    write("docs/sub/new.txt", "fresh alpha\n");
    write("docs/sub/deep/box.zip", zipArchive({{"one.txt", "alpha zipped anew\n"}}));
    write("docs/thing.cnv", "alpha converted again\n");
    ::unlink(path("docs/gone.txt").c_str());
    touchAll(2000);
    out({"update"});
    fresh_ = answers();
    left_ = leavings();
  }

  struct Answers {
    std::string words, files, found;
    bool operator==(const Answers&) const = default;
  };
  Answers answers() const {
    return {run({"words"}).out, known(), run({"search", "-l", "beta OR alpha OR vanishing"}).out};
  }

  void touchAll(long time) const {
    for (const std::string& name : listTree(path("docs"))) {
      if (name != "stays.txt" && name != "mail.mbox") setTime("docs/" + name, time);
    }
    setTime("docs", time);
  }

  // Everything in the case's folder, without the numbers of generations and lineages.
  std::set<std::string> leavings() const {
    std::set<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(folder())) {
      std::string name = entry.path().lexically_relative(folder());
      if (name.starts_with("base") || name.starts_with("empty")) continue;
      if (name.starts_with("home/cache/default/")) continue;
      for (size_t at = 0; (at = name.find("generation-", at)) != std::string::npos; ++at) {
        const size_t digits = at + std::strlen("generation-");
        name.erase(digits, name.find_first_not_of("0123456789", digits) - digits);
      }
      names.insert(name);
    }
    return names;
  }

  Outcome runFailing(const std::vector<std::string>& words, const Fault& fault) const {
    Surroundings surroundings;
    surroundings.variables = {{"LD_PRELOAD", VESKA_FAULTS_LIBRARY},
                              {"FAULT_KIND", fault.kind},
                              {"FAULT_NUMBER", std::to_string(fault.number)},
                              {"FAULT_ERRNO", std::to_string(fault.error)},
                              {"FAULT_REPORT", path(".faults")}};
    surroundings.seconds = kMostSeconds;
    ::unlink(path(".faults").c_str());
    return run(words, surroundings);
  }

  // How often a run of the command makes a call of each kind.
  std::map<std::string, long> countCalls(const std::vector<std::string>& words) const {
    runFailing(words, {"", 0, 0});
    std::istringstream lines(readFile(path(".faults")));
    std::map<std::string, long> counts;
    std::string kind;
    for (long count = 0; lines >> kind >> count;) counts[kind] = count;
    EXPECT_EQ(counts.size(), std::size(kKinds));
    return counts;
  }

  // Makes calls of every kind fail, each in a run of its own. check: what must hold afterwards.
  // home: the folder of which a copy is the home of each run; empty: the home as it is.
  void failEach(const std::vector<std::string>& words, const std::string& home,
                const std::function<void(const Fault&, const Outcome&)>& check) {
    const auto reset = [&] {
      if (!home.empty()) copy(home, "home");
    };
    reset();
    const std::map<std::string, long> counts = countCalls(words);
    for (const auto& [kind, errors] : kKinds) {
      const long calls = counts.at(kind);
      const long most = wantsAll() ? calls : 4;
      const long step = std::max(calls / std::max(most, 1L), 1L);
      for (const int error : errors) {
        for (long number = 1; number <= calls; number += step) {
          const Fault fault{kind, number, error};
          reset();
          const Outcome outcome = runFailing(words, fault);
          const std::string report =
              fs::exists(path(".faults")) ? readFile(path(".faults")) : std::string();
          std::ostringstream what;
          what << words.front() << ", " << fault << "\n" << report.substr(0, report.find('\n'));
          SCOPED_TRACE(what.str());
          ::unlink(path(".faults").c_str());
          checkManners(fault, outcome);
          check(fault, outcome);
          if (HasFailure()) return;
        }
      }
    }
  }

  static void checkManners(const Fault& fault, const Outcome& outcome) {
    EXPECT_LE(outcome.status, 2) << outcome;
    if (outcome.status == 2) {
      const auto tells = [&outcome](const char* what) {
        return outcome.err.find(what) != std::string::npos;
      };
      EXPECT_TRUE(outcome.err.starts_with("veska: ")) << outcome;
      EXPECT_TRUE(tells("DIR/") || tells("memory") || tells("output")) << outcome;
      EXPECT_TRUE(tells(std::strerror(fault.error)) || tells("memory") ||
                  tells("taken out of its archive"))
          << outcome;
    }
    if (fault.error == EINTR) {
      EXPECT_LT(outcome.status, 2) << outcome;
    }
  }

  // After a run that writes: the answers are old, or new, or what is missing is listed, and the
  // next run puts everything right; a file that the disk would not give is read once it changes.
  void checkIndex(const std::vector<std::string>& again, const Fault& fault,
                  const Outcome& outcome) const {
    const Outcome verified = run({"verify"});
    const bool none = verified.err.find("no index yet") != std::string::npos;
    EXPECT_TRUE(verified.status == 0 || (none && outcome.status != 0)) << verified;
    const Answers now = answers();
    const bool isKept = outcome.err.find("its entries are kept") != std::string::npos;
    if (outcome.status == 0 && now != fresh_ && !isKept) {
      // A converter's output and a member's copy are listed under their own names.
      EXPECT_NE(run({"status", "--problems"}).out.find("DIR/"), std::string::npos)
          << "files are missing, and not listed\n"
          << outcome << now.files << now.words;
    }
    if (outcome.status != 0 && !none) {
      EXPECT_TRUE(now == old_ || now == fresh_);
    }
    const Outcome next = run(again);
    EXPECT_EQ(next.status, 0) << next;
    if (fault.error == EIO && answers() != fresh_) {
      touchAll(3000);
      run({"update"});
      touchAll(2000);
    }
    EXPECT_TRUE(answers() == fresh_)
        << answers().files << answers().words << run({"status", "--problems"});
    EXPECT_EQ(leavings(), left_);
  }

  // again: the command that puts everything right.
  void failWriter(const std::vector<std::string>& words, const std::string& home,
                  const std::vector<std::string>& again) {
    failEach(words, home, [&](const Fault& fault, const Outcome& outcome) {
      checkIndex(again, fault, outcome);
    });
  }

  // A reader gives the whole answer or says that it does not.
  void checkReader(const Outcome& usual, const Outcome& outcome) const {
    if (outcome.status == usual.status && outcome.out == usual.out) return;
    EXPECT_TRUE(!outcome.err.empty()) << outcome;
    EXPECT_EQ(run({"verify"}).status, 0);
    EXPECT_EQ(leavings(), left_);
  }

  void failReader(const std::vector<std::string>& words) {
    const Outcome usual = run(words);
    ASSERT_EQ(usual.status, 0) << usual;
    failEach(words, "", [&](const Fault&, const Outcome& outcome) { checkReader(usual, outcome); });
  }

 private:
  Answers old_, fresh_;
  std::set<std::string> left_;
};

TEST_F(FailingCalls, Index) { failWriter({"index", "docs"}, "empty", {"index", "docs"}); }

TEST_F(FailingCalls, Update) { failWriter({"update"}, "base", {"update"}); }

TEST_F(FailingCalls, Rebuild) { failWriter({"rebuild"}, "base", {"update"}); }

// As on a disk that fills up while a table grows or is copied.
TEST_F(FailingCalls, FilesThatMayNotGrow) {
  for (const rlim_t bytes : {1U, 1000U, 40000U, 66000U, 132000U, 170000U}) {
    SCOPED_TRACE(bytes);
    copy("base", "home");
    Surroundings surroundings;
    surroundings.limits[RLIMIT_FSIZE] = bytes;
    const Fault fault{"size", 0, EFBIG};
    const Outcome outcome = run({"update"}, surroundings);
    EXPECT_EQ(outcome.status == 2, bytes < 170000) << outcome;
    if (bytes > 1) checkManners(fault, outcome);  // a message needs room as well
    checkIndex({"update"}, fault, outcome);
  }
}

TEST_F(FailingCalls, Search) { failReader({"search", "\"alpha beta\" OR fresh"}); }

TEST_F(FailingCalls, Show) {
  failReader({"show", path("docs/sub/deep/pack.tar.gz/pack.tar/prefix/in.txt"), "beta"});
}

TEST_F(FailingCalls, Verify) { failReader({"verify"}); }

}  // namespace
}  // namespace veska::test

#endif  // VESKA_FAULTS_LIBRARY
