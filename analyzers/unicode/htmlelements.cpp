#include "analyzers/unicode/htmlelements.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>

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

// A hash table with open addressing: the numbers of the elements, from 1, where their names lead.
constexpr size_t kSlots = 256;

constexpr size_t firstSlot(std::string_view name) {
  uint64_t bytes = name.size();
  for (const char c : name.substr(0, sizeof bytes - 1)) {
    bytes = bytes << 8 | static_cast<unsigned char>(c);
  }
  constexpr uint64_t kOddMultiplier = 0x9E3779B97F4A7C15;  // (Knuth, volume 3, section 6.4)
  return static_cast<size_t>((bytes * kOddMultiplier) >> 56);
}

constexpr std::array<unsigned char, kSlots> kNumbers = [] {
  std::array<unsigned char, kSlots> numbers{};
  for (size_t i = 0; i < std::size(kElements); ++i) {
    size_t slot = firstSlot(kElements[i].name);
    while (numbers[slot] != 0) slot = (slot + 1) % kSlots;
    numbers[slot] = static_cast<unsigned char>(i + 1);
  }
  return numbers;
}();

}  // namespace

const HtmlElement& htmlElement(std::string_view name) {
  for (size_t slot = firstSlot(name); kNumbers[slot] != 0; slot = (slot + 1) % kSlots) {
    const HtmlElement& element = kElements[kNumbers[slot] - 1];
    if (element.name == name) return element;
  }
  return kUnknown;
}

}  // namespace veska::unicode
