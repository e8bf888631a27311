#include "analyzers/pdf/object.h"

#include <algorithm>

namespace veska::pdf {
namespace {

template <typename T, typename Variant>
const T* shared(const Variant& value) {
  const auto* pointer = std::get_if<std::shared_ptr<const T>>(&value);
  return pointer ? pointer->get() : nullptr;
}

}  // namespace

Dictionary::Dictionary(std::vector<Entry> entries) : entries_(std::move(entries)) {
  const auto byKey = [](const Entry& a, const Entry& b) { return a.first < b.first; };
  if (!std::is_sorted(entries_.begin(), entries_.end(), byKey)) {
    std::stable_sort(entries_.begin(), entries_.end(), byKey);
  }
}

const Object& Dictionary::operator[](std::string_view key) const {
  static const Object kNull;
  const auto after = std::upper_bound(
      entries_.begin(), entries_.end(), key,
      [](std::string_view wanted, const Entry& entry) { return wanted < entry.first; });
  if (after == entries_.begin() || std::prev(after)->first != key) return kNull;
  return std::prev(after)->second;
}

bool Object::boolean(bool otherwise) const {
  const bool* value = std::get_if<bool>(&value_);
  return value ? *value : otherwise;
}

int64_t Object::integer(int64_t otherwise) const {
  if (const int64_t* value = std::get_if<int64_t>(&value_)) return *value;
  const double* real = std::get_if<double>(&value_);
  return real && *real > -9e15 && *real < 9e15 ? static_cast<int64_t>(*real) : otherwise;
}

double Object::number(double otherwise) const {
  if (const double* value = std::get_if<double>(&value_)) return *value;
  const int64_t* value = std::get_if<int64_t>(&value_);
  return value ? static_cast<double>(*value) : otherwise;
}

std::string_view Object::name() const {
  const Name* value = std::get_if<Name>(&value_);
  return value ? std::string_view(value->text) : std::string_view();
}

const Array* Object::array() const { return shared<Array>(value_); }
const Stream* Object::stream() const { return shared<Stream>(value_); }

const Dictionary* Object::dictionary() const {
  if (const Stream* value = stream()) return &value->dictionary;
  return shared<Dictionary>(value_);
}

}  // namespace veska::pdf
