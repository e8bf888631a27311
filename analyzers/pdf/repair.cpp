// Finding the objects of a file whose cross-reference is damaged or missing: every "N G obj"
// counts.

#include <algorithm>

#include "analyzers/pdf/parser.h"
#include "analyzers/pdf/xref.h"

namespace veska::pdf {
namespace {

constexpr uint64_t kScanBytes = 1 << 20;
constexpr uint64_t kOverlapBytes = 1024;  // an object's header and the start of its dictionary
constexpr uint64_t kScannedBytesPerStep = 4;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Reads the decimal number that ends before `end`, moving end to its start. Result: false if none
// does.
bool numberBefore(std::string_view bytes, size_t& end, uint64_t& value) {
  size_t begin = end;
  while (begin > 0 && isWhiteSpace(bytes[begin - 1])) --begin;
  const size_t last = begin;
  while (begin > 0 && isDigit(bytes[begin - 1]) && last - begin < 10) --begin;
  if (begin == last) return false;
  value = 0;
  for (size_t i = begin; i < last; ++i) value = value * 10 + static_cast<uint64_t>(bytes[i] - '0');
  end = begin;
  return true;
}

// The start of the dictionary behind "obj", as far as it is sure to belong to this object.
std::string_view headOf(std::string_view bytes, size_t at) {
  const std::string_view head = bytes.substr(at, 512);
  const size_t end = std::min(head.find("stream"), head.find("endobj"));
  return head.substr(0, end);
}

bool mentions(std::string_view text, std::string_view what) {
  return text.find(what) != std::string_view::npos;
}

}  // namespace

void Xref::repair() {
  entries_.clear();
  objectStreams_.clear();
  base_ = 0;
  const Dictionary before = trailer_;
  trailer_ = Dictionary();
  FileBytes& file = reader_.file();
  for (uint64_t offset = 0; offset < file.size(); offset += kScanBytes) {
    const uint64_t from = offset > kOverlapBytes ? offset - kOverlapBytes : 0;
    const std::string_view bytes = file.read(from, kScanBytes + 2 * kOverlapBytes);
    if (!reader_.budget().takeSteps(bytes.size() / kScannedBytesPerStep)) break;
    const size_t begin = offset - from;
    const size_t end = std::min<size_t>(begin + kScanBytes, bytes.size());
    for (size_t at = bytes.find("obj", begin); at < end; at = bytes.find("obj", at + 3)) {
      scanObject(from, bytes, at);
    }
    for (size_t at = bytes.find("trailer", begin); at < end; at = bytes.find("trailer", at + 7)) {
      Parser parser(bytes.substr(at + 7), reader_.budget());
      const Object trailer = parser.object();
      if (!trailer.dictionary() || (*trailer.dictionary())["Root"].isNull()) continue;
      const Dictionary older = trailer_;
      trailer_ = Dictionary();
      addTrailer(*trailer.dictionary());
      addTrailer(older);
    }
  }
  addTrailer(before);
}

// from: where bytes lie in the file; at: where in them "obj" was found.
void Xref::scanObject(uint64_t from, std::string_view bytes, size_t at) {
  size_t begin = at;
  uint64_t generation = 0, number = 0;
  if (at == 0 || bytes[at - 1] == 'd' || !numberBefore(bytes, begin, generation) || begin == 0 ||
      !isWhiteSpace(bytes[begin - 1]) || !numberBefore(bytes, begin, number) ||
      !reader_.budget().takeSteps(32)) {
    return;
  }
  XrefEntry* const known = slot(number);
  if (!known) return;
  *known = {XrefEntry::Kind::kPlain, from + begin};
  const std::string_view head = headOf(bytes, at + 3);
  const auto id = static_cast<uint32_t>(number);
  if (mentions(head, "/ObjStm")) objectStreams_.push_back(id);
  if (mentions(head, "/XRef") && mentions(head, "/Root")) {
    Parser parser(bytes.substr(at + 3), reader_.budget());
    const Object object = parser.object();
    if (object.dictionary() && !(*object.dictionary())["Root"].isNull()) {
      const Dictionary older = trailer_;
      trailer_ = Dictionary();
      addTrailer(*object.dictionary());
      addTrailer(older);
    }
  }
  if (mentions(head, "/Catalog")) catalog_ = {id, static_cast<uint32_t>(generation)};
}

}  // namespace veska::pdf
