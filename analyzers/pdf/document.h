// A document as a set of numbered objects: looks objects up, follows references, decrypts, decodes
// streams, and repairs the cross-reference when it leads astray.

#ifndef VESKA_ANALYZERS_PDF_DOCUMENT_H_
#define VESKA_ANALYZERS_PDF_DOCUMENT_H_

#include <list>
#include <optional>
#include <string>
#include <unordered_map>

#include "analyzers/pdf/security.h"
#include "analyzers/pdf/xref.h"

namespace veska::pdf {

class Document {
 public:
  enum class State {
    kReady,
    kUnreadable,     // cannot be opened
    kNoDocument,     // holds no page tree, not even after repair
    kNeedsPassword,  // encrypted, and the empty password does not open it
  };

  Document() = default;
  Document(const Document&) = delete;
  Document& operator=(const Document&) = delete;

  State open(const std::string& path);
  State openBytes(std::string_view bytes);

  // The object that a reference leads to, through any chain; any other object as it is.
  Object resolve(const Object& object);
  // The resolved value of a dictionary's entry.
  Object get(const Dictionary& dictionary, std::string_view key) {
    return resolve(dictionary[key]);
  }

  // The stream's bytes, decrypted and through its filters; at most maxBytes of them.
  std::string decode(const Stream& stream, uint64_t maxBytes = kMaxStreamBytes);

  // The document's catalog (its root); empty when there is none.
  const Dictionary& catalog() const { return catalog_; }

  // Rebuilds the cross-reference by scanning the file, once. Result: false when that was done
  // before.
  bool repair();

  // Object numbers are below this.
  uint32_t size() const { return xref_ ? xref_->size() : 0; }
  // The object with a number, null if there is none.
  Object load(uint32_t number);

  Budget& budget() { return budget_; }

 private:
  // A decoded object stream (ISO 32000-1, 7.5.7).
  struct ObjectStream {
    uint32_t container;
    std::string data;
    std::vector<std::pair<uint32_t, uint64_t>> places;  // object number, offset in data
  };

  State start();
  bool findCatalog();
  bool openSecurity();
  Object loadPlain(uint32_t number, uint64_t offset);
  Object loadCompressed(uint32_t number, uint32_t container);
  const ObjectStream* objectStream(uint32_t container);
  int64_t lengthOf(const Reference& reference);
  Object decrypted(const Object& object, Reference id, int depth) const;

  FileBytes file_;
  Budget budget_;
  std::optional<ObjectReader> reader_;
  std::optional<Xref> xref_;
  std::optional<Security> security_;
  Dictionary catalog_;
  std::unordered_map<uint32_t, Object> cache_;
  std::list<ObjectStream> objectStreams_;  // the latest used first
  bool repaired_ = false;
  int loading_ = 0;  // objects that are being loaded, each for the one before
};

}  // namespace veska::pdf

#endif  // VESKA_ANALYZERS_PDF_DOCUMENT_H_
