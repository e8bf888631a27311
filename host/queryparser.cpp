// An operator-precedence parser: operators and open parentheses wait on one stack, and the postfix
// program grows as they are taken off it. An operand may turn out empty (a word that no index
// holds); the operators around it then vanish with it.
#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "host/encoding.h"
#include "host/query.h"
#include "host/querytokens.h"

namespace veska {
namespace {

constexpr size_t kMostNotes = 10;

std::string quoted(std::string_view utf8) {
  constexpr size_t kMost = 60;
  if (utf8.size() <= kMost) return fmt::format("\"{}\"", utf8);
  size_t cut = kMost;
  while (cut > 0 && (static_cast<unsigned char>(utf8[cut]) & 0xC0) == 0x80) --cut;
  return fmt::format("\"{}...\"", utf8.substr(0, cut));
}

class Parser {
 public:
  Parser(std::string_view text, const WordRule& rule, const WordCutter& cut)
      : text_(text), rule_(rule), cut_(cut), tokens_(text) {}

  QueryResult parse();

 private:
  struct Operator {
    TokenKind kind;
    size_t at;
  };
  // A word or phrase as it stood, taken apart.
  struct Operand {
    std::vector<uint32_t> words;
    std::vector<bool> glued;
  };

  bool failed() const { return !error_.message.empty(); }
  void error(std::string message, size_t at) {
    if (!failed()) error_ = {std::move(message), at};
  }

  void note(std::string text) {
    const bool known =
        std::find(query_.notes.begin(), query_.notes.end(), text) != query_.notes.end();
    if (query_.notes.size() < kMostNotes && !known) query_.notes.push_back(std::move(text));
  }

  Token next() {
    Token token = tokens_.next();
    if (!token.error.empty()) error(token.error, token.at);
    return token;
  }

  void expectOperand(const Token& token);
  void expectOperator(const Token& token);
  void finish(const Token& end);
  void missingOperand(const Token& token);

  void push(TokenKind kind, size_t at);
  void reduceTo(int precedence);
  void closeGroup(const Token& token);
  void operandDone(bool empty) {
    empty_.push_back(empty);
    wantOperand_ = false;
  }

  void operandWithNears(const Token& token);
  Operand takeApart(const Token& token);
  uint32_t wordNumber(const std::string& text, bool single);
  uint32_t wordNumber(QueryWord wanted);
  void passOverAnyWord(std::vector<uint32_t>& words);
  std::string whyNotIndexed(const std::string& text) const;
  bool narrows(const std::vector<uint32_t>& words) const;
  void addLeaf(QueryLeaf leaf);
  bool addWordOrPhrase(Operand& operand, std::string_view text);
  bool negatedHere() const;

  std::string_view text_;
  const WordRule& rule_;
  const WordCutter& cut_;
  TokenReader tokens_;
  bool wantOperand_ = true;
  TokenKind last_ = TokenKind::kEnd;  // the token before
  std::vector<Operator> operators_;
  std::vector<bool> empty_;  // one for each operand that waits for its operator
  size_t wordCount_ = 0;
  size_t wildcardCount_ = 0;  // different ones
  size_t firstNot_ = std::string_view::npos;
  Query query_;
  QueryError error_;
};

int precedenceOf(TokenKind kind) {
  switch (kind) {
    case TokenKind::kOr:
      return 1;
    case TokenKind::kAnd:
      return 2;
    case TokenKind::kNot:
      return 3;
    default:
      return 0;  // an open parenthesis is taken off by its counterpart only
  }
}

std::string_view nameOf(TokenKind kind) {
  switch (kind) {
    case TokenKind::kOr:
      return "OR";
    case TokenKind::kAnd:
      return "AND";
    case TokenKind::kNot:
      return "NOT";
    case TokenKind::kNear:
      return "NEAR";
    case TokenKind::kOpen:
      return "(";
    default:
      return "the beginning";
  }
}

// --- Structure

QueryResult Parser::parse() {
  if (text_.size() > kMaxQueryBytes) {
    error(fmt::format("the query is too long: {} bytes, {} at most", text_.size(), kMaxQueryBytes),
          0);
  }
  while (!failed()) {
    const Token token = next();
    if (failed()) break;
    if (token.kind == TokenKind::kEnd) {
      finish(token);
      break;
    }
    if (wantOperand_) {
      expectOperand(token);
    } else {
      expectOperator(token);
    }
    last_ = token.kind;
  }
  QueryResult result;
  if (failed()) {
    result.error = std::move(error_);
  } else {
    result.query = std::move(query_);
  }
  return result;
}

void Parser::expectOperand(const Token& token) {
  switch (token.kind) {
    case TokenKind::kWord:
    case TokenKind::kPhrase:
      operandWithNears(token);
      break;
    case TokenKind::kOpen:
    case TokenKind::kNot:
      push(token.kind, token.at);
      break;
    case TokenKind::kClose:
      if (last_ == TokenKind::kOpen) {
        operandDone(true);  // printf(): the parentheses say nothing
        closeGroup(token);
        break;
      }
      [[fallthrough]];
    default:
      missingOperand(token);
  }
}

void Parser::expectOperator(const Token& token) {
  switch (token.kind) {
    case TokenKind::kOr:
    case TokenKind::kAnd:
      reduceTo(precedenceOf(token.kind));
      push(token.kind, token.at);
      wantOperand_ = true;
      break;
    case TokenKind::kClose:
      closeGroup(token);
      break;
    case TokenKind::kNear:
      error("NEAR stands between two words or phrases", token.at);
      break;
    default:
      reduceTo(precedenceOf(TokenKind::kAnd));
      push(TokenKind::kAnd, token.at);
      wantOperand_ = true;
      expectOperand(token);
  }
}

void Parser::missingOperand(const Token& token) {
  if (last_ == TokenKind::kEnd || last_ == TokenKind::kOpen) {
    if (token.kind == TokenKind::kClose) {
      error("this parenthesis was never opened", token.at);
    } else {
      error(fmt::format("{} wants something before it", nameOf(token.kind)), token.at);
    }
  } else {
    error(fmt::format("{} wants a word, a phrase or a parenthesis after it", nameOf(last_)),
          token.at);
  }
}

void Parser::finish(const Token& end) {
  if (wantOperand_) {
    if (last_ == TokenKind::kEnd) {
      error("the query is empty", 0);
    } else if (last_ != TokenKind::kOpen) {
      missingOperand(end);
    }
  }
  if (!failed() && !wantOperand_) reduceTo(0);
  if (!failed() && !operators_.empty()) {
    error("this parenthesis is never closed", operators_.back().at);
  }
  if (failed()) return;
  if (query_.program.empty()) {
    std::string message = "nothing is left to search for";
    for (const std::string& note : query_.notes) message += "; " + note;
    error(std::move(message), 0);
  } else if (query_.onlyExcludes()) {
    error("the query only says what to leave out; add a word to look for", firstNot_);
  }
}

void Parser::push(TokenKind kind, size_t at) {
  if (kind == TokenKind::kNot && firstNot_ == std::string_view::npos) firstNot_ = at;
  operators_.push_back({kind, at});
  if (operators_.size() > kMaxQueryDepth) {
    error(fmt::format("the query is nested deeper than {} levels", kMaxQueryDepth), at);
  }
}

// Takes off what binds at least as tightly, down to the innermost open parenthesis.
void Parser::reduceTo(int precedence) {
  while (!operators_.empty() && operators_.back().kind != TokenKind::kOpen &&
         precedenceOf(operators_.back().kind) >= precedence) {
    const TokenKind kind = operators_.back().kind;
    operators_.pop_back();
    const bool right = empty_.back();
    if (kind == TokenKind::kNot) {
      if (!right) query_.program.push_back({QueryStep::Op::kNot});
      continue;
    }
    empty_.pop_back();
    if (!right && !empty_.back()) {
      query_.program.push_back({kind == TokenKind::kOr ? QueryStep::Op::kOr : QueryStep::Op::kAnd});
    }
    empty_.back() = empty_.back() && right;
  }
}

void Parser::closeGroup(const Token& token) {
  reduceTo(0);
  if (operators_.empty()) {
    error("this parenthesis was never opened", token.at);
    return;
  }
  operators_.pop_back();
  // A NOT before the parenthesis waits for the group as a whole.
  reduceTo(precedenceOf(TokenKind::kNot));
}

bool Parser::negatedHere() const {
  return std::count_if(operators_.begin(), operators_.end(),
                       [](const Operator& waiting) { return waiting.kind == TokenKind::kNot; }) %
             2 ==
         1;
}

// --- Operands

void Parser::operandWithNears(const Token& first) {
  Operand left = takeApart(first);
  Token leftToken = first;
  bool any = false;
  bool alone = true;
  while (!failed()) {
    const size_t before = tokens_.place();
    const Token operation = next();
    if (operation.kind != TokenKind::kNear) {
      tokens_.goBack(before);
      break;
    }
    const Token rightToken = next();
    if (rightToken.kind != TokenKind::kWord && rightToken.kind != TokenKind::kPhrase) {
      error("NEAR wants a word or a phrase after it", rightToken.at);
      break;
    }
    alone = false;
    Operand right = takeApart(rightToken);
    if (left.words.empty() || right.words.empty()) {
      error("NEAR wants words with letters or digits on both sides", operation.at);
      break;
    }
    QueryLeaf leaf{QueryLeaf::Kind::kNear, left.words, left.words.size(), operation.distance,
                   negatedHere()};
    leaf.words.insert(leaf.words.end(), right.words.begin(), right.words.end());
    leaf.glued = left.glued;
    leaf.glued.insert(leaf.glued.end(), right.glued.begin(), right.glued.end());
    passOverAnyWord(leaf.words);
    if (narrows(leaf.words)) {
      addLeaf(std::move(leaf));
      if (any) query_.program.push_back({QueryStep::Op::kAnd});
      any = true;
    } else {
      note(fmt::format("{} NEAR {} was ignored: neither word is indexed", quoted(leftToken.text),
                       quoted(rightToken.text)));
    }
    left = std::move(right);
    leftToken = rightToken;
  }
  if (failed()) return;
  if (alone) any = addWordOrPhrase(left, first.text);
  operandDone(!any);
  reduceTo(precedenceOf(TokenKind::kNot));
}

// The engine takes what follows a star literally, so a run of wildcards ends with its star.
std::string withOrderedWildcards(const std::string& text) {
  std::string word;
  for (const char byte : text) {
    const bool star = !word.empty() && word.back() == '*';
    if (star && byte == '?') word.insert(word.size() - 1, 1, '?');
    if (!star || (byte != '*' && byte != '?')) word += byte;
  }
  return word;
}

// A word's run or a phrase, cut into the words that the index would have made of it.
Parser::Operand Parser::takeApart(const Token& token) {
  Operand operand;
  const CutText cut = cut_(token.text);
  if (!cut.unknown.empty()) {
    error(fmt::format("no index word can hold \"{}\": the index has the letters of Western "
                      "European languages only",
                      cut.unknown),
          token.textAt + cut.unknownAt);
    return operand;
  }
  for (const CutWord& piece : cut.words) {
    const std::string word = withOrderedWildcards(piece.text);
    const bool letters = word.find_first_not_of("*?") != std::string::npos;
    if (!letters && word.back() != '*') continue;  // "what ?": a question mark and no more
    if (++wordCount_ > kMaxQueryWords) {
      error(fmt::format("the query has more than {} words", kMaxQueryWords), token.at);
      return operand;
    }
    operand.glued.push_back(piece.glued);
    operand.words.push_back(wordNumber(word, piece.shape == WordShape::kSingle));
    if (wildcardCount_ > kMaxQueryWildcards) {
      error(fmt::format("the query has more than {} words with * or ?", kMaxQueryWildcards),
            token.at);
      return operand;
    }
  }
  return operand;
}

uint32_t Parser::wordNumber(const std::string& text, bool single) {
  const bool wildcard = text.find_first_of("*?") != std::string::npos;
  return wordNumber({text, wildcard, wildcard || whyNotIndexed(text).empty(), single});
}

uint32_t Parser::wordNumber(QueryWord wanted) {
  const auto found =
      std::find_if(query_.words.begin(), query_.words.end(), [&](const QueryWord& word) {
        return word.text == wanted.text && word.indexed == wanted.indexed;
      });
  if (found != query_.words.end()) return static_cast<uint32_t>(found - query_.words.begin());
  // Like one with wildcards, a single character is held against all words.
  if (wanted.wildcard || wanted.single) ++wildcardCount_;
  query_.words.push_back(std::move(wanted));
  return static_cast<uint32_t>(query_.words.size() - 1);
}

// In a phrase a lone star stands for any word, which only the text can tell: no need to read the
// postings of all words.
void Parser::passOverAnyWord(std::vector<uint32_t>& words) {
  for (uint32_t& word : words) {
    if (query_.words[word].text == "*") word = wordNumber({"*", true, false});
  }
}

std::string Parser::whyNotIndexed(const std::string& text) const {
  return rule_ ? rule_(text) : std::string();
}

// Whether postings say anything about where such words stand.
bool Parser::narrows(const std::vector<uint32_t>& words) const {
  return std::any_of(words.begin(), words.end(),
                     [this](uint32_t number) { return query_.words[number].indexed; });
}

void Parser::addLeaf(QueryLeaf leaf) {
  query_.program.push_back({QueryStep::Op::kLeaf, static_cast<uint32_t>(query_.leaves.size())});
  query_.leaves.push_back(std::move(leaf));
}

// Result: whether something was added.
bool Parser::addWordOrPhrase(Operand& operand, std::string_view text) {
  if (operand.words.empty()) {
    note(fmt::format("{} was ignored: it has no letters or digits", quoted(text)));
    return false;
  }
  if (operand.words.size() == 1) {
    const QueryWord& word = query_.words[operand.words.front()];
    if (!word.indexed) {
      note(fmt::format("{} was ignored: {}", quoted(text), whyNotIndexed(word.text)));
      return false;
    }
    addLeaf({QueryLeaf::Kind::kWord, operand.words, 0, 0, negatedHere()});
    return true;
  }
  passOverAnyWord(operand.words);
  if (!narrows(operand.words)) {
    note(fmt::format("{} was ignored: none of its words is indexed", quoted(text)));
    return false;
  }
  addLeaf({QueryLeaf::Kind::kPhrase, operand.words, 0, 0, negatedHere(), operand.glued});
  return true;
}

}  // namespace

QueryResult parseQuery(std::string_view text, const WordRule& whyNotIndexed,
                       const WordCutter& cut) {
  return Parser(text, whyNotIndexed, cut).parse();
}

}  // namespace veska
