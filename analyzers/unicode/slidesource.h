// The text of slides of OOXML: pptx, pptm, ppsx, potx, ... (ECMA-376, part 1, 19).

#ifndef VESKA_ANALYZERS_UNICODE_SLIDESOURCE_H_
#define VESKA_ANALYZERS_UNICODE_SLIDESOURCE_H_

#include <memory>
#include <string_view>

#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

// The slides as they are presented, each with its diagrams, charts, notes and comments.
std::unique_ptr<TextSource> makeSlideSource();
bool isSlides(std::string_view head);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_SLIDESOURCE_H_
