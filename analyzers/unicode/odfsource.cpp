#include "analyzers/unicode/odfsource.h"

#include <algorithm>
#include <array>
#include <set>
#include <string>

#include "analyzers/unicode/markupsources.h"
#include "analyzers/unicode/package.h"
#include "analyzers/unicode/taggedtext.h"

namespace veska::unicode {
namespace {

// Sorted. Shapes are asides: they stand at their anchors within paragraphs, and what is directly in
// them (titles, pictures, formulas) is no text.
constexpr TextTag kTags[] = {
    {"annotation", kTagAside},
    {"binary-data", kTagHidden},
    {"caption", kTagAside},
    {"circle", kTagAside},
    {"connector", kTagAside},
    {"control", kTagAside},
    {"covered-table-cell", kTagCell},
    {"custom-shape", kTagAside},
    {"ellipse", kTagAside},
    {"endnote", kTagAside},
    {"footer-decl", kTagText | kTagBreak, Break::kLine},
    {"footnote", kTagAside},
    {"forms", kTagHidden},
    {"frame", kTagAside},
    {"g", kTagAside},
    {"h", kTagText | kTagParagraph},
    {"handout-master", kTagHidden},
    {"header-decl", kTagText | kTagBreak, Break::kLine},
    {"line", kTagAside},
    {"line-break", kTagMark, Break::kLine},
    {"measure", kTagAside},
    {"note", kTagAside},
    {"notes", kTagBreak, Break::kParagraph},
    {"p", kTagText | kTagParagraph},
    {"page", kTagBreak, Break::kParagraph},
    {"path", kTagAside},
    {"polygon", kTagAside},
    {"polyline", kTagAside},
    {"rect", kTagAside},
    {"regular-polygon", kTagAside},
    {"ruby-text", kTagAside | kTagText},
    {"s", kTagMark, Break::kWord},
    {"script", kTagHidden},
    {"scripts", kTagHidden},
    {"tab", kTagMark, Break::kWord},
    {"table", kTagBreak, Break::kParagraph},
    {"table-cell", kTagCell},
    {"table-row", kTagBreak, Break::kLine},
    {"tracked-changes", kTagHidden},
};

template <size_t N>
bool isOneOf(std::string_view name, const std::string_view (&names)[N]) {
  return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

// Of a master page, the headers and footers alone are text: the rest are samples. Their fields show
// numbers and dates that are others on each page.
constexpr std::string_view kHeaders[] = {"header",      "footer",       "header-left",
                                         "footer-left", "header-first", "footer-first"};
constexpr std::string_view kHeaderFields[] = {"page-number", "page-count", "sheet-name", "date",
                                              "time"};

constexpr size_t kLongestHeader = 65536;
constexpr size_t kMostHiddenStyles = 4096;

enum class OdfPart { kDocument, kObject };

class OdfText : public TaggedText {
 public:
  OdfText(OdfPart part, TextSink& sink) : TaggedText(kTags, sink), part_(part) {}

 private:
  bool opened(std::string_view name, std::string_view attributes, bool empty) override {
    if (name == "body") inBody_ = true;
    if (name == "meta" && !inBody_ && !empty) useTags(propertyTags());
    if (!inBody_) noteStyle(name, attributes);
    if (name == "spreadsheet") isSheets_ = true;
    if (name == "master-page") inMasterPage_ = !empty;
    if (inMasterPage_ && name != "master-page") chooseHeader(name, attributes, empty);
    if (name == "presentation") isSlides_ = true;
    if (isSlides_ && name == "page-number") hide();  // of notes
    if (hasHiddenStyle(name, attributes)) hide();
    if (name != "table") return true;
    if (part_ == OdfPart::kObject) hide();  // the numbers that a chart shows
    return !isSheets_ || addSheetName(attributes);
  }

  bool closed(std::string_view name) override {
    if (name == "meta" && !inBody_) useTags(kTags);
    if (inHeader_ && name == "p" && !addHeaderLine()) return false;
    if (name == "master-page") inMasterPage_ = inHeader_ = false;
    if (inHeader_ && isOneOf(name, kHeaders)) inHeader_ = false;
    return true;
  }

  // Of hidden text, the style says so; styles of their own come before the text.
  void noteStyle(std::string_view name, std::string_view attributes) {
    if (name == "style") style_ = attributeValue(Markup::kXml, attributes, "style:name");
    if (name == "text-properties" && hiddenStyles_.size() < kMostHiddenStyles &&
        attributeValue(Markup::kXml, attributes, "text:display") == "none")
      hiddenStyles_.insert(style_);
  }

  bool hasHiddenStyle(std::string_view name, std::string_view attributes) const {
    if (hiddenStyles_.empty() || (name != "span" && name != "p" && name != "h")) return false;
    return hiddenStyles_.contains(attributeValue(Markup::kXml, attributes, "text:style-name"));
  }

  void chooseHeader(std::string_view name, std::string_view attributes, bool empty) {
    if (inHeader_) {
      if (!isOneOf(name, kHeaderFields)) return;
      headerHasField_ = true;
      hide();
    } else if (!isOneOf(name, kHeaders) ||
               attributeValue(Markup::kXml, attributes, "style:display") == "false") {
      hide();
    } else {
      inHeader_ = !empty;
    }
  }

  bool take(std::string_view utf8) override {
    if (!inHeader_) return story().add(utf8);
    if (header_.size() < kLongestHeader) header_ += utf8;
    return true;
  }

  // "Page 3 of 7", which most sheets have unasked, tells nothing.
  bool addHeaderLine() {
    constexpr auto kFewestBlanks = 2;
    const bool tells =
        !headerHasField_ || std::count(header_.begin(), header_.end(), ' ') > kFewestBlanks;
    const bool more = !tells || (story().add(header_) && story().boundary(Break::kParagraph));
    header_.clear();
    headerHasField_ = false;
    return more;
  }

  bool addSheetName(std::string_view attributes) {
    return story().boundary(Break::kParagraph) &&
           story().add(attributeValue(Markup::kXml, attributes, "table:name"));
  }

  OdfPart part_;
  bool inBody_ = false;
  std::string style_;  // the last one that was defined
  std::set<std::string, std::less<>> hiddenStyles_;
  bool isSheets_ = false;
  bool inMasterPage_ = false;
  bool isSlides_ = false;
  bool inHeader_ = false;
  std::string header_;
  bool headerHasField_ = false;
};

class ManifestReader : public MarkupHandler {
 public:
  bool startTag(std::string_view name, std::string_view, bool) override {
    encrypted = encrypted || localName(name) == "encryption-data";
    return !encrypted;
  }
  bool endTag(std::string_view) override { return true; }
  bool characters(std::string_view) override { return true; }

  bool encrypted = false;
};

bool isEncrypted(Package& package) {
  const Package::Part* part = package.find("META-INF/manifest.xml");
  if (part == nullptr) return false;
  PartInput input(package, *part);
  ManifestReader reader;
  parseMarkup(Markup::kXml, input, {}, reader);
  return reader.encrypted;
}

bool deliverPart(Package& package, const Package::Part& part, OdfPart kind, TextSink& sink) {
  PartInput input(package, part);
  return OdfText(kind, sink).read(input) && sink.boundary(Break::kParagraph);
}

bool deliverPart(Package& package, std::string_view name, TextSink& sink) {
  const Package::Part* part = package.find(name);
  return part == nullptr || deliverPart(package, *part, OdfPart::kDocument, sink);
}

bool deliverParts(Package& package, TextSink& sink) {
  if (const Package::Part* meta = package.find("meta.xml"); meta != nullptr) {
    PartInput input(package, *meta);
    if (!deliverProperties(input, sink)) return false;
  }
  // A template may be styles alone.
  if (!deliverPart(package, "content.xml", sink) || !deliverPart(package, "styles.xml", sink))
    return false;
  return std::all_of(package.parts().begin(), package.parts().end(), [&](const auto& part) {
    return !part.name.ends_with("/content.xml") ||
           deliverPart(package, part, OdfPart::kObject, sink);
  });
}

class OdfSource : public TextSource {
 public:
  Outcome deliver(ByteInput& input, const SourceRequest& request, TextSink& sink) override {
    Package package(input, request.maxExpanded);
    if (package.isOpen() && isEncrypted(package)) return Outcome::kNeedsPassword;
    if (package.find("content.xml") == nullptr && package.find("styles.xml") == nullptr)
      return Outcome::kDamaged;
    return deliverParts(package, sink) ? package.outcome() : Outcome::kStopped;
  }
};

class FlatOdfSource : public TextSource {
 public:
  Outcome deliver(ByteInput& input, const SourceRequest& request, TextSink& sink) override {
    const bool more = OdfText(OdfPart::kDocument, sink).read(input, request.charset);
    return more ? Outcome::kDone : Outcome::kStopped;
  }
};

}  // namespace

std::unique_ptr<TextSource> makeOdfSource() { return std::make_unique<OdfSource>(); }

bool isOdf(std::string_view head) {
  const std::string_view type = storedFirst(head, "mimetype");
  return type.starts_with("application/vnd.oasis.opendocument.") ||
         type.starts_with("application/vnd.sun.xml.");
}

std::unique_ptr<TextSource> makeFlatOdfSource() { return std::make_unique<FlatOdfSource>(); }

bool isFlatOdf(std::string_view head) {
  constexpr size_t kPrologBytes = 1024;
  return isXml(head) && head.substr(0, kPrologBytes).find("<office:document") != head.npos;
}

}  // namespace veska::unicode
