#include "analyzers/unicode/epubsource.h"

#include <algorithm>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "analyzers/unicode/markup.h"
#include "analyzers/unicode/markupsources.h"
#include "analyzers/unicode/package.h"
#include "analyzers/unicode/taggedtext.h"

namespace veska::unicode {
namespace {

constexpr size_t kMostItems = 16384;
constexpr size_t kLongestName = 1024;

// Tells the start tags of a part to a function, which answers whether it wants more.
template <typename Tell>
class StartTags : public MarkupHandler {
 public:
  explicit StartTags(Tell tell) : tell_(std::move(tell)) {}
  bool startTag(std::string_view name, std::string_view attributes, bool) override {
    return tell_(localName(name), attributes);
  }
  bool endTag(std::string_view) override { return true; }
  bool characters(std::string_view) override { return true; }

 private:
  Tell tell_;
};

template <typename Tell>
void readStartTags(Package& package, const Package::Part& part, Tell tell) {
  PartInput input(package, part);
  StartTags<Tell> handler(std::move(tell));
  parseMarkup(Markup::kXml, input, {}, handler);
}

std::string attribute(std::string_view attributes, std::string_view name) {
  return attributeValue(Markup::kXml, attributes, name).substr(0, kLongestName);
}

bool isPageName(std::string_view name) {
  return name.ends_with(".xhtml") || name.ends_with(".html") || name.ends_with(".htm") ||
         name.ends_with(".xml");
}

// The part that describes the book; null when there is none.
const Package::Part* findBook(Package& package) {
  const Package::Part* found = nullptr;
  if (const Package::Part* container = package.find("META-INF/container.xml");
      container != nullptr) {
    readStartTags(package, *container, [&](std::string_view name, std::string_view attributes) {
      if (name == "rootfile")
        found = package.find(resolvePart({}, attribute(attributes, "full-path")));
      return found == nullptr;
    });
  }
  if (found != nullptr) return found;
  for (const Package::Part& part : package.parts())
    if (part.name.ends_with(".opf")) return &part;
  return nullptr;
}

// The pages in reading order.
std::vector<const Package::Part*> findPages(Package& package, const Package::Part* book) {
  std::vector<const Package::Part*> pages;
  if (book != nullptr) {
    std::unordered_map<std::string, const Package::Part*> items;
    readStartTags(package, *book, [&](std::string_view name, std::string_view attributes) {
      if (name == "item" && items.size() < kMostItems) {
        const auto* part = package.find(resolvePart(book->name, attribute(attributes, "href")));
        if (part != nullptr) items.emplace(attribute(attributes, "id"), part);
      } else if (name == "itemref") {
        const auto item = items.find(attribute(attributes, "idref"));
        if (item != items.end()) pages.push_back(item->second);
      }
      return pages.size() < kMostItems;
    });
  }
  if (pages.empty()) {
    for (const Package::Part& part : package.parts())
      if (isPageName(part.name) && !part.name.starts_with("META-INF/")) pages.push_back(&part);
  }
  return pages;
}

// Parts that only a reader with a licence can read. (Fonts are often among them, and do not
// matter.)
std::unordered_set<const Package::Part*> findLocked(Package& package) {
  std::unordered_set<const Package::Part*> locked;
  const Package::Part* encryption = package.find("META-INF/encryption.xml");
  if (encryption == nullptr) return locked;
  readStartTags(package, *encryption, [&](std::string_view name, std::string_view attributes) {
    if (name == "CipherReference")
      locked.insert(package.find(resolvePart({}, attribute(attributes, "URI"))));
    return locked.size() < kMostItems;
  });
  return locked;
}

bool deliverPage(Package& package, const Package::Part& page, const SourceRequest& request,
                 TextSink& sink) {
  PartInput input(package, page);
  const bool isOther = page.name.ends_with(".svg");
  const std::unique_ptr<TextSource> source = isOther ? makeXmlSource() : makeBookPageSource();
  return source->deliver(input, request, sink) != Outcome::kStopped &&
         sink.boundary(Break::kParagraph);
}

class EpubSource : public TextSource {
 public:
  Outcome deliver(ByteInput& input, const SourceRequest& request, TextSink& sink) override {
    Package package(input, request.maxExpanded);
    if (!package.isOpen()) return Outcome::kDamaged;
    const Package::Part* book = findBook(package);
    if (book != nullptr) {
      PartInput properties(package, *book);
      if (!deliverProperties(properties, sink)) return Outcome::kStopped;
    }
    const auto locked = findLocked(package);
    bool needsLicence = false;
    for (const Package::Part* page : findPages(package, book)) {
      if (package.isSpent()) break;
      needsLicence = needsLicence || locked.contains(page);
      if (!locked.contains(page) && !deliverPage(package, *page, request, sink))
        return Outcome::kStopped;
    }
    return needsLicence ? Outcome::kNeedsPassword : package.outcome();
  }
};

}  // namespace

std::unique_ptr<TextSource> makeEpubSource() { return std::make_unique<EpubSource>(); }

bool isEpub(std::string_view head) {
  return storedFirst(head, "mimetype").starts_with("application/epub+zip") ||
         headHoldsPart(head, "META-INF/container.xml");
}

}  // namespace veska::unicode
