// What the engine reports to its host, as a list of lines "channel:key:detail".
#ifndef VESKA_TESTS_SUPPORT_REPORTS_H_
#define VESKA_TESTS_SUPPORT_REPORTS_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "api/veskalib.h"

namespace veska::test {

// Listens on all four channels while it lives. A later one takes over until it ends.
class Reports {
 public:
  using Lines = std::vector<std::string>;

  Reports() : outer_(std::exchange(current_, this)) { install(true); }
  ~Reports() {
    current_ = outer_;
    if (!outer_) install(false);
  }
  Reports(const Reports&) = delete;
  Reports& operator=(const Reports&) = delete;

  // All reports since the last call.
  Lines take() { return std::exchange(lines_, {}); }
  // How many of them begin so.
  long count(const std::string& start) const {
    return std::count_if(lines_.begin(), lines_.end(),
                         [&](const std::string& line) { return line.starts_with(start); });
  }
  // The answer to status reports; true without one.
  std::function<bool(const std::string& key)> answer;

 private:
  static void install(bool on) {
    vSetThrowCallBack(on ? onThrow : nullptr);
    vSetWarningCallBack(on ? onWarning : nullptr);
    vSetStatusCallBack(on ? onStatus : nullptr);
    vSetProblemCallBack(on ? onProblem : nullptr);
  }
  static void add(const char* channel, const char* key, const char* detail) {
    current_->lines_.push_back(std::string(channel) + ":" + key + ":" + detail);
  }
  static void onThrow(const char* key, const char* detail) { add("throw", key, detail); }
  static void onWarning(const char* key, const char* detail) { add("warning", key, detail); }
  static void onProblem(const char* key, const char* detail) { add("problem", key, detail); }
  static bool onStatus(const char* key, const char* detail, bool fromLibrary) {
    add(fromLibrary ? "status" : "host", key, detail);
    return !current_->answer || current_->answer(key);
  }

  inline static Reports* current_ = nullptr;
  Reports* outer_;
  Lines lines_;
};

// What an operation raises, as "key:detail"; empty when it raises nothing. Told once, then thrown
// as the integer 1.
template <typename Operation>
std::string raised(Operation&& operation) {
  Reports reports;
  try {
    operation();
  } catch (int value) {
    EXPECT_EQ(value, 1);
    const Reports::Lines lines = reports.take();
    EXPECT_EQ(lines.size(), 1U);
    return lines.empty() ? "nothing told" : lines.back().substr(lines.back().find(':') + 1);
  }
  EXPECT_EQ(reports.count("throw:"), 0);
  return "";
}

}  // namespace veska::test

#endif  // VESKA_TESTS_SUPPORT_REPORTS_H_
