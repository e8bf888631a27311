#include "analyzers/unicode/kinds.h"

#include <algorithm>
#include <string>
#include <vector>

#include "analyzers/unicode/charset.h"
#include "analyzers/unicode/mailkinds.h"
#include "analyzers/unicode/markupsources.h"
#include "analyzers/unicode/pdfsource.h"
#include "analyzers/unicode/plaintext.h"

namespace veska::unicode {
namespace {

constexpr auto npos = std::string_view::npos;
// Of documents that cannot be sought in, and must be, with all that lie within each other.
constexpr size_t kMostInMemory = size_t{128} << 20;

constexpr Kind kHtml = {"html", "html htm xhtml shtml xht", false, makeHtmlSource, isHtml};
constexpr Kind kXml = {"xml", "xml xsl xslt xsd rng docbook dbk svg rdf rss atom tei", false,
                       makeXmlSource, isXml};
constexpr Kind kPdf = {"pdf", "pdf", true, makePdfSource, isPdf};
constexpr Kind kMacRoman = {"macroman", "", false, makeMacRomanSource, nullptr};
constexpr Kind kDos = {"dosoem", "", false, makeDosSource, nullptr};
constexpr Kind kGeneric = {
    "generic",
    "txt text md markdown rst log csv tsv tex ini cfg conf json yaml yml toml c h cc cpp cxx hpp "
    "hh "
    "hxx java js mjs ts css py pl pm rb rs go php sh bash lua sql el lisp scm hs ml cs swift kt "
    "diff patch po pot srt org adoc",
    false, makePlainTextSource, [](std::string_view head) { return !looksBinary(head); }};

std::vector<const Kind*> listKinds() {
  std::vector<const Kind*> kinds;
  for (const Kind& kind : documentKinds()) kinds.push_back(&kind);
  kinds.insert(kinds.end(), {&kPdf, &kHtml, &kXml, &kMacRoman, &kDos, &kGeneric});
  return kinds;
}

// The extension of a base name in lower case, empty for none.
std::string extensionOf(std::string_view name) {
  name.remove_prefix(std::min(name.find_last_of("/\\") + 1, name.size()));
  const size_t dot = name.rfind('.');
  if (dot == npos || dot == 0 || isDeliveryName(name)) return {};
  std::string extension(name.substr(dot + 1));
  for (char& c : extension)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 0x20);
  return extension;
}

bool holdsWord(std::string_view list, std::string_view word) {
  for (size_t at = list.find(word); at != npos; at = list.find(word, at + 1)) {
    const size_t end = at + word.size();
    if ((at == 0 || list[at - 1] == ' ') && (end == list.size() || list[end] == ' ')) return true;
  }
  return false;
}

Outcome deliverFromMemory(TextSource& source, ByteInput& input, const SourceRequest& request,
                          TextSink& sink) {
  size_t most = kMostInMemory - std::min(kMostInMemory, request.inMemory);
  if (request.maxExpanded != 0)
    most = static_cast<size_t>(std::min<uint64_t>(request.maxExpanded, most));
  constexpr size_t kPieceBytes = 1 << 20;
  std::string bytes;
  for (;;) {
    const size_t before = bytes.size();
    bytes.resize(std::min(before + kPieceBytes, most + 1));
    const size_t got = input.read(bytes.data() + before, bytes.size() - before);
    const bool ended = before + got < bytes.size();
    bytes.resize(before + got);
    if (bytes.size() > most) return Outcome::kLimited;
    if (ended) break;
  }
  MemoryInput memory(bytes);
  SourceRequest inner = request;
  inner.inMemory += bytes.size();
  return source.deliver(memory, inner, sink);
}

}  // namespace

std::span<const Kind* const> allKinds() {
  static const std::vector<const Kind*> kinds = listKinds();
  return kinds;
}

const Kind* kindNamed(std::string_view name) {
  for (const Kind* kind : allKinds())
    if (kind->name == name) return kind;
  return nullptr;
}

const Kind* kindOfName(std::string_view name) {
  const std::string extension = extensionOf(name);
  if (extension.empty() || extension.find(' ') != npos) return nullptr;
  for (const Kind* kind : allKinds())
    if (holdsWord(kind->extensions, extension)) return kind;
  return nullptr;
}

const Kind* kindOfContent(std::string_view head) {
  for (const Kind* kind : allKinds())
    if (kind->recognise != nullptr && kind->recognise(head)) return kind;
  return nullptr;
}

// A name may lie where the bytes show it.
const Kind* kindOfDocument(const Kind& wanted, std::string_view head, std::string_view name) {
  const Kind* kind = &wanted;
  if (kind == &kGeneric) kind = kindOfName(name);
  if (kind != nullptr && kind->needsSeek && kind->recognise != nullptr && !kind->recognise(head)) {
    const Kind* told = kindOfContent(head);
    return told == nullptr ? kind : told;  // its own source says what is wrong with it
  }
  return kind == nullptr ? kindOfContent(head) : kind;
}

Outcome deliverDocument(ByteInput& input, const SourceRequest& request, TextSink& sink) {
  return deliverDocument(kGeneric, input, request, sink);
}

Outcome deliverDocument(const Kind& wanted, ByteInput& input, const SourceRequest& request,
                        TextSink& sink) {
  if (request.depth >= SourceRequest::kMostDepth) return Outcome::kLimited;
  PeekedInput peeked(input);
  const Kind* kind = kindOfDocument(wanted, peeked.head(), request.name);
  if (kind == nullptr) return Outcome::kBinary;
  SourceRequest inner = request;
  ++inner.depth;
  const std::unique_ptr<TextSource> source = kind->makeSource();
  if (kind->needsSeek && !peeked.isSeekable())
    return deliverFromMemory(*source, peeked, inner, sink);
  return source->deliver(peeked, inner, sink);
}

}  // namespace veska::unicode
