#include "analyzers/unicode/markupsources.h"

#include <algorithm>
#include <string>

#include "analyzers/unicode/charset.h"
#include "analyzers/unicode/flowtext.h"
#include "analyzers/unicode/htmlelements.h"
#include "analyzers/unicode/markup.h"

namespace veska::unicode {
namespace {

bool isOneOf(std::string_view name, std::initializer_list<std::string_view> names) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

class HtmlHandler : public MarkupHandler {
  using Role = HtmlElement::Role;

 public:
  explicit HtmlHandler(TextSink& sink, bool showTitle = true)
      : text_(sink, false), showTitle_(showTitle) {}

  bool startTag(std::string_view name, std::string_view attributes, bool empty) override {
    const HtmlElement& element = htmlElement(name);
    if (!breakAround(element)) return false;
    switch (element.role) {
      case Role::kNone:
        return true;
      case Role::kSuperscript:
        inSuperscript_ = !empty;
        return noteBreak();
      case Role::kAnchor:
        inLink_ = !attribute(attributes, "href").empty();
        return noteBreak();
      case Role::kVerbatim:
        ++verbatim_;
        return true;
      case Role::kTitle:
        inTitle_ = inTitle_ || !empty;
        return true;
      case Role::kPicture:
        return addWords(attribute(attributes, "alt"));
      case Role::kField:
        return addInput(attributes);
      case Role::kMeta:
        return addDescription(attributes);
    }
    return true;
  }

  bool endTag(std::string_view name) override {
    const HtmlElement& element = htmlElement(name);
    if (element.role == Role::kVerbatim && verbatim_ != 0) --verbatim_;
    if (element.role == Role::kTitle) inTitle_ = false;
    if (element.role == Role::kSuperscript || element.role == Role::kAnchor) {
      if (!noteBreak()) return false;
      (element.role == Role::kAnchor ? inLink_ : inSuperscript_) = false;
    }
    return breakAround(element);
  }

  bool characters(std::string_view utf8) override {
    if (inTitle_ && !showTitle_) return true;
    return verbatim_ != 0 ? text_.addVerbatim(utf8) : text_.add(utf8);
  }

  bool finish() { return text_.flush(); }

 private:
  static std::string attribute(std::string_view attributes, std::string_view name) {
    return attributeValue(Markup::kHtml, attributes, name);
  }

  bool breakAround(const HtmlElement& element) {
    return !element.strength || text_.boundary(*element.strength);
  }

  // A raised link is the number of a note, not the end of the word in front.
  bool noteBreak() { return !inSuperscript_ || !inLink_ || text_.boundary(Break::kWord); }

  bool addWords(const std::string& words) {
    return words.empty() || (text_.add(words) && text_.boundary(Break::kWord));
  }

  // What a reader sees of a form's field.
  bool addInput(std::string_view attributes) {
    const std::string type = attribute(attributes, "type");
    if (isOneOf(type, {"submit", "button", "reset", "text", ""}))
      return addWords(attribute(attributes, "value"));
    return type != "image" || addWords(attribute(attributes, "alt"));
  }

  bool addDescription(std::string_view attributes) {
    std::string name = attribute(attributes, "name");
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 0x20) : c; });
    if (name != "description") return true;
    return text_.boundary(Break::kParagraph) && text_.add(attribute(attributes, "content")) &&
           text_.boundary(Break::kParagraph);
  }

  FlowText text_;
  const bool showTitle_;
  bool inTitle_ = false;
  bool inSuperscript_ = false;
  bool inLink_ = false;
  size_t verbatim_ = 0;  // elements around us in which blanks count
};

// A page of a book: its title is for programs ("chapter07.xhtml").
class BookPageHandler : public HtmlHandler {
 public:
  explicit BookPageHandler(TextSink& sink) : HtmlHandler(sink, false) {}
};

class XmlHandler : public MarkupHandler {
 public:
  explicit XmlHandler(TextSink& sink) : text_(sink, true) {}

  bool startTag(std::string_view name, std::string_view, bool) override { return tag(name); }
  bool endTag(std::string_view name) override { return tag(name); }
  bool characters(std::string_view utf8) override { return text_.add(utf8); }
  bool finish() { return text_.flush(); }

 private:
  // Elements that mark a piece of running text in the common document types (XHTML, DocBook, TEI,
  // ...).
  static bool isInline(std::string_view name) {
    return isOneOf(
        name, {"a",           "abbr",   "acronym", "b",        "bold",   "big", "cite",      "code",
               "del",         "dfn",    "em",      "emphasis", "font",   "hi",  "i",         "ins",
               "it",          "italic", "kbd",     "literal",  "mark",   "q",   "quote",     "s",
               "samp",        "small",  "span",    "strike",   "strong", "sub", "subscript", "sup",
               "superscript", "tspan",  "tt",      "u",        "var",    "wbr"});
  }

  bool tag(std::string_view name) {
    name = localName(name);
    if (isInline(name)) return true;
    return text_.boundary(htmlElement(name).strength.value_or(Break::kWord));
  }

  FlowText text_;
};

template <Markup kMarkup, typename Handler>
class MarkupSource : public TextSource {
 public:
  Outcome deliver(ByteInput& input, const SourceRequest& request, TextSink& sink) override {
    PeekedInput peeked(input);
    if (looksBinary(peeked.head())) return Outcome::kBinary;
    Handler handler(sink);
    const Outcome outcome = parseMarkup(kMarkup, peeked, request.charset, handler);
    return outcome == Outcome::kDone && !handler.finish() ? Outcome::kStopped : outcome;
  }
};

std::string_view withoutMarkAndBlanks(std::string_view head) {
  if (head.starts_with("\xEF\xBB\xBF")) head.remove_prefix(3);
  while (!head.empty() && isFlowBlank(head.front())) head.remove_prefix(1);
  return head;
}

bool beginsWith(std::string_view text, std::string_view lowerPrefix) {
  if (text.size() < lowerPrefix.size()) return false;
  return std::equal(lowerPrefix.begin(), lowerPrefix.end(), text.begin(), [](char a, char b) {
    return a == (b >= 'A' && b <= 'Z' ? static_cast<char>(b + 0x20) : b);
  });
}

}  // namespace

std::unique_ptr<TextSource> makeHtmlSource() {
  return std::make_unique<MarkupSource<Markup::kHtml, HtmlHandler>>();
}

std::unique_ptr<TextSource> makeBookPageSource() {
  return std::make_unique<MarkupSource<Markup::kHtml, BookPageHandler>>();
}

std::unique_ptr<TextSource> makeXmlSource() {
  return std::make_unique<MarkupSource<Markup::kXml, XmlHandler>>();
}

bool isHtml(std::string_view head) {
  const std::string_view text = withoutMarkAndBlanks(head);
  if (beginsWith(text, "<!doctype html") || beginsWith(text, "<html")) return true;
  constexpr size_t kPrologBytes = 1024;
  return isXml(head) && text.substr(0, kPrologBytes).find("<html") != std::string_view::npos;
}

bool isXml(std::string_view head) { return withoutMarkAndBlanks(head).starts_with("<?xml "); }

}  // namespace veska::unicode
