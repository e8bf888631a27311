#include "analyzers/unicode/fb2source.h"

#include "analyzers/unicode/package.h"
#include "analyzers/unicode/taggedtext.h"

namespace veska::unicode {
namespace {

// Sorted.
constexpr TextTag kTags[] = {
    {"annotation", kTagText | kTagBreak, Break::kParagraph},
    {"author", kTagBreak, Break::kLine},
    {"binary", kTagHidden},
    {"body", kTagText | kTagBreak, Break::kParagraph},
    {"book-title", kTagText | kTagBreak, Break::kParagraph},
    {"cite", kTagBreak, Break::kParagraph},
    {"document-info", kTagHidden},
    {"empty-line", kTagMark, Break::kParagraph},
    {"epigraph", kTagBreak, Break::kParagraph},
    {"first-name", kTagText | kTagBreak, Break::kWord},
    {"keywords", kTagText | kTagBreak, Break::kLine},
    {"last-name", kTagText | kTagBreak, Break::kWord},
    {"middle-name", kTagText | kTagBreak, Break::kWord},
    {"nickname", kTagText | kTagBreak, Break::kWord},
    {"p", kTagParagraph},
    {"publish-info", kTagHidden},
    {"section", kTagBreak, Break::kParagraph},
    {"stanza", kTagBreak, Break::kParagraph},
    {"stylesheet", kTagHidden},
    {"subtitle", kTagParagraph},
    {"table", kTagBreak, Break::kParagraph},
    {"td", kTagCell},
    {"text-author", kTagParagraph},
    {"th", kTagCell},
    {"tr", kTagBreak, Break::kLine},
    {"v", kTagBreak, Break::kLine},
};

class Fb2Source : public TextSource {
 public:
  Outcome deliver(ByteInput& input, const SourceRequest& request, TextSink& sink) override {
    return TaggedText(kTags, sink).read(input, request.charset) ? Outcome::kDone
                                                                : Outcome::kStopped;
  }
};

class ZippedFb2Source : public TextSource {
 public:
  Outcome deliver(ByteInput& input, const SourceRequest& request, TextSink& sink) override {
    Package package(input, request.maxExpanded);
    for (const Package::Part& part : package.parts()) {
      if (!part.name.ends_with(".fb2")) continue;
      PartInput book(package, part);
      return TaggedText(kTags, sink).read(book) ? package.outcome() : Outcome::kStopped;
    }
    return Outcome::kDamaged;
  }
};

}  // namespace

std::unique_ptr<TextSource> makeFb2Source() { return std::make_unique<Fb2Source>(); }

bool isFb2(std::string_view head) {
  constexpr size_t kPrologBytes = 1024;
  return head.substr(0, kPrologBytes).find("<FictionBook") != std::string_view::npos;
}

std::unique_ptr<TextSource> makeZippedFb2Source() { return std::make_unique<ZippedFb2Source>(); }

bool isZippedFb2(std::string_view head) { return firstPartName(head).ends_with(".fb2"); }

}  // namespace veska::unicode
