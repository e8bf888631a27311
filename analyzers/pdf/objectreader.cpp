#include "analyzers/pdf/objectreader.h"

#include <algorithm>

#include "analyzers/pdf/filters.h"
#include "analyzers/pdf/parser.h"

namespace veska::pdf {
namespace {

constexpr uint64_t kFirstWindowBytes = 2048;
constexpr uint64_t kScanBytes = 256 << 10;
constexpr uint64_t kScannedBytesPerStep = 16;
constexpr std::string_view kEndStream = "endstream";

}  // namespace

// How long an object is shows only when it is read: one that runs into the end of the window is
// read again through a larger one.
std::optional<IndirectObject> ObjectReader::objectAt(uint64_t offset, const LengthOf& lengthOf) {
  for (uint64_t window = kFirstWindowBytes;; window *= 8) {
    const std::string_view bytes = file_.read(offset, window);
    const bool whole = bytes.size() < window;
    Parser parser(bytes, budget_);
    IndirectObject object;
    const bool found = parser.objectHeader(object.id);
    if (!found && (whole || window > kFirstWindowBytes)) return std::nullopt;
    if (found) object.value = parser.object();
    const Dictionary* dictionary = found ? object.value.dictionary() : nullptr;
    const bool isStream = dictionary && parser.keyword("stream");
    if (parser.lexer().touchedEnd() && !whole && !budget_.exhausted()) continue;
    if (!found) return std::nullopt;
    if (isStream) {
      object.value =
          Object(streamAt(object.id, *dictionary, offset + parser.lexer().position(), lengthOf));
    }
    return object;
  }
}

// offset: behind the keyword "stream".
Stream ObjectReader::streamAt(Reference id, const Dictionary& dictionary, uint64_t offset,
                              const LengthOf& lengthOf) {
  std::string_view next = file_.read(offset, 2);
  while (next.starts_with(' ')) next = file_.read(++offset, 2);
  if (next.starts_with("\r\n")) {
    offset += 2;
  } else if (next.starts_with('\n') || next.starts_with('\r')) {
    offset += 1;
  }
  const Object& entry = dictionary["Length"];
  const int64_t stated = entry.reference() ? lengthOf(*entry.reference()) : entry.integer(-1);
  const uint64_t room = file_.size() - std::min(offset, file_.size());
  uint64_t length = static_cast<uint64_t>(std::max<int64_t>(stated, 0));
  if (stated < 0 || length > room || !endsAt(offset + length)) length = findEnd(offset) - offset;
  return {dictionary, offset, length, id};
}

bool ObjectReader::endsAt(uint64_t offset) {
  std::string_view bytes = file_.read(offset, 32);
  while (!bytes.empty() && isWhiteSpace(bytes[0])) bytes.remove_prefix(1);
  return bytes.starts_with(kEndStream) || bytes.starts_with("endobj");
}

// Where the data from offset on ends: at "endstream", else with the file.
uint64_t ObjectReader::findEnd(uint64_t offset) {
  for (uint64_t at = offset; at < file_.size(); at += kScanBytes) {
    const std::string_view bytes = file_.read(at, kScanBytes + kEndStream.size() - 1);
    if (!budget_.takeSteps(bytes.size() / kScannedBytesPerStep + 1)) break;
    const size_t found = bytes.find(kEndStream);
    if (found == std::string_view::npos) continue;
    uint64_t end = at + found;
    if (end > offset && file_.read(end - 1, 1) == "\n") --end;
    if (end > offset && file_.read(end - 1, 1) == "\r") --end;
    return end;
  }
  return std::max(offset, file_.size());
}

namespace {

PredictorParameters parametersOf(const Dictionary& dictionary,
                                 const std::function<Object(const Object&)>& resolve) {
  PredictorParameters parameters;
  const auto read = [&](std::string_view key, int64_t& value) {
    value = resolve(dictionary[key]).integer(value);
  };
  read("Predictor", parameters.predictor);
  read("Colors", parameters.colors);
  read("BitsPerComponent", parameters.bitsPerComponent);
  read("Columns", parameters.columns);
  int64_t early = 1;
  read("EarlyChange", early);
  parameters.earlyChange = early != 0;
  return parameters;
}

}  // namespace

std::string decodeStream(const Dictionary& dictionary, std::string_view raw, uint64_t maxBytes,
                         Budget& budget, const std::function<Object(const Object&)>& resolve) {
  const auto entry = [&](std::string_view key, std::string_view shortKey) {
    const Object& value = dictionary[key];
    return resolve(value.isNull() ? dictionary[shortKey] : value);
  };
  const Object filters = entry("Filter", "F");
  const Object parameters = entry("DecodeParms", "DP");
  const size_t count = filters.array() ? filters.array()->size() : filters.name().empty() ? 0 : 1;
  if (count > static_cast<size_t>(kMaxFilters)) return {};

  std::string data;
  if (count == 0) data = raw.substr(0, std::min(maxBytes, budget.decodedBytesLeft()));
  for (size_t i = 0; i < count; ++i) {
    const Object filter = filters.array() ? resolve((*filters.array())[i]) : filters;
    const Array* list = parameters.array();
    const Object own = !list ? parameters : i < list->size() ? resolve((*list)[i]) : Object();
    const Filter kind = filterByName(filter.name());
    if (kind == Filter::kImage) return {};
    const PredictorParameters predictor =
        own.dictionary() ? parametersOf(*own.dictionary(), resolve) : PredictorParameters();
    const uint64_t limit = std::min(
        {i + 1 < count ? kMaxStreamBytes : maxBytes, kMaxStreamBytes, budget.decodedBytesLeft()});
    std::string decoded =
        applyFilter(kind, predictor, i == 0 ? raw : std::string_view(data), limit);
    data = std::move(decoded);
    budget.takeDecoded(data.size());
  }
  if (count == 0) budget.takeDecoded(data.size() / 4);
  return data;
}

}  // namespace veska::pdf
