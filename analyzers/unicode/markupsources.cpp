#include "analyzers/unicode/markupsources.h"

#include <algorithm>
#include <array>
#include <string>

#include "analyzers/unicode/charset.h"
#include "analyzers/unicode/flowtext.h"
#include "analyzers/unicode/markup.h"

namespace veska::unicode {
namespace {

bool isBlank(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r' || c == '\f'; }

struct TagBreak {
  std::string_view name;
  Break strength;
};

// By their first letters. Other elements are inline. (HTML Living Standard, 15.3: what is displayed
// as a block, with and without margins.)
constexpr TagBreak kHtmlBreaks[] = {
    {"address", Break::kLine},      {"article", Break::kParagraph},
    {"aside", Break::kParagraph},   {"blockquote", Break::kParagraph},
    {"body", Break::kParagraph},    {"br", Break::kLine},
    {"button", Break::kWord},       {"caption", Break::kLine},
    {"center", Break::kLine},       {"dd", Break::kLine},
    {"details", Break::kLine},      {"dialog", Break::kLine},
    {"dir", Break::kParagraph},     {"div", Break::kLine},
    {"dl", Break::kParagraph},      {"dt", Break::kLine},
    {"embed", Break::kWord},        {"fieldset", Break::kLine},
    {"figcaption", Break::kLine},   {"figure", Break::kParagraph},
    {"footer", Break::kParagraph},  {"form", Break::kLine},
    {"frame", Break::kWord},        {"h1", Break::kParagraph},
    {"h2", Break::kParagraph},      {"h3", Break::kParagraph},
    {"h4", Break::kParagraph},      {"h5", Break::kParagraph},
    {"h6", Break::kParagraph},      {"head", Break::kParagraph},
    {"header", Break::kParagraph},  {"hr", Break::kParagraph},
    {"html", Break::kParagraph},    {"iframe", Break::kWord},
    {"img", Break::kWord},          {"input", Break::kWord},
    {"label", Break::kWord},        {"legend", Break::kLine},
    {"li", Break::kLine},           {"listing", Break::kParagraph},
    {"main", Break::kParagraph},    {"menu", Break::kParagraph},
    {"nav", Break::kParagraph},     {"object", Break::kWord},
    {"ol", Break::kParagraph},      {"optgroup", Break::kLine},
    {"option", Break::kLine},       {"p", Break::kParagraph},
    {"pre", Break::kParagraph},     {"rp", Break::kWord},
    {"rt", Break::kWord},           {"script", Break::kWord},
    {"section", Break::kParagraph}, {"select", Break::kWord},
    {"style", Break::kWord},        {"summary", Break::kLine},
    {"table", Break::kParagraph},   {"tbody", Break::kLine},
    {"td", Break::kWord},           {"textarea", Break::kLine},
    {"tfoot", Break::kLine},        {"th", Break::kWord},
    {"thead", Break::kLine},        {"title", Break::kParagraph},
    {"tr", Break::kLine},           {"ul", Break::kParagraph},
    {"xmp", Break::kParagraph},
};

// Where the elements of each first letter begin, and behind them where they end.
constexpr std::array<unsigned char, 27> kBreaksOfLetter = [] {
  std::array<unsigned char, 27> begin{};
  unsigned char at = 0;
  for (size_t letter = 0; letter < begin.size(); ++letter) {
    while (at < std::size(kHtmlBreaks) &&
           static_cast<size_t>(kHtmlBreaks[at].name[0] - 'a') < letter)
      ++at;
    begin[letter] = at;
  }
  return begin;
}();

const TagBreak* breakOf(std::string_view name) {
  if (name.empty() || name[0] < 'a' || name[0] > 'z') return nullptr;
  const auto letter = static_cast<size_t>(name[0] - 'a');
  const auto* const end = kHtmlBreaks + kBreaksOfLetter[letter + 1];
  const auto* const at = std::find_if(kHtmlBreaks + kBreaksOfLetter[letter], end,
                                      [name](const TagBreak& b) { return b.name == name; });
  return at == end ? nullptr : at;
}

bool isOneOf(std::string_view name, std::initializer_list<std::string_view> names) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

class HtmlHandler : public MarkupHandler {
 public:
  explicit HtmlHandler(TextSink& sink, bool showTitle = true)
      : text_(sink, false), showTitle_(showTitle) {}

  bool startTag(std::string_view name, std::string_view attributes, bool empty) override {
    if (!tagBreak(name)) return false;
    if (name == "sup") inSuperscript_ = !empty;
    if (name == "a") inLink_ = !attribute(attributes, "href").empty();
    if (!noteBreak(name)) return false;
    if (isVerbatim(name)) ++verbatim_;
    inTitle_ = inTitle_ || (name == "title" && !empty);
    if (name == "img" || name == "area") return addWords(attribute(attributes, "alt"));
    if (name == "input") return addInput(attributes);
    if (name == "meta") return addDescription(attributes);
    return true;
  }

  bool endTag(std::string_view name) override {
    if (isVerbatim(name) && verbatim_ != 0) --verbatim_;
    inTitle_ = inTitle_ && name != "title";
    if (!noteBreak(name)) return false;
    if (name == "sup") inSuperscript_ = false;
    if (name == "a") inLink_ = false;
    return tagBreak(name);
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

  static bool isVerbatim(std::string_view name) {
    return isOneOf(name, {"pre", "textarea", "listing", "xmp"});
  }

  bool tagBreak(std::string_view name) {
    const TagBreak* found = breakOf(name);
    return found == nullptr || text_.boundary(found->strength);
  }

  // A raised link is the number of a note, not the end of the word in front.
  bool noteBreak(std::string_view name) {
    const bool within = inSuperscript_ && inLink_ && (name == "sup" || name == "a");
    return !within || text_.boundary(Break::kWord);
  }

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
    const TagBreak* found = breakOf(name);
    return text_.boundary(found == nullptr ? Break::kWord : found->strength);
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
  while (!head.empty() && isBlank(head.front())) head.remove_prefix(1);
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
