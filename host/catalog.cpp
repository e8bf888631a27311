#include "host/catalog.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/encoding.h"

namespace veska {
namespace {

// Whether the word is of a script without blanks: those have words of any length.
bool isUnspaced(CVeskaIndex* index, const std::string& word) {
  bool unspaced = false;
  const auto look = [&](const char*, size_t, size_t, WordShape shape) {
    unspaced = shape != WordShape::kWord;
  };
  if (isBeyondAscii(word)) walkUnicodeWords(index, word, false, look);
  return unspaced;
}

}  // namespace

Catalog::Catalog(const Home& home)
    : home_(home),
      generation_(home.requireCurrent()),
      state_(readState(generation_.path).value_or(State{})),
      session_(Session::open(generation_.path, state_.unicode)),
      reader_(state_.unicode ? Reader(session_.index(), generation_.path)
                             : Reader(session_.index())) {}

WordCutter Catalog::cutter() const {
  if (!state_.unicode) return cutBytes;
  return [index = session_.index()](std::string_view text) { return cutUnicode(index, text); };
}

const Settings& Catalog::settings() {
  if (!settings_) settings_ = readSettings(home_.settingsFile()).forText(state_.unicode);
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
  if (reader_.lookup(word) != 0 || !reader_.accentedFormsOf(word).empty()) return {};
  if (reader_.isSkipWord(word)) return "it is a skip word";
  const auto shortest = static_cast<size_t>(std::max(settings().shortestWord, 0));
  const auto longest = static_cast<size_t>(std::max(settings().longestWord, 0));
  const size_t length = state_.unicode ? characterCount(word) : word.size();
  if (length < shortest && !(state_.unicode && isUnspaced(session_.index(), word))) {
    return fmt::format("words of fewer than {} letters are not indexed", shortest);
  }
  if (longest != 0 && length > longest) {
    return fmt::format("words of more than {} letters are not indexed", longest);
  }
  return {};
}

}  // namespace veska
