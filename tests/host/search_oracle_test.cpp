// Postings, and random boolean queries, of random files, through several updates, compared with a
// slow look at every file.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

#include "host/query.h"
#include "host/reader.h"
#include "host/search.h"
#include "host/words.h"
#include "tests/host/smallindex.h"
#include "tests/support/generated.h"

namespace veska {
namespace {

using Words = std::vector<std::string>;

const Words kVocabulary = {"aa ",  "ab ",  "abc ", "ba ",  "bb ",
                           "bca ", "cab ", "cc ",  "cba ", "dd "};
const Words kTerms = {"aa", "ab",      "abc", "ba", "bb", "cab", "cc",
                      "dd", "nowhere", "a*",  "*b", "?a", "c*a", "*b*"};

class Oracle {
 public:
  explicit Oracle(unsigned seed) : generate_(seed) {}

  size_t below(size_t bound) { return generate_.below(bound); }

  std::string randomText() { return generate_.anyOf(kVocabulary, 11) + "\n"; }

  // A query as text, and the same as a tree to walk.
  struct Node {
    std::string text;
    enum { kTerm, kPhrase, kNear, kAnd, kOr, kNot } kind = kTerm;
    Words terms;
    size_t distance = 0;
    std::unique_ptr<Node> left, right;
  };

  std::unique_ptr<Node> randomQuery(int depth) {
    auto node = std::make_unique<Node>();
    const auto term = [this] { return kTerms[below(kTerms.size())]; };
    constexpr decltype(node->kind) kLeaves[] = {Node::kTerm, Node::kTerm, Node::kPhrase,
                                                Node::kNear};
    constexpr decltype(node->kind) kBranches[] = {Node::kAnd, Node::kOr, Node::kNot};
    node->kind = depth == 0 ? kLeaves[below(4)] : kBranches[below(3)];
    if (depth == 0) {
      node->distance = 1 + below(4);
      node->terms = {term()};
      node->text = node->terms[0];
      if (node->kind == Node::kTerm) return node;
      node->terms.push_back(term());
      const bool near = node->kind == Node::kNear;
      node->text += (near ? " NEAR/" + std::to_string(node->distance) : "") + " " + node->terms[1];
      node->text = near ? "(" + node->text + ")" : "\"" + node->text + "\"";
      return node;
    }
    node->left = randomQuery(depth - 1);
    node->text = "NOT " + node->left->text;
    if (node->kind == Node::kNot) return node;
    node->right = randomQuery(depth - 1);
    node->text =
        "(" + node->left->text + (node->kind == Node::kOr ? " OR " : " ") + node->right->text + ")";
    return node;
  }

  static bool matches(std::string_view word, std::string_view term) {
    if (term.empty()) return word.empty();
    if (term[0] == '*') {
      return matches(word, term.substr(1)) || (!word.empty() && matches(word.substr(1), term));
    }
    return !word.empty() && (term[0] == '?' || term[0] == word[0]) &&
           matches(word.substr(1), term.substr(1));
  }

  static bool holds(const Node& node, const Words& words) {
    if (node.kind == Node::kNot) return !holds(*node.left, words);
    if (node.kind == Node::kAnd) return holds(*node.left, words) && holds(*node.right, words);
    if (node.kind == Node::kOr) return holds(*node.left, words) || holds(*node.right, words);
    const auto isHit = [&](size_t i, size_t j) {
      if (node.kind == Node::kTerm && j != i) return false;
      if (node.kind == Node::kPhrase && j != i + 1) return false;
      if (node.kind == Node::kNear && (i == j || std::max(i, j) - std::min(i, j) > node.distance))
        return false;
      return matches(words[i], node.terms.front()) && matches(words[j], node.terms.back());
    };
    for (size_t i = 0; i < words.size(); ++i)
      for (size_t j = 0; j < words.size(); ++j)
        if (isHit(i, j)) return true;
    return false;
  }

 private:
  test::Generator generate_;
};

Words split(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

// How often each word occurs in each file.
void comparePostings(test::SmallIndex& files, Reader& reader) {
  for (std::string word : kVocabulary) {
    word.pop_back();
    std::map<std::string, long> listed, counted;
    for (const Posting& posting : reader.postings(reader.lookup(word)))
      listed[reader.path(posting.file)] = posting.occurrences;
    for (const auto& [path, text] : files.texts()) {
      const Words words = split(text);
      const long count = std::count(words.begin(), words.end(), word);
      if (count != 0) counted[path] = count;
    }
    ASSERT_EQ(listed, counted) << word;
  }
}

void compare(test::SmallIndex& files, bool unicode, Oracle& oracle, int rounds) {
  CVeskaIndex* const index = files.open();
  Reader reader = unicode ? Reader(index, files.tables()) : Reader(index);
  comparePostings(files, reader);
  WordCutter cut = cutBytes;
  if (unicode) cut = [index](std::string_view part) { return cutUnicode(index, part); };
  int answered = 0;
  for (int round = 0; round < rounds; ++round) {
    const auto node = oracle.randomQuery(static_cast<int>(oracle.below(4)));
    const QueryResult parsed = parseQuery(node->text, {}, cut);
    if (!parsed.query) continue;  // only excludes
    ++answered;
    SearchOptions options;
    options.limit = 0;
    const TextSource texts = [&](FileId file, const auto& use) {
      use(files.texts().at(reader.path(file)));
      return true;
    };
    const SearchResult result =
        Search(reader, *parsed.query, {files.texts().size(), 1000}).run(options, texts);
    std::set<std::string> found;
    for (const Ranked& ranked : result.found) found.insert(reader.path(ranked.file));
    ASSERT_EQ(found.size(), result.found.size()) << node->text;
    ASSERT_TRUE(std::is_sorted(result.found.begin(), result.found.end(),
                               [](const Ranked& a, const Ranked& b) { return a.score > b.score; }));
    std::set<std::string> expected;
    for (const auto& [path, text] : files.texts()) {
      if (Oracle::holds(*node, split(text))) expected.insert(path);
    }
    ASSERT_EQ(found, expected) << node->text;
  }
  EXPECT_GT(answered, rounds / 3);
}

TEST(SearchOracle, AnswersAsALookAtEveryFileThroughUpdates) {
  for (const unsigned seed : {1u, 2u, 3u}) {
    SCOPED_TRACE(seed);
    Oracle oracle(seed);
    const bool unicode = seed == 2;
    test::SmallIndex files(unicode);
    for (int i = 0; i < 40; ++i) {
      files.write("d" + std::to_string(i % 5) + "/f" + std::to_string(i) + ".txt",
                  oracle.randomText());
    }
    files.build();
    compare(files, unicode, oracle, 150);
    for (int change = 0; change < 3 && !testing::Test::HasFatalFailure(); ++change) {
      for (int i = 0; i < 15; ++i) {
        const size_t number = oracle.below(60);
        const std::string name =
            "d" + std::to_string(number % 5) + "/f" + std::to_string(number) + ".txt";
        if (oracle.below(3) == 0) {
          files.remove(name);
        } else {
          files.write(name, oracle.randomText());
        }
      }
      files.update();
      compare(files, unicode, oracle, 100);
    }
  }
}

}  // namespace
}  // namespace veska
