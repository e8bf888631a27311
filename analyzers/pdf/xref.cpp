#include "analyzers/pdf/xref.h"

#include <algorithm>

#include "analyzers/pdf/parser.h"

namespace veska::pdf {
namespace {

constexpr uint64_t kTailBytes = 2048;  // where "startxref" is looked for
constexpr uint64_t kFirstWindowBytes = 64 << 10;
constexpr uint64_t kMaxObjectNumber = 8388607;  // ISO 32000-1, annex C

const ObjectReader::LengthOf kUnknownLength = [](const Reference&) { return int64_t{-1}; };

Object keepReference(const Object& object) { return object; }

}  // namespace

XrefEntry Xref::entry(uint32_t number) const {
  return number < entries_.size() ? entries_[number] : XrefEntry();
}

// Room for the entry of an object; null for a number that a file of this size cannot need.
XrefEntry* Xref::slot(uint64_t number) {
  const uint64_t most = std::min(kMaxObjectNumber, reader_.file().size() + (64 << 10));
  if (number > most) return nullptr;
  if (number >= entries_.size()) {
    if (number >= entries_.capacity())
      entries_.reserve(std::min(most + 1, number + number / 2 + 64));
    entries_.resize(number + 1);
  }
  return &entries_[number];
}

void Xref::setIfUnknown(uint64_t number, XrefEntry entry) {
  XrefEntry* const known = slot(number);
  if (known && known->kind == XrefEntry::Kind::kUnknown) *known = entry;
}

void Xref::addCompressed(uint32_t number, uint32_t container) {
  setIfUnknown(number, {XrefEntry::Kind::kCompressed, container});
}

bool Xref::read(uint64_t base) {
  base_ = base;
  const uint64_t start = startOffset();
  if (start == 0) return false;
  pending_.push_back(start);
  bool any = false;
  while (!pending_.empty() && reader_.budget().takeSteps(64)) {
    const uint64_t offset = pending_.back();
    pending_.pop_back();
    if (!visited_.insert(offset).second) continue;
    any = readSection(offset) || any;
  }
  return any && !trailer_["Root"].isNull();
}

uint64_t Xref::startOffset() {
  const uint64_t size = reader_.file().size();
  const uint64_t from = size > kTailBytes ? size - kTailBytes : 0;
  const std::string_view tail = reader_.file().read(from, kTailBytes);
  const size_t found = tail.rfind("startxref");
  if (found == std::string_view::npos) return 0;
  Lexer lexer(tail.substr(found + 9));
  const Token offset = lexer.next();
  const bool sound = offset.is(Token::Kind::kInteger) && offset.number > 0 &&
                     offset.number < static_cast<double>(size);
  return sound ? offset.whole() + base_ : 0;
}

bool Xref::readSection(uint64_t offset) {
  std::string_view bytes = reader_.file().read(offset, 64);
  while (!bytes.empty() && isWhiteSpace(bytes[0])) {
    bytes.remove_prefix(1);
    ++offset;
  }
  return bytes.starts_with("xref") ? readTable(offset + 4) : readStreamSection(offset, true);
}

// offset: behind "xref". What a hybrid file hides from readers that know no cross-reference streams
// is free in its table, so the stream that it names comes first.
bool Xref::readTable(uint64_t offset) {
  for (uint64_t window = kFirstWindowBytes;; window *= 8) {
    const std::string_view bytes = reader_.file().read(offset, window);
    Parser parser(bytes, reader_.budget());
    std::vector<std::pair<uint64_t, XrefEntry>> entries;
    const bool sound = readTableSubsections(parser, entries);
    const Object trailer = sound ? parser.object() : Object();
    if (parser.lexer().touchedEnd() && bytes.size() == window && !reader_.budget().exhausted()) {
      continue;
    }
    const int64_t hidden = trailer.dictionary() ? (*trailer.dictionary())["XRefStm"].integer(0) : 0;
    if (trailer.dictionary()) addTrailer(*trailer.dictionary());
    if (hidden > 0) readStreamSection(static_cast<uint64_t>(hidden) + base_, false);
    for (const auto& [number, entry] : entries) setIfUnknown(number, entry);
    if (trailer.dictionary()) follow(*trailer.dictionary());
    return trailer.dictionary() != nullptr;
  }
}

// Result: whether they end with "trailer".
bool Xref::readTableSubsections(Parser& parser,
                                std::vector<std::pair<uint64_t, XrefEntry>>& entries) {
  Lexer& lexer = parser.lexer();
  while (reader_.budget().takeSteps(4)) {
    const Token first = lexer.next();
    if (first.is(Token::Kind::kKeyword)) return lexer.text(first) == "trailer";
    const Token count = lexer.next();
    if (!first.isNumber() || !count.isNumber() || first.number < 0 || count.number < 0)
      return false;
    uint64_t number = first.whole();
    const uint64_t entryCount = count.whole();
    for (uint64_t i = 0; i < entryCount; ++i, ++number) {
      if (!reader_.budget().takeSteps(8)) return false;
      const uint64_t before = lexer.position();
      const Token offset = lexer.next();
      if (!offset.isNumber()) {  // fewer entries than stated
        lexer.seek(before);
        break;
      }
      const Token generation = lexer.next();
      const Token kind = lexer.next();
      if (!kind.is(Token::Kind::kKeyword)) return false;
      // A table that says that it begins with object 1 but has the head of the free list first.
      if (i == 0 && number == 1 && generation.number == 65535 && lexer.text(kind) == "f")
        number = 0;
      if (offset.number < 0) continue;
      const bool used = lexer.text(kind) == "n" && offset.number > 0;
      const XrefEntry::Kind entryKind = used ? XrefEntry::Kind::kPlain : XrefEntry::Kind::kFree;
      entries.emplace_back(number, XrefEntry{entryKind, offset.whole() + base_});
    }
  }
  return false;
}

// withTrailer: its trailer counts, and leads to older sections.
bool Xref::readStreamSection(uint64_t offset, bool withTrailer) {
  const std::optional<IndirectObject> object = reader_.objectAt(offset, kUnknownLength);
  const Stream* stream = object ? object->value.stream() : nullptr;
  if (!stream || !stream->dictionary["Type"].isName("XRef")) return false;
  const std::string data =
      decodeStream(stream->dictionary, reader_.file().read(stream->offset, stream->length),
                   kMaxStreamBytes, reader_.budget(), keepReference);
  readStreamEntries(stream->dictionary, data);
  if (withTrailer) {
    addTrailer(stream->dictionary);
    follow(stream->dictionary);
  }
  return true;
}

void Xref::readStreamEntries(const Dictionary& dictionary, std::string_view data) {
  size_t widths[3] = {0, 0, 0}, entryBytes = 0;
  const Array* fields = dictionary["W"].array();
  if (!fields || fields->size() < 3) return;
  for (size_t i = 0; i < 3; ++i) {
    const int64_t width = (*fields)[i].integer(-1);
    if (width < 0 || width > 8) return;
    entryBytes += widths[i] = static_cast<size_t>(width);
  }
  if (entryBytes == 0) return;
  Array sections = {Object(int64_t{0}), Object(dictionary["Size"].integer(0))};
  if (const Array* index = dictionary["Index"].array()) sections = *index;

  for (size_t section = 0; section + 1 < sections.size(); section += 2) {
    const int64_t first = sections[section].integer(-1);
    const int64_t count = sections[section + 1].integer(0);
    for (int64_t i = 0; first >= 0 && i < count && data.size() >= entryBytes; ++i) {
      if (!reader_.budget().takeSteps(2)) return;
      uint64_t values[3] = {1, 0, 0};  // the kind is 1 where no field says it
      for (size_t field = 0; field < 3; ++field) {
        if (widths[field] > 0) values[field] = 0;
        for (size_t byte = 0; byte < widths[field]; ++byte) {
          values[field] = values[field] << 8 | static_cast<unsigned char>(data[0]);
          data.remove_prefix(1);
        }
      }
      const auto number = static_cast<uint64_t>(first + i);
      if (values[0] == 0) setIfUnknown(number, {XrefEntry::Kind::kFree, 0});
      if (values[0] == 1) setIfUnknown(number, {XrefEntry::Kind::kPlain, values[1] + base_});
      if (values[0] == 2) setIfUnknown(number, {XrefEntry::Kind::kCompressed, values[1]});
    }
  }
}

// Puts the section before this one on the list.
void Xref::follow(const Dictionary& trailer) {
  const int64_t offset = trailer["Prev"].integer(0);
  if (offset > 0) pending_.push_back(static_cast<uint64_t>(offset) + base_);
}

// The newest trailer holds, older ones fill up what it lacks.
void Xref::addTrailer(const Dictionary& trailer) {
  std::vector<Dictionary::Entry> entries;
  for (const char* key : {"Root", "Encrypt", "ID", "Info"}) {
    const Object& value = trailer_[key].isNull() ? trailer[key] : trailer_[key];
    if (!value.isNull()) entries.emplace_back(key, value);
  }
  trailer_ = Dictionary(std::move(entries));
}

}  // namespace veska::pdf
