// veska words: the words of the index with the number of files that hold each.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "cli/commands.h"
#include "cli/terminal.h"
#include "host/catalog.h"
#include "host/charset.h"
#include "host/encoding.h"
#include "host/errors.h"

namespace veska {
namespace {

class WordsCommand : public Command {
 public:
  void addOptions(CLI::App& app) override;
  int run(const Context& context) override;

 private:
  struct Counted {
    const char* text;
    size_t files;
  };

  std::vector<std::string> terms(const WordCutter& cut) const;
  static std::vector<Counted> count(Reader& reader, const std::vector<std::string>& terms);

  std::vector<std::string> patterns_;
  bool byFiles_ = false;
  size_t limit_ = 0;
};

void WordsCommand::addOptions(CLI::App& app) {
  app.add_option("PATTERN", patterns_, "Words with * and ?; all words when there is none")
      ->group("");
  app.add_flag("-f,--by-files", byFiles_, "Those in most files first, not by the alphabet");
  app.add_option("-n,--limit", limit_, "Words at most; 0: all (default)")->type_name("N");
  app.footer(
      "PATTERN: words with * and ?; without one, all words.\n"
      "Each line: the number of files, a tab, the word.\n"
      "Examples:\n"
      "  veska words 'wom?n*'\n"
      "  veska words --by-files --limit 20");
}

// The patterns as the index holds words.
std::vector<std::string> WordsCommand::terms(const WordCutter& cut) const {
  std::vector<std::string> terms;
  for (const std::string& pattern : patterns_) {
    const CutText pieces = cut(Charset::ofLocale().decoded(pattern));
    if (!pieces.unknown.empty()) {
      fail(fmt::format("no index word can hold \"{}\"", pieces.unknown),
           "the index has the letters of Western European languages only");
    }
    for (const CutWord& word : pieces.words) {
      terms.push_back(word.text);
      if (word.shape != WordShape::kSingle) continue;
      terms.push_back(word.text + '*');
      terms.push_back('*' + word.text);
    }
  }
  if (patterns_.empty()) terms.emplace_back("*");
  return terms;
}

// A term without accents asks for the words with them too.
bool matches(const Reader& reader, const char* word, const std::string& term) {
  return reader.unicode() && withoutAccents(term) == term ? reader.matchesPlain(word, term)
                                                          : reader.matches(word, term);
}

std::vector<WordsCommand::Counted> WordsCommand::count(Reader& reader,
                                                       const std::vector<std::string>& terms) {
  std::vector<Counted> counted;
  const auto add = [&](WordId word) {
    const size_t files = reader.postings(word).size();
    if (files > 0) counted.push_back({reader.wordText(word), files});
  };
  const auto plain = [](const std::string& term) {
    return term.find_first_of("*?") == std::string::npos;
  };
  if (terms.empty()) return counted;
  if (terms.size() == 1 && plain(terms.front())) {
    std::vector<std::string> forms = reader.accentedFormsOf(terms.front());
    forms.push_back(terms.front());
    for (const std::string& form : forms) {
      if (const WordId word = reader.lookup(form); word != 0) add(word);
    }
    return counted;
  }
  for (WordId word = reader.firstWord(); word != 0; word = reader.nextWord(word)) {
    const char* text = reader.wordText(word);
    const bool wanted = std::any_of(terms.begin(), terms.end(), [&](const std::string& term) {
      return term == "*" || matches(reader, text, term);
    });
    if (wanted) add(word);
  }
  return counted;
}

int WordsCommand::run(const Context& context) {
  Catalog catalog(context.home);
  std::vector<Counted> counted = count(catalog.reader(), terms(catalog.cutter()));
  std::sort(counted.begin(), counted.end(), [this](const Counted& a, const Counted& b) {
    if (byFiles_ && a.files != b.files) return a.files > b.files;
    return std::strcmp(a.text, b.text) < 0;
  });
  if (limit_ != 0 && counted.size() > limit_) counted.resize(limit_);
  for (const Counted& word : counted) {
    writeText(fmt::format("{}\t{}\n", word.files, printableText(word.text)));
  }
  flushOut();
  return counted.empty() ? kExitNothingFound : kExitDone;
}

}  // namespace

std::unique_ptr<Command> makeWordsCommand() { return std::make_unique<WordsCommand>(); }

}  // namespace veska
