#include "analyzers/unicode/storytext.h"

#include <algorithm>

namespace veska::unicode {

namespace {

// More than this is not kept: it then splits what it stands in.
constexpr size_t kMostKept = size_t{1} << 20;

}  // namespace

bool StoryText::Keeper::text(std::string_view utf8) {
  if (broken_ && !bytes.empty())
    bytes += pending_ == Break::kWord ? " " : pending_ == Break::kLine ? "\n" : "\n\n";
  broken_ = false;
  bytes += utf8;
  return true;
}

bool StoryText::Keeper::boundary(Break strength) {
  pending_ = broken_ ? std::max(pending_, strength) : strength;
  broken_ = true;
  return true;
}

bool StoryText::add(std::string_view utf8) {
  return current().add(utf8) && (kept_.bytes.size() < kMostKept || deliverAsides());
}

bool StoryText::boundary(Break strength) {
  if (!current().boundary(strength)) return false;
  const bool due = asides_ == 0 && strength == Break::kParagraph;
  return (!due && kept_.bytes.size() < kMostKept) || deliverAsides();
}

bool StoryText::beginAside() {
  ++asides_;
  return aside_.boundary(Break::kParagraph);
}

bool StoryText::endAside() {
  if (asides_ == 0) return true;
  const bool more = aside_.boundary(Break::kParagraph);
  --asides_;
  return more;
}

bool StoryText::finish() {
  asides_ = 0;
  return aside_.flush() && main_.flush() && deliverAsides();
}

bool StoryText::deliverAsides() {
  if (kept_.bytes.empty()) return true;
  const bool more = main_.flush() && sink_.boundary(Break::kParagraph) && sink_.text(kept_.bytes) &&
                    sink_.boundary(Break::kParagraph);
  kept_.bytes.clear();
  return more;
}

}  // namespace veska::unicode
