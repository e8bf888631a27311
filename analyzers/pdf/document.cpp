#include "analyzers/pdf/document.h"

#include <algorithm>

#include "analyzers/pdf/parser.h"

namespace veska::pdf {
namespace {

constexpr size_t kMaxCachedObjects = 8192;
constexpr size_t kMaxCachedStreams = 12;
constexpr uint64_t kMaxHeaderOffset = 1024;
constexpr int kMaxLoading = 12;

}  // namespace

Document::State Document::open(const std::string& path) {
  return file_.open(path) ? start() : State::kUnreadable;
}

Document::State Document::openBytes(std::string_view bytes) {
  file_.assign(bytes);
  return start();
}

Document::State Document::start() {
  budget_ = Budget(file_.size());
  reader_.emplace(file_, budget_);
  xref_.emplace(*reader_);
  // Offsets count from the header, and there may be other bytes before that.
  const size_t header = file_.read(0, kMaxHeaderOffset).find("%PDF-");
  const bool read = xref_->read(header == std::string_view::npos ? 0 : header);
  if (!read && !repair()) return State::kNoDocument;
  if (!openSecurity()) return State::kNeedsPassword;
  if (!findCatalog() && !(repair() && openSecurity() && findCatalog())) return State::kNoDocument;
  return State::kReady;
}

bool Document::findCatalog() {
  for (const Object& candidate : {xref_->trailer()["Root"], Object(xref_->catalog())}) {
    const Object root = resolve(candidate);
    if (!root.dictionary() || !get(*root.dictionary(), "Pages").dictionary()) continue;
    catalog_ = *root.dictionary();
    return true;
  }
  return false;
}

// Result: false when the document is encrypted and stays so.
bool Document::openSecurity() {
  if (security_) return true;
  const Object encrypt = get(xref_->trailer(), "Encrypt");
  if (!encrypt.dictionary()) return true;
  std::vector<Dictionary::Entry> entries;
  for (const auto& [key, value] : encrypt.dictionary()->entries()) {
    entries.emplace_back(key, resolve(value));
  }
  const Object ids = get(xref_->trailer(), "ID");
  const Object first =
      ids.array() && !ids.array()->empty() ? resolve(ids.array()->front()) : Object();
  security_ = Security::open(Dictionary(std::move(entries)), first.string() ? *first.string() : "");
  cache_.clear();  // what was loaded so far was not decrypted
  objectStreams_.clear();
  return security_.has_value();
}

bool Document::repair() {
  if (repaired_) return false;
  repaired_ = true;
  cache_.clear();
  objectStreams_.clear();
  xref_->repair();
  if (!openSecurity()) return true;
  const std::vector<uint32_t> containers = xref_->objectStreams();
  for (auto container = containers.rbegin(); container != containers.rend();  // NOLINT
       ++container) {
    const ObjectStream* const stream = objectStream(*container);
    if (!stream) continue;
    for (const auto& place : stream->places) xref_->addCompressed(place.first, *container);
  }
  cache_.clear();
  return true;
}

Object Document::resolve(const Object& object) {
  if (!object.reference()) return object;
  Object current = object;
  for (int i = 0; i < kMaxReferenceChain && current.reference(); ++i) {
    current = load(current.reference()->number);
  }
  return current.reference() ? Object() : current;
}

Object Document::load(uint32_t number) {
  const auto cached = cache_.find(number);
  if (cached != cache_.end()) return cached->second;
  if (loading_ >= kMaxLoading || !budget_.takeSteps(16)) return {};
  const XrefEntry entry = xref_->entry(number);
  Object object;
  ++loading_;
  if (entry.kind == XrefEntry::Kind::kPlain) {
    object = loadPlain(number, entry.place);
  } else if (entry.kind == XrefEntry::Kind::kCompressed) {
    object = loadCompressed(number, static_cast<uint32_t>(entry.place));
  }
  --loading_;
  if (cache_.size() >= kMaxCachedObjects) cache_.clear();
  cache_.emplace(number, object);
  return object;
}

Object Document::loadPlain(uint32_t number, uint64_t offset) {
  const auto length = [this](const Reference& reference) { return lengthOf(reference); };
  std::optional<IndirectObject> object = reader_->objectAt(offset, length);
  if (!object || object->id.number != number) {
    if (!repair()) return {};
    const XrefEntry entry = xref_->entry(number);
    if (entry.kind != XrefEntry::Kind::kPlain) return load(number);
    object = reader_->objectAt(entry.place, length);
    if (!object) return {};
  }
  return security_ ? decrypted(object->value, object->id, 0) : object->value;
}

int64_t Document::lengthOf(const Reference& reference) {
  return resolve(Object(reference)).integer(-1);
}

Object Document::loadCompressed(uint32_t number, uint32_t container) {
  const ObjectStream* const stream = objectStream(container);
  if (!stream) return {};
  const auto place = std::lower_bound(stream->places.begin(), stream->places.end(),
                                      std::pair<uint32_t, uint64_t>(number, 0));
  if (place == stream->places.end() || place->first != number) return {};
  Parser parser(std::string_view(stream->data).substr(place->second), budget_);
  return parser.object();
}

const Document::ObjectStream* Document::objectStream(uint32_t container) {
  for (auto known = objectStreams_.begin(); known != objectStreams_.end(); ++known) {
    if (known->container != container) continue;
    objectStreams_.splice(objectStreams_.begin(), objectStreams_, known);
    return &objectStreams_.front();
  }
  // A container in a container would be an error, and a way to recurse.
  if (xref_->entry(container).kind != XrefEntry::Kind::kPlain) return nullptr;
  const Object object = load(container);
  const Stream* const stream = object.stream();
  if (!stream) return nullptr;
  ObjectStream result{container, decode(*stream), {}};
  const int64_t first = get(stream->dictionary, "First").integer(-1);
  const int64_t count = get(stream->dictionary, "N").integer(0);
  Lexer header(result.data);
  for (int64_t i = 0; i < count && budget_.takeSteps(4); ++i) {
    const Token number = header.next(), offset = header.next();
    if (!number.isNumber() || !offset.isNumber() || number.number < 0 || offset.number < 0) break;
    const uint64_t place = static_cast<uint64_t>(first) + offset.whole();
    if (first < 0 || number.number > 0xFFFFFFFF || place >= result.data.size()) continue;
    result.places.emplace_back(static_cast<uint32_t>(number.number), place);
  }
  std::stable_sort(result.places.begin(), result.places.end());
  if (objectStreams_.size() >= kMaxCachedStreams) objectStreams_.pop_back();
  objectStreams_.push_front(std::move(result));
  return &objectStreams_.front();
}

std::string Document::decode(const Stream& stream, uint64_t maxBytes) {
  const auto follow = [this](const Object& object) { return resolve(object); };
  std::string_view raw = file_.read(stream.offset, stream.length);
  std::string clear;
  if (security_ && !stream.dictionary["Type"].isName("XRef")) {
    const Object filter = get(stream.dictionary, "Filter");
    const bool own = filter.array() && !filter.array()->empty() &&
                     resolve(filter.array()->front()).isName("Crypt");
    if (!own) {
      budget_.takeDecoded(raw.size());
      clear = security_->decryptStream(stream.id, raw);
      raw = clear;
    }
  }
  return decodeStream(stream.dictionary, raw, maxBytes, budget_, follow);
}

// The object with all its strings decrypted. Objects in object streams were decrypted with these.
Object Document::decrypted(const Object& object, Reference id, int depth) const {
  if (depth > kMaxNesting) return {};
  if (const std::string* text = object.string()) {
    return Object(security_->decryptString(id, *text));
  }
  if (const Array* items = object.array()) {
    Array result;
    result.reserve(items->size());
    for (const Object& item : *items) result.push_back(decrypted(item, id, depth + 1));
    return Object(std::move(result));
  }
  const Dictionary* dictionary = object.dictionary();
  if (!dictionary) return object;
  std::vector<Dictionary::Entry> entries;
  entries.reserve(dictionary->entries().size());
  for (const auto& [key, value] : dictionary->entries()) {
    entries.emplace_back(key, decrypted(value, id, depth + 1));
  }
  if (const Stream* stream = object.stream()) {
    return Object(
        Stream{Dictionary(std::move(entries)), stream->offset, stream->length, stream->id});
  }
  return Object(Dictionary(std::move(entries)));
}

}  // namespace veska::pdf
