#include "host/catalog.h"

#include <fmt/format.h>

#include <algorithm>

namespace veska {

Catalog::Catalog(const Home& home)
    : home_(home),
      generation_(home.requireCurrent()),
      session_(Session::open(generation_.path)),
      reader_(session_.index()) {}

const State& Catalog::state() {
  if (!state_) state_ = readState(generation_.path).value_or(State{});
  return *state_;
}

const Settings& Catalog::settings() {
  if (!settings_) settings_ = readSettings(home_.settingsFile());
  return *settings_;
}

Corpus Catalog::corpus() { return {state().liveFiles, state().liveBytes}; }

std::optional<Contents> Catalog::contents(FileId file, const TextOptions& options, Report* why) {
  if (!scratch_) {
    scratch_ = std::make_unique<ScratchFolder>(home_, state().lineage);
    session_.applySettings(settings(), scratch_->path());
  }
  return Contents::open(session_, file, options, why);
}

bool Catalog::readText(FileId file, const std::function<void(std::string_view text)>& use) {
  TextOptions options;
  options.maxBytes =
      static_cast<uint32_t>(std::min<uint64_t>(settings().fileBytes, UINT32_MAX / 2));
  Report why;
  const std::optional<Contents> text = contents(file, options, &why);
  if (text) use(text->text());
  return text.has_value();
}

std::string Catalog::whyNotIndexed(const std::string& word) {
  if (reader_.lookup(word) != 0) return {};
  if (reader_.isSkipWord(word)) return "it is a skip word";
  const auto shortest = static_cast<size_t>(std::max(settings().shortestWord, 0));
  const auto longest = static_cast<size_t>(std::max(settings().longestWord, 0));
  if (word.size() < shortest) {
    return fmt::format("words of fewer than {} letters are not indexed", shortest);
  }
  if (longest != 0 && word.size() > longest) {
    return fmt::format("words of more than {} letters are not indexed", longest);
  }
  return {};
}

}  // namespace veska
