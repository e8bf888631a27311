#include "analyzers/unicode/slidesource.h"

#include <string>
#include <vector>

#include "analyzers/unicode/markup.h"
#include "analyzers/unicode/officesource.h"

namespace veska::unicode {
namespace {

constexpr size_t kMostSlides = 65536;
constexpr size_t kLongestId = 64;

class SlideList : public MarkupHandler {
 public:
  bool startTag(std::string_view name, std::string_view attributes, bool) override {
    if (localName(name) == "sldId")
      ids.push_back(attributeValue(Markup::kXml, attributes, "r:id").substr(0, kLongestId));
    return ids.size() < kMostSlides;
  }
  bool endTag(std::string_view) override { return true; }
  bool characters(std::string_view) override { return true; }

  std::vector<std::string> ids;
};

class SlideSource : public OfficeSource {
 public:
  SlideSource() : OfficeSource("ppt/presentation.xml") {}

 private:
  bool deliverMain(Package& package, const Package::Part& main, TextSink& sink) override {
    const std::vector<Relation> relations = relationsOf(package, main.name);
    SlideList list;
    PartInput input(package, main);
    parseMarkup(Markup::kXml, input, {}, list);
    const RelationsById byId(relations);
    size_t shown = 0;
    for (const std::string& id : list.ids) {
      const Relation* slide = byId.find(id);
      if (slide == nullptr || package.isSpent()) continue;
      ++shown;
      if (!deliverSlide(package, slide->part, sink)) return false;
    }
    if (shown != 0) return true;
    for (const Relation& relation : relations)
      if (relation.type == "slide" && !deliverSlide(package, relation.part, sink)) return false;
    return true;
  }

  static bool deliverSlide(Package& package, const std::string& part, TextSink& sink) {
    return deliverDrawing(package, part, sink) &&
           deliverDrawings(package, relationsOf(package, part),
                           {"diagramData", "chart", "notesSlide", "comments"}, sink);
  }
};

}  // namespace

std::unique_ptr<TextSource> makeSlideSource() { return std::make_unique<SlideSource>(); }

bool isSlides(std::string_view head) { return isOffice(head, "ppt/"); }

}  // namespace veska::unicode
