// A byte of a saved index changed, a file of it cut, extended or zeroed: every command ends in time
// and in order, `verify` reports it, and `rebuild` repairs it. A sample by default; all bytes with
// VESKA_TEST_ALL=1 in the environment.
#include <cstdlib>
#include <filesystem>
#include <map>

#include "tests/cli/program.h"

namespace veska::test {
namespace {

namespace fs = std::filesystem;

bool wantsAll() { return std::getenv("VESKA_TEST_ALL") != nullptr; }

class DamagedIndex : public ProgramTest {
 protected:
  void SetUp() override {
    write("docs/one.txt", "alpha beta gamma\n");
    write("docs/sub/two.txt", "beta delta \xC3\xA9tude\n");
    write("docs/sub/three.html", "<p>alpha <b>epsilon</b></p>\n");
    write("home/skipfile.txt", "the and of\n");
    setTimes("docs", 1000);
    out({"index", "docs"});
    answers_ = answers();
    for (const auto& entry : fs::directory_iterator(tables())) {
      good_[entry.path().filename()] = readFile(entry.path());
    }
    copy("home", "saved");
    folder_ = tables();
  }

  std::string answers() const { return run({"words"}).out + known() + found("alpha OR beta"); }

  const std::map<std::string, std::string>& good() const { return good_; }
  static bool isTable(const std::string& name) { return !name.ends_with(".json"); }

  // Writes the bytes in place of one file, and puts the good ones back when it goes.
  class Damage {
   public:
    Damage(const DamagedIndex& test, const std::string& name, const std::string& bytes)
        : test_(test), name_(name) {
      writeFile(test.folder_ + name, bytes);
    }
    ~Damage() { writeFile(test_.folder_ + name_, test_.good_.at(name_)); }
    Damage(const Damage&) = delete;
    Damage& operator=(const Damage&) = delete;

   private:
    const DamagedIndex& test_;
    const std::string name_;
  };

  // All commands on the damaged index. A change to the documents makes `update` work on it.
  void expectOrder(const std::string& name, const std::string& bytes, const std::string& what) {
    SCOPED_TRACE(name + ": " + what);
    ++cases_;
    const Damage damage(*this, name, bytes);
    Surroundings bounds;
    bounds.limits[RLIMIT_AS] = rlim_t{512} << 20;
    bounds.seconds = kMostSeconds;
    if (usesMuchAddressSpace()) bounds.limits.erase(RLIMIT_AS);
    for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
             {"search", "alpha be*"}, {"words"}, {"files"}, {"show", path("docs/one.txt")}}) {
      const Outcome outcome = run(words, bounds);
      EXPECT_LE(outcome.status, 2) << words.front() << " " << outcome;
    }
    const Outcome verified = run({"verify"}, bounds);
    EXPECT_EQ(verified.status, 2) << verified;
    EXPECT_NE(verified.err.find("veska rebuild"), std::string::npos) << verified;
    setTime("docs/one.txt", 2000 + cases_);
    const Outcome updated = run({"update"}, bounds);
    EXPECT_EQ(updated.status, 2) << updated;
    EXPECT_NE(updated.err.find("veska rebuild"), std::string::npos) << updated;
    EXPECT_EQ(tables(), folder_);
  }

  // Address space is no measure of what sanitizers use.
  static bool usesMuchAddressSpace() {
#if defined(__SANITIZE_ADDRESS__)
    return true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
    return true;
#endif
#endif
    return false;
  }

  // Repairs by `rebuild`, and puts the case's index back.
  void expectRepair(const std::string& name, const std::string& bytes) {
    SCOPED_TRACE(name);
    writeFile(folder_ + name, bytes);
    EXPECT_EQ(run({"rebuild"}).status, 0);
    EXPECT_EQ(run({"verify"}).status, 0);
    EXPECT_EQ(answers(), answers_);
    copy("saved", "home");
  }

 private:
  static constexpr unsigned kMostSeconds = 10;

  std::map<std::string, std::string> good_;
  std::string answers_;
  std::string folder_;
  int cases_ = 0;
};

// Bytes in use with every command, and now and then one of the rest.
TEST_F(DamagedIndex, ByteFlipped) {
  const size_t step = wantsAll() ? 1 : 97;
  const size_t stepOfZeros = wantsAll() ? 61 : 9973;
  for (const auto& [name, bytes] : good()) {
    if (!isTable(name)) continue;
    for (size_t at = 0, used = 0, zeros = 0; at < bytes.size(); ++at) {
      const bool isZero = bytes[at] == 0 && at > 0 && bytes[at - 1] == 0;
      if (isZero ? zeros++ % stepOfZeros != 0 : used++ % step != 0) continue;
      std::string bad = bytes;
      bad[at] = static_cast<char>(~bad[at]);
      expectOrder(name, bad, "byte " + std::to_string(at));
      if (HasFailure()) return;
    }
  }
}

TEST_F(DamagedIndex, CutExtendedOrZeroed) {
  for (const auto& [name, bytes] : good()) {
    if (!isTable(name)) continue;
    const size_t parts = wantsAll() ? 200 : 3;
    for (size_t part = 0; part < parts; ++part) {
      const size_t at = part < 20 ? part : bytes.size() * part / parts;
      if (at >= bytes.size()) continue;
      expectOrder(name, bytes.substr(0, at), "cut to " + std::to_string(at));
      expectOrder(name, bytes + std::string(at + 1, 'x'), "extended by " + std::to_string(at + 1));
      std::string zeroed = bytes;
      zeroed.replace(at, std::string::npos, bytes.size() - at, '\0');
      if (zeroed != bytes) expectOrder(name, zeroed, "zeroed from " + std::to_string(at));
      if (HasFailure()) return;
    }
  }
}

TEST_F(DamagedIndex, RebuildRepairs) {
  for (const auto& [name, bytes] : good()) {
    if (name == "problems.json") continue;
    std::string bad = bytes;
    for (size_t at = 0; at < bad.size(); at += 3) bad[at] = static_cast<char>(~bad[at]);
    expectRepair(name, bad);
    expectRepair(name, "");
    expectRepair(name, bytes.substr(0, bytes.size() / 2));
  }
}

}  // namespace
}  // namespace veska::test
