// Reads single objects at known places of the file, and finds them where no place is known.

#ifndef VESKA_ANALYZERS_PDF_OBJECTREADER_H_
#define VESKA_ANALYZERS_PDF_OBJECTREADER_H_

#include <functional>
#include <optional>

#include "analyzers/pdf/budget.h"
#include "analyzers/pdf/filebytes.h"
#include "analyzers/pdf/object.h"

namespace veska::pdf {

struct IndirectObject {
  Reference id;
  Object value;
};

class ObjectReader {
 public:
  // Gives the length that a reference in a stream's dictionary stands for, negative if unknown.
  using LengthOf = std::function<int64_t(const Reference&)>;

  ObjectReader(FileBytes& file, Budget& budget) : file_(file), budget_(budget) {}

  // The object whose "N G obj" stands at offset. Result: nothing when none does.
  std::optional<IndirectObject> objectAt(uint64_t offset, const LengthOf& lengthOf);

  FileBytes& file() { return file_; }
  Budget& budget() { return budget_; }

 private:
  Stream streamAt(Reference id, const Dictionary& dictionary, uint64_t offset,
                  const LengthOf& lengthOf);
  bool endsAt(uint64_t offset);
  uint64_t findEnd(uint64_t offset);

  FileBytes& file_;
  Budget& budget_;
};

// Decodes the stream's raw bytes (decrypted already) through all its filters. resolve: follows
// references in the dictionary. Result: at most maxBytes, taken from the budget; empty for
// pictures.
std::string decodeStream(const Dictionary& dictionary, std::string_view raw, uint64_t maxBytes,
                         Budget& budget, const std::function<Object(const Object&)>& resolve);

}  // namespace veska::pdf

#endif  // VESKA_ANALYZERS_PDF_OBJECTREADER_H_
