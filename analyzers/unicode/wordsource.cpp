#include "analyzers/unicode/wordsource.h"

#include <charconv>

#include "analyzers/unicode/charset.h"
#include "analyzers/unicode/officesource.h"
#include "analyzers/unicode/taggedtext.h"

namespace veska::unicode {
namespace {

// Sorted. Text boxes come twice: as drawings and, for old readers, as "Fallback".
constexpr TextTag kTags[] = {
    {"Fallback", kTagHidden},
    {"br", kTagMark, Break::kLine},
    {"comment", kTagBreak, Break::kParagraph},
    {"cr", kTagMark, Break::kLine},
    {"del", kTagHidden},
    {"endnote", kTagBreak, Break::kParagraph},
    {"footnote", kTagBreak, Break::kParagraph},
    {"moveFrom", kTagHidden},
    {"p", kTagParagraph},
    {"ptab", kTagMark, Break::kWord},
    {"rt", kTagAside},
    {"t", kTagText},
    {"tab", kTagMark, Break::kWord},
    {"tbl", kTagBreak, Break::kParagraph},
    {"tc", kTagCell},
    {"tr", kTagBreak, Break::kLine},
    {"txbxContent", kTagAside},
};

class WordText : public TaggedText {
 public:
  explicit WordText(TextSink& sink) : TaggedText(kTags, sink) {}

 private:
  bool opened(std::string_view name, std::string_view attributes, bool empty) override {
    if (name == "r") inRun_ = !empty, hidden_ = false;
    if (name == "vanish" && inRun_) hidden_ = isOn(attributes);
    if (name == "noBreakHyphen") return story().add("\u2011");
    if (name == "softHyphen") return story().add("\u00AD");
    if (name == "sym") return addSymbol(attributes);
    return true;
  }

  bool closed(std::string_view name) override {
    if (name == "r") inRun_ = hidden_ = false;
    return true;
  }

  bool take(std::string_view utf8) override { return hidden_ || story().add(utf8); }

  static std::string attribute(std::string_view attributes, std::string_view name) {
    return attributeValue(Markup::kXml, attributes, name);
  }

  static bool isOn(std::string_view attributes) {
    const std::string value = attribute(attributes, "w:val");
    return value != "0" && value != "false" && value != "off";
  }

  // Most are pictures of a symbol font, in its private range.
  bool addSymbol(std::string_view attributes) {
    const std::string code = attribute(attributes, "w:char");
    unsigned c = 0;
    std::from_chars(code.data(), code.data() + code.size(), c, 16);
    if (c < 0x20 || (c >= 0xE000 && c < 0xF900)) return story().boundary(Break::kWord);
    std::string text;
    appendUtf8(text, c);
    return story().add(text);
  }

  bool inRun_ = false;
  bool hidden_ = false;  // the run is
};

class WordSource : public OfficeSource {
 public:
  WordSource() : OfficeSource("word/document.xml") {}

 private:
  bool deliverMain(Package& package, const Package::Part& main, TextSink& sink) override {
    const std::vector<Relation> relations = relationsOf(package, main.name);
    if (!deliverPart(package, main, sink)) return false;
    for (const std::string_view type : {"header", "footer", "footnotes", "endnotes", "comments"}) {
      for (const Relation& relation : relations) {
        const Package::Part* part = relation.type == type ? package.find(relation.part) : nullptr;
        if (part != nullptr && !deliverPart(package, *part, sink)) return false;
      }
    }
    return deliverDrawings(package, relations, {"diagramData", "chart"}, sink);
  }

  static bool deliverPart(Package& package, const Package::Part& part, TextSink& sink) {
    PartInput input(package, part);
    return WordText(sink).read(input) && sink.boundary(Break::kParagraph);
  }
};

}  // namespace

std::unique_ptr<TextSource> makeWordSource() { return std::make_unique<WordSource>(); }

bool isWord(std::string_view head) { return isOffice(head, "word/"); }

}  // namespace veska::unicode
