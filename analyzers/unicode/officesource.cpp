#include "analyzers/unicode/officesource.h"

#include <algorithm>
#include <array>

#include "analyzers/unicode/markup.h"
#include "analyzers/unicode/taggedtext.h"
#include "storage/bytes.h"

namespace veska::unicode {
namespace {

constexpr size_t kMostRelations = 16384;
constexpr size_t kLongestName = 1024;

class RelationReader : public MarkupHandler {
 public:
  RelationReader(std::string_view part, std::vector<Relation>& relations)
      : part_(part), relations_(relations) {}

  bool startTag(std::string_view name, std::string_view attributes, bool) override {
    if (localName(name) != "Relationship") return true;
    const auto value = [&](std::string_view key) {
      return attributeValue(Markup::kXml, attributes, key).substr(0, kLongestName);
    };
    if (value("TargetMode") == "External") return true;
    const std::string type = value("Type");
    relations_.push_back(
        {value("Id"), type.substr(type.rfind('/') + 1), resolvePart(part_, value("Target"))});
    return relations_.size() < kMostRelations;
  }
  bool endTag(std::string_view) override { return true; }
  bool characters(std::string_view) override { return true; }

 private:
  std::string_view part_;
  std::vector<Relation>& relations_;
};

// Sorted. DrawingML (ECMA-376, part 1, 20 and 21) and the comments of sheets and slides.
constexpr TextTag kDrawingTags[] = {
    {"Fallback", kTagHidden},
    {"br", kTagMark, Break::kLine},
    {"cm", kTagBreak, Break::kParagraph},
    {"comment", kTagBreak, Break::kParagraph},
    {"numCache", kTagHidden},
    {"numLit", kTagHidden},
    {"p", kTagBreak, Break::kLine},
    {"pt", kTagBreak, Break::kWord},
    {"rPh", kTagHidden},
    {"sp", kTagBreak, Break::kParagraph},
    {"t", kTagText},
    {"tbl", kTagBreak, Break::kParagraph},
    {"tc", kTagBreak, Break::kWord},
    {"text", kTagText | kTagBreak, Break::kLine},
    {"threadedComment", kTagBreak, Break::kParagraph},
    {"tr", kTagBreak, Break::kLine},
    {"txBody", kTagBreak, Break::kParagraph},
    {"v", kTagText | kTagBreak, Break::kWord},
};

class DrawingText : public TaggedText {
 public:
  explicit DrawingText(TextSink& sink) : TaggedText(kDrawingTags, sink) {}

 private:
  // The number of a slide is a field that every slide has.
  bool opened(std::string_view name, std::string_view attributes, bool) override {
    if (name == "fld" && attributeValue(Markup::kXml, attributes, "type") == "slidenum") hide();
    return true;
  }
};

// A compound file (MS-CFB) with the stream of an encrypted package (MS-OFFCRYPTO, 2.3). The
// directory's first sector begins with the root, and its names are in UTF-16.
bool isEncrypted(ByteInput& input) {
  constexpr std::string_view kMark("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", 8);
  std::array<char, 512> header;
  input.seek(0);
  if (input.read(header.data(), header.size()) != header.size() ||
      !std::string_view(header.data(), header.size()).starts_with(kMark))
    return false;
  const unsigned sectorShift = loadU16(header.data() + 30);
  if (sectorShift < 9 || sectorShift > 12) return false;
  const uint64_t directory = (uint64_t{loadU32(header.data() + 48)} + 1) << sectorShift;
  std::string names(4096, '\0');
  input.seek(directory);
  names.resize(input.read(names.data(), names.size()));
  std::string wanted;
  for (const char c : std::string_view("EncryptedPackage")) wanted += {c, '\0'};
  return names.find(wanted) != std::string::npos;
}

const Package::Part* findMain(Package& package, const std::vector<Relation>& roots,
                              std::string_view usual) {
  for (const Relation& root : roots) {
    if (root.type != "officeDocument") continue;
    if (const Package::Part* part = package.find(root.part); part != nullptr) return part;
  }
  return package.find(usual);
}

}  // namespace

std::vector<Relation> relationsOf(Package& package, std::string_view part) {
  const size_t folder = part.rfind('/') + 1;
  const std::string name =
      std::string(part.substr(0, folder)) + "_rels/" + std::string(part.substr(folder)) + ".rels";
  std::vector<Relation> relations;
  const Package::Part* found = package.find(name);
  if (found == nullptr) return relations;
  PartInput input(package, *found);
  RelationReader reader(part, relations);
  parseMarkup(Markup::kXml, input, {}, reader);
  return relations;
}

RelationsById::RelationsById(const std::vector<Relation>& relations) {
  for (const Relation& relation : relations) sorted_.push_back(&relation);
  std::stable_sort(sorted_.begin(), sorted_.end(),
                   [](const Relation* a, const Relation* b) { return a->id < b->id; });
}

const Relation* RelationsById::find(std::string_view id) const {
  const auto found =
      std::lower_bound(sorted_.begin(), sorted_.end(), id,
                       [](const Relation* r, std::string_view wanted) { return r->id < wanted; });
  return found == sorted_.end() || (*found)->id != id ? nullptr : *found;
}

bool deliverDrawing(Package& package, std::string_view part, TextSink& sink) {
  const Package::Part* found = package.find(part);
  if (found == nullptr) return true;
  PartInput input(package, *found);
  return DrawingText(sink).read(input) && sink.boundary(Break::kParagraph);
}

bool deliverDrawings(Package& package, const std::vector<Relation>& relations,
                     std::initializer_list<std::string_view> types, TextSink& sink) {
  for (const Relation& relation : relations) {
    if (std::find(types.begin(), types.end(), relation.type) == types.end()) continue;
    if (!deliverDrawing(package, relation.part, sink)) return false;
  }
  return true;
}

Outcome OfficeSource::deliver(ByteInput& input, const SourceRequest& request, TextSink& sink) {
  Package package(input, request.maxExpanded);
  if (!package.isOpen()) return isEncrypted(input) ? Outcome::kNeedsPassword : Outcome::kDamaged;
  const std::vector<Relation> roots = relationsOf(package, {});
  for (const Relation& root : roots) {
    const Package::Part* part = root.type == "core-properties" ? package.find(root.part) : nullptr;
    if (part == nullptr) continue;
    PartInput properties(package, *part);
    if (!deliverProperties(properties, sink)) return Outcome::kStopped;
  }
  const Package::Part* main = findMain(package, roots, usualMain_);
  if (main == nullptr) return Outcome::kDamaged;
  return deliverMain(package, *main, sink) ? package.outcome() : Outcome::kStopped;
}

bool isOffice(std::string_view head, std::string_view folder) {
  return (headHoldsPart(head, "[Content_Types].xml") || headHoldsPart(head, "_rels/")) &&
         headHoldsPart(head, folder);
}

}  // namespace veska::unicode
