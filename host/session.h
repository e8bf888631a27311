// An open index with all that the host sets on it. One session at a time: the engine's callbacks
// belong to the process.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "api/veskalib.h"
#include "host/errors.h"
#include "host/settings.h"

namespace veska {

struct State;

// The hooks of a run; each may be empty.
struct SessionHooks {
  // Answers false to halt. key and detail as the engine's status reports.
  std::function<bool(std::string_view key, std::string_view detail)> status;
  // A file that was passed over or read in part.
  std::function<void(std::string_view key, std::string_view path, int systemError)> problem;
};

class Session {
 public:
  // Opens the index saved in the folder, or makes an empty one there. folder: with a trailing "/".
  // unicode: whether it is, or is to be, an index of Unicode text (State::unicode).
  // The character classes and exact names are in force at once: words and files can be looked up
  // and walked. Fails with the engine's reason.
  static Session open(const std::string& folder, bool unicode, SessionHooks hooks = {});
  static Session create(const std::string& folder, bool unicode, SessionHooks hooks = {});

  ~Session();
  Session(Session&&) noexcept;
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  CVeskaIndex* index() const { return index_; }
  // Lets the index go before the object; saves nothing.
  void close();

  // What indexing and reading of contents need on top: limits, word lengths, analyzers, patterns,
  // the folder for temporary files.
  // Result: the readers named by the settings that do not exist; their files are known by name
  // only.
  std::vector<std::string> applySettings(const Settings& settings,
                                         const std::string& temporaryFolder);
  // What a run over an index needs: exact update, status reports, counters of earlier runs.
  void prepareRun(const State& earlier, int64_t referenceTime, bool isUpdate);

  // The report of the last failed call, taken away; nothing when all went well since.
  std::optional<Report> takeError();
  // Fails with the last reported error, if there is one. For guarded calls, whose result says
  // little.
  void check();

 private:
  explicit Session(SessionHooks hooks);
  static Session start(bool create, const std::string& folder, bool unicode, SessionHooks hooks);
  void setCharacterClasses();

  CVeskaIndex* index_ = nullptr;
  std::unique_ptr<SessionHooks> hooks_;  // the callbacks find it: its address must stay
};

// Runs f, which calls unguarded functions of the engine; the integer that these throw becomes a
// HostError with the reported reason ("AssertionFailed": the index is damaged).
template <typename F>
auto engineCall(F&& f) -> decltype(f());

// Fails with the report that came last. For engineCall.
[[noreturn]] void failWithLastReport();

template <typename F>
auto engineCall(F&& f) -> decltype(f()) {
  try {
    return std::forward<F>(f)();
  } catch (int) {
    failWithLastReport();
  }
}

}  // namespace veska
