#include "analyzers/unicode/htmlelements.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace veska::unicode {
namespace {

using Contents = HtmlElement::Contents;
using Role = HtmlElement::Role;

constexpr HtmlElement kUnknown{};

// Elements that are not here are inline. (HTML Living Standard, 15.3: what is displayed as a block,
// with and without margins.)
constexpr HtmlElement kElements[] = {
    {"a", {}, Role::kAnchor},
    {"address", Break::kLine},
    {"area", {}, Role::kPicture},
    {"article", Break::kParagraph},
    {"aside", Break::kParagraph},
    {"blockquote", Break::kParagraph},
    {"body", Break::kParagraph},
    {"br", Break::kLine},
    {"button", Break::kWord},
    {"caption", Break::kLine},
    {"center", Break::kLine},
    {"dd", Break::kLine},
    {"details", Break::kLine},
    {"dialog", Break::kLine},
    {"dir", Break::kParagraph},
    {"div", Break::kLine},
    {"dl", Break::kParagraph},
    {"dt", Break::kLine},
    {"embed", Break::kWord},
    {"fieldset", Break::kLine},
    {"figcaption", Break::kLine},
    {"figure", Break::kParagraph},
    {"footer", Break::kParagraph},
    {"form", Break::kLine},
    {"frame", Break::kWord},
    {"h1", Break::kParagraph},
    {"h2", Break::kParagraph},
    {"h3", Break::kParagraph},
    {"h4", Break::kParagraph},
    {"h5", Break::kParagraph},
    {"h6", Break::kParagraph},
    {"head", Break::kParagraph},
    {"header", Break::kParagraph},
    {"hr", Break::kParagraph},
    {"html", Break::kParagraph},
    {"iframe", Break::kWord, Role::kNone, Contents::kNothing},
    {"img", Break::kWord, Role::kPicture},
    {"input", Break::kWord, Role::kField},
    {"label", Break::kWord},
    {"legend", Break::kLine},
    {"li", Break::kLine},
    {"listing", Break::kParagraph, Role::kVerbatim},
    {"main", Break::kParagraph},
    {"menu", Break::kParagraph},
    {"meta", {}, Role::kMeta},
    {"nav", Break::kParagraph},
    {"noembed", {}, Role::kNone, Contents::kNothing},
    {"noframes", {}, Role::kNone, Contents::kNothing},
    {"object", Break::kWord},
    {"ol", Break::kParagraph},
    {"optgroup", Break::kLine},
    {"option", Break::kLine},
    {"p", Break::kParagraph},
    {"pre", Break::kParagraph, Role::kVerbatim},
    {"rp", Break::kWord},
    {"rt", Break::kWord},
    {"script", Break::kWord, Role::kNone, Contents::kNothing},
    {"section", Break::kParagraph},
    {"select", Break::kWord},
    {"style", Break::kWord, Role::kNone, Contents::kNothing},
    {"summary", Break::kLine},
    {"sup", {}, Role::kSuperscript},
    {"table", Break::kParagraph},
    {"tbody", Break::kLine},
    {"td", Break::kWord},
    {"template", {}, Role::kNone, Contents::kNothing},
    {"textarea", Break::kLine, Role::kVerbatim, Contents::kText},
    {"tfoot", Break::kLine},
    {"th", Break::kWord},
    {"thead", Break::kLine},
    {"title", Break::kParagraph, Role::kTitle, Contents::kText},
    {"tr", Break::kLine},
    {"ul", Break::kParagraph},
    {"xmp", Break::kParagraph, Role::kVerbatim},
};

// A hash table with open addressing. The key holds a short name whole, a long one's beginning.
constexpr size_t kSlots = 256;
constexpr size_t kShortName = sizeof(uint64_t) - 1;

struct Slot {
  uint64_t key = 0;
  const HtmlElement* element = nullptr;
};

constexpr uint64_t keyOf(std::string_view name) {
  uint64_t key = name.size();
  for (const char c : name.substr(0, kShortName)) key = key << 8 | static_cast<unsigned char>(c);
  return key;
}

constexpr size_t firstSlot(uint64_t key) {
  constexpr uint64_t kOddMultiplier = 0x9E3779B97F4A7C15;  // (Knuth, volume 3, section 6.4)
  return static_cast<size_t>((key * kOddMultiplier) >> 56);
}

constexpr size_t nextSlot(size_t slot) { return (slot + 1) % kSlots; }

constexpr std::array<Slot, kSlots> kTable = [] {
  std::array<Slot, kSlots> table{};
  for (const HtmlElement& element : kElements) {
    const uint64_t key = keyOf(element.name);
    size_t slot = firstSlot(key);
    while (table[slot].element != nullptr) slot = nextSlot(slot);
    table[slot] = {key, &element};
  }
  return table;
}();

}  // namespace

const HtmlElement& htmlElement(std::string_view name) {
  const uint64_t key = keyOf(name);
  for (size_t slot = firstSlot(key); kTable[slot].element != nullptr; slot = nextSlot(slot)) {
    const HtmlElement& element = *kTable[slot].element;
    if (kTable[slot].key == key && (name.size() <= kShortName || element.name == name))
      return element;
  }
  return kUnknown;
}

}  // namespace veska::unicode
