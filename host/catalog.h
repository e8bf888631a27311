// The index in force, opened for reading. Everything beyond the tables is read at its first use, so
// that a search in a new process pays only for what it needs.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/contents.h"
#include "host/home.h"
#include "host/ranking.h"
#include "host/reader.h"
#include "host/scratch.h"
#include "host/session.h"
#include "host/settings.h"
#include "host/state.h"
#include "host/words.h"

namespace veska {

class Catalog {
 public:
  // Fails when there is no index yet, or when it cannot be opened. The home must outlive the
  // object.
  explicit Catalog(const Home& home);

  Reader& reader() { return reader_; }
  // That of the index.
  WordCutter cutter() const;
  const Generation& generation() const { return generation_; }
  const State& state() const { return state_; }
  const Settings& settings();
  Corpus corpus();

  // The display text of a file; nothing when it cannot be had, and the reason in *why.
  std::optional<Contents> contents(FileId file, const TextOptions& options, Report* why);
  // Reads the display text whole, up to the read limit of the settings. A TextSource of
  // host/search.h.
  bool readText(FileId file, const std::function<void(std::string_view text)>& use);

  // A WordRule of host/query.h. A word that is in the index is found without a look at the
  // settings.
  std::string whyNotIndexed(const std::string& word);

 private:
  const Home& home_;
  Generation generation_;
  State state_;
  Session session_;
  Reader reader_;
  std::optional<Settings> settings_;
  std::unique_ptr<ScratchFolder> scratch_;  // null until contents are asked for
};

}  // namespace veska
