#include "analyzers/pdf/parser.h"

namespace veska::pdf {
namespace {

using Kind = Token::Kind;

bool isCount(const Token& token) {
  return token.is(Kind::kInteger) && token.number >= 0 && token.number <= 0xFFFFFFFFu;
}

}  // namespace

Object Parser::object() { return object(lexer_.next(), 0); }

Object Parser::object(const Token& token, int depth) {
  if (!budget_.takeObjects(1)) return {};
  switch (token.kind) {
    case Kind::kInteger:
      return numberOrReference(token);
    case Kind::kReal:
      return Object(token.number);
    case Kind::kString: {
      Object value(std::string(lexer_.text(token)));
      lexer_.forget();
      return value;
    }
    case Kind::kName: {
      Object value(Name{std::string(lexer_.text(token))});
      lexer_.forget();
      return value;
    }
    case Kind::kArrayBegin:
      return depth < kMaxNesting ? array(depth + 1) : Object();
    case Kind::kDictionaryBegin:
      return depth < kMaxNesting ? dictionary(depth + 1) : Object();
    case Kind::kKeyword:
      if (lexer_.text(token) == "true") return Object(true);
      if (lexer_.text(token) == "false") return Object(false);
      return {};
    default:
      return {};
  }
}

Object Parser::numberOrReference(const Token& token) {
  if (!(token.number > -9e15 && token.number < 9e15)) return Object(token.number);
  const Object integer(static_cast<int64_t>(token.number));
  if (!isCount(token)) return integer;
  const uint64_t after = lexer_.position();
  const Token generation = lexer_.next();
  if (isCount(generation)) {
    const Token keyword = lexer_.next();
    if (keyword.is(Kind::kKeyword) && lexer_.text(keyword) == "R") {
      return Object(
          Reference{static_cast<uint32_t>(token.number), static_cast<uint32_t>(generation.number)});
    }
  }
  lexer_.seek(after);
  lexer_.forget();
  return integer;
}

Object Parser::array(int depth) {
  Array items;
  while (!budget_.exhausted()) {
    const uint64_t before = lexer_.position();
    const Token token = lexer_.next();
    if (token.is(Kind::kEnd) || token.is(Kind::kArrayEnd)) break;
    if (token.is(Kind::kDictionaryEnd) ||
        (token.is(Kind::kKeyword) && lexer_.text(token) == "endobj")) {
      lexer_.seek(before);  // the bracket is missing
      break;
    }
    items.push_back(object(token, depth));
  }
  return Object(std::move(items));
}

Object Parser::dictionary(int depth) {
  std::vector<Dictionary::Entry> entries;
  while (!budget_.exhausted()) {
    const uint64_t before = lexer_.position();
    const Token token = lexer_.next();
    if (token.is(Kind::kEnd) || token.is(Kind::kDictionaryEnd)) break;
    if (token.is(Kind::kKeyword)) {
      const std::string_view word = lexer_.text(token);
      if (word == "endobj" || word == "stream") {
        lexer_.seek(before);  // the end is missing
        break;
      }
    }
    if (!token.is(Kind::kName)) continue;
    std::string key(lexer_.text(token));
    lexer_.forget();
    const uint64_t valueAt = lexer_.position();
    const Token value = lexer_.next();
    if (value.is(Kind::kDictionaryEnd)) {
      lexer_.seek(valueAt);
      continue;
    }
    entries.emplace_back(std::move(key), object(value, depth));
  }
  return Object(Dictionary(std::move(entries)));
}

bool Parser::objectHeader(Reference& id) {
  const uint64_t before = lexer_.position();
  const Token number = lexer_.next();
  const Token generation = isCount(number) ? lexer_.next() : Token();
  if (isCount(generation) && keyword("obj")) {
    id = {static_cast<uint32_t>(number.number), static_cast<uint32_t>(generation.number)};
    return true;
  }
  lexer_.seek(before);
  return false;
}

bool Parser::keyword(std::string_view wanted) {
  const uint64_t before = lexer_.position();
  const Token token = lexer_.next();
  if (token.is(Kind::kKeyword)) {
    const std::string_view word = lexer_.text(token);
    if (word == wanted) return true;
    if (word.starts_with(wanted) && wanted == "obj") {  // "obj" and the object without a space
      lexer_.seek(token.at + wanted.size());
      return true;
    }
  }
  lexer_.seek(before);
  return false;
}

}  // namespace veska::pdf
