// The objects of a document (ISO 32000-1, 7.3): null, booleans, numbers, strings, names, arrays,
// dictionaries, streams and references. Objects are values; what is large is shared and immutable.

#ifndef VESKA_ANALYZERS_PDF_OBJECT_H_
#define VESKA_ANALYZERS_PDF_OBJECT_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace veska::pdf {

class Object;
using Array = std::vector<Object>;

struct Reference {
  uint32_t number = 0;
  uint32_t generation = 0;
  bool operator==(const Reference&) const = default;
};

// Entries of a dictionary, found by binary search. Of entries with one key the last one holds.
class Dictionary {
 public:
  using Entry = std::pair<std::string, Object>;

  Dictionary() = default;
  explicit Dictionary(std::vector<Entry> entries);

  // The value as it stands in the file, perhaps a reference; null when there is none.
  const Object& operator[](std::string_view key) const;
  const std::vector<Entry>& entries() const { return entries_; }

 private:
  std::vector<Entry> entries_;
};

// A stream: its dictionary, and where its bytes lie in the file as they were written.
struct Stream {
  Dictionary dictionary;
  uint64_t offset = 0;
  uint64_t length = 0;
  Reference id;  // what its bytes are encrypted for
};

struct Name {
  std::string text;
};

class Object {
 public:
  Object() = default;
  explicit Object(bool value) : value_(value) {}
  explicit Object(int64_t value) : value_(value) {}
  explicit Object(double value) : value_(value) {}
  explicit Object(Reference value) : value_(value) {}
  explicit Object(Name value) : value_(std::move(value)) {}
  explicit Object(std::string value) : value_(std::move(value)) {}
  explicit Object(Array value) : value_(std::make_shared<const Array>(std::move(value))) {}
  explicit Object(Dictionary value)
      : value_(std::make_shared<const Dictionary>(std::move(value))) {}
  explicit Object(Stream value) : value_(std::make_shared<const Stream>(std::move(value))) {}

  bool isNull() const { return std::holds_alternative<std::monostate>(value_); }
  bool isInteger() const { return std::holds_alternative<int64_t>(value_); }
  bool isNumber() const { return isInteger() || std::holds_alternative<double>(value_); }
  bool isName(std::string_view text) const { return name() == text && !name().empty(); }

  // Each gives the value if the object is of that kind, else what stands for nothing.
  bool boolean(bool otherwise) const;
  int64_t integer(int64_t otherwise) const;  // a real is cut, and out of range `otherwise`
  double number(double otherwise) const;
  std::string_view name() const;  // else empty
  const std::string* string() const { return std::get_if<std::string>(&value_); }
  const Reference* reference() const { return std::get_if<Reference>(&value_); }
  const Array* array() const;
  const Dictionary* dictionary() const;  // a stream's dictionary too
  const Stream* stream() const;

 private:
  std::variant<std::monostate, bool, int64_t, double, Reference, Name, std::string,
               std::shared_ptr<const Array>, std::shared_ptr<const Dictionary>,
               std::shared_ptr<const Stream>>
      value_;
};

}  // namespace veska::pdf

#endif  // VESKA_ANALYZERS_PDF_OBJECT_H_
