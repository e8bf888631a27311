#include "analyzers/unicode/sheetsource.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <vector>

#include "analyzers/unicode/charset.h"
#include "analyzers/unicode/markup.h"
#include "analyzers/unicode/officesource.h"
#include "analyzers/unicode/sharedstrings.h"
#include "analyzers/unicode/sheetnumbers.h"
#include "analyzers/unicode/taggedtext.h"

namespace veska::unicode {
namespace {

constexpr size_t kMostSheets = 65536;
constexpr size_t kLongestName = 256;
constexpr size_t kLongestId = 64;
constexpr size_t kLongestValue = 65536;

struct Sheet {
  std::string name;
  std::string id;
};

class WorkbookReader : public MarkupHandler {
 public:
  bool startTag(std::string_view name, std::string_view attributes, bool) override {
    const auto value = [&](std::string_view key) {
      return attributeValue(Markup::kXml, attributes, key);
    };
    name = localName(name);
    if (name == "sheet") addSheet(value("name"), value("r:id"));
    if (name == "workbookPr") {
      const std::string from = value("date1904");
      from1904 = from == "1" || from == "true";
    }
    return sheets.size() < kMostSheets;
  }
  bool endTag(std::string_view) override { return true; }
  bool characters(std::string_view) override { return true; }

  std::vector<Sheet> sheets;
  bool from1904 = false;

 private:
  void addSheet(std::string name, const std::string& id) {
    name.resize(std::min(name.size(), kLongestName));
    name.resize(validUtf8Prefix(name));
    sheets.push_back({std::move(name), id.substr(0, kLongestId)});
  }
};

struct Workbook {
  Package& package;
  SharedStrings strings;
  CellFormats formats;
  bool from1904 = false;
};

// Sorted.
constexpr TextTag kTags[] = {
    {"c", kTagBreak, Break::kWord},
    {"rPh", kTagHidden},
    {"row", kTagBreak, Break::kLine},
    {"t", kTagText},
    {"v", kTagText},
};

class SheetText : public TaggedText {
 public:
  SheetText(Workbook& workbook, TextSink& sink) : TaggedText(kTags, sink), workbook_(workbook) {}

 private:
  bool opened(std::string_view name, std::string_view attributes, bool empty) override {
    if (name != "c" || empty) return true;
    type_ = attributeValue(Markup::kXml, attributes, "t");
    style_ = numberOf(attributeValue(Markup::kXml, attributes, "s"));
    value_.clear();
    return true;
  }

  bool take(std::string_view utf8) override {
    if (value_.size() < kLongestValue) value_ += utf8;
    return true;
  }

  bool closed(std::string_view name) override { return name != "c" || addValue(); }

  bool addValue() {
    text_.clear();
    if (type_ == "s") {
      const std::string_view shared = workbook_.strings.at(numberOf(value_));
      if (!workbook_.package.spend(shared.size())) return true;
      appendCellText(text_, shared);
    } else if (type_ == "str" || type_ == "inlineStr" || type_ == "d") {
      appendCellText(text_, value_);
    } else if (type_ == "b") {
      text_ = value_ == "1" ? "TRUE" : "FALSE";
    } else if (type_ != "e") {
      text_ = showNumber(value_, workbook_.formats.at(style_), workbook_.from1904);
    }
    value_.clear();
    return story().add(text_) && story().boundary(Break::kWord);
  }

  static uint64_t numberOf(std::string_view text) {
    uint64_t number = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
    return parsed.ec == std::errc() && !text.empty() ? number : UINT64_MAX;
  }

  Workbook& workbook_;
  std::string type_;
  uint64_t style_ = 0;
  std::string value_;
  std::string text_;
};

class SheetSource : public OfficeSource {
 public:
  SheetSource() : OfficeSource("xl/workbook.xml") {}

 private:
  bool deliverMain(Package& package, const Package::Part& main, TextSink& sink) override {
    const std::vector<Relation> relations = relationsOf(package, main.name);
    WorkbookReader reader;
    PartInput input(package, main);
    parseMarkup(Markup::kXml, input, {}, reader);
    Workbook workbook{package, {}, {}, reader.from1904};
    for (const Relation& relation : relations)
      if (!readShared(workbook, relation, sink)) return false;
    const RelationsById byId(relations);
    for (const Sheet& sheet : reader.sheets) {
      const Relation* relation = byId.find(sheet.id);
      if (relation == nullptr || package.isSpent()) continue;
      if (!sink.text(sheet.name) || !sink.boundary(Break::kParagraph) ||
          !deliverSheet(workbook, relation->part, sink))
        return false;
    }
    return true;
  }

  static bool readShared(Workbook& workbook, const Relation& relation, TextSink& sink) {
    const Package::Part* part = workbook.package.find(relation.part);
    if (part == nullptr) return true;
    PartInput input(workbook.package, *part);
    if (relation.type == "styles") workbook.formats.read(input);
    return relation.type != "sharedStrings" || workbook.strings.read(input, sink);
  }

  static bool deliverSheet(Workbook& workbook, const std::string& name, TextSink& sink) {
    Package& package = workbook.package;
    const Package::Part* part = package.find(name);
    if (part == nullptr) return true;
    PartInput input(package, *part);
    if (!SheetText(workbook, sink).read(input) || !sink.boundary(Break::kParagraph)) return false;
    const std::vector<Relation> relations = relationsOf(package, name);
    // Comments with answers come a second time as plain ones, with a notice for old readers.
    const bool threaded = std::any_of(relations.begin(), relations.end(), [](const Relation& r) {
      return r.type == "threadedComment";
    });
    if (!deliverDrawings(package, relations, {threaded ? "threadedComment" : "comments"}, sink))
      return false;
    for (const Relation& drawing : relations) {
      if (drawing.type != "drawing") continue;
      if (!deliverDrawing(package, drawing.part, sink) ||
          !deliverDrawings(package, relationsOf(package, drawing.part), {"chart", "diagramData"},
                           sink))
        return false;
    }
    return true;
  }
};

}  // namespace

std::unique_ptr<TextSource> makeSheetSource() { return std::make_unique<SheetSource>(); }

bool isSheets(std::string_view head) { return isOffice(head, "xl/"); }

}  // namespace veska::unicode
