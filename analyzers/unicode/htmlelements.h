// The elements of HTML that mean something to a reader of text.

#ifndef VESKA_ANALYZERS_UNICODE_HTMLELEMENTS_H_
#define VESKA_ANALYZERS_UNICODE_HTMLELEMENTS_H_

#include <optional>
#include <string_view>

#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

struct HtmlElement {
  enum class Contents : unsigned char {
    kMarkup,
    kText,     // no tag but its own end
    kNothing,  // for a reader
  };
  enum class Role : unsigned char {
    kNone,
    kAnchor,
    kField,
    kMeta,
    kPicture,
    kSuperscript,
    kTitle,
    kVerbatim,  // blanks and lines stand as they are
  };

  std::string_view name;
  std::optional<Break> strength;  // of the break that it makes around itself; inline: none
  Role role = Role::kNone;
  Contents contents = Contents::kMarkup;
};

// name: in lower case. Result: one without any meaning for those that are not known.
const HtmlElement& htmlElement(std::string_view name);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_HTMLELEMENTS_H_
