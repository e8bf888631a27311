// The cross-reference of a document: where each object lies (ISO 32000-1, 7.5.4 to 7.5.8).
//
// Reading begins at "startxref" and goes from the newest section to the oldest, tables and streams
// alike; the first entry that is met for an object holds. When that fails, or leads nowhere, repair
// scans the whole file for objects instead; then the last one with a number holds.

#ifndef VESKA_ANALYZERS_PDF_XREF_H_
#define VESKA_ANALYZERS_PDF_XREF_H_

#include <unordered_set>
#include <vector>

#include "analyzers/pdf/objectreader.h"

namespace veska::pdf {

struct XrefEntry {
  enum class Kind : uint8_t { kUnknown, kFree, kPlain, kCompressed };

  Kind kind = Kind::kUnknown;
  uint64_t place = 0;  // offset in the file, or number of the object stream
};

class Xref {
 public:
  explicit Xref(ObjectReader& reader) : reader_(reader) {}

  // Reads all sections. base: where in the file the document begins. Result: whether there was a
  // section with a trailer.
  bool read(uint64_t base);

  // Scans the file; forgets all that was read before, but not the trailer if the scan finds none.
  void repair();

  // Entries for objects in the object stream `container`, as repair finds them.
  void addCompressed(uint32_t number, uint32_t container);

  XrefEntry entry(uint32_t number) const;
  uint32_t size() const { return static_cast<uint32_t>(entries_.size()); }
  const Dictionary& trailer() const { return trailer_; }
  // The latest object that repair took for the catalog; number 0 if none.
  Reference catalog() const { return catalog_; }
  // Object streams that repair came across.
  const std::vector<uint32_t>& objectStreams() const { return objectStreams_; }

 private:
  uint64_t startOffset();
  bool readSection(uint64_t offset);
  bool readTable(uint64_t offset);
  bool readTableSubsections(class Parser& parser,
                            std::vector<std::pair<uint64_t, XrefEntry>>& entries);
  bool readStreamSection(uint64_t offset, bool withTrailer);
  void readStreamEntries(const Dictionary& dictionary, std::string_view data);
  void follow(const Dictionary& trailer);
  void addTrailer(const Dictionary& trailer);
  XrefEntry* slot(uint64_t number);
  void setIfUnknown(uint64_t number, XrefEntry entry);
  void scanObject(uint64_t keywordAt, std::string_view bytes, size_t at);

  ObjectReader& reader_;
  uint64_t base_ = 0;
  std::vector<XrefEntry> entries_;
  Dictionary trailer_;
  std::vector<uint64_t> pending_;  // sections to read yet, the next one last
  std::unordered_set<uint64_t> visited_;
  Reference catalog_;
  std::vector<uint32_t> objectStreams_;
};

}  // namespace veska::pdf

#endif  // VESKA_ANALYZERS_PDF_XREF_H_
