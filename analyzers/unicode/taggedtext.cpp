#include "analyzers/unicode/taggedtext.h"

#include <algorithm>

namespace veska::unicode {

namespace {

constexpr size_t kMostAsides = 1024;

}  // namespace

bool TaggedText::read(ByteInput& part, std::string_view charset) {
  return parseMarkup(Markup::kXml, part, charset, *this) != Outcome::kStopped && story_.finish();
}

bool TaggedText::startTag(std::string_view name, std::string_view attributes, bool empty) {
  name = localName(name);
  if (hiddenDepth_ != 0) {
    if (!empty && name == hidden_) ++hiddenDepth_;
    return true;
  }
  hideNext_ = false;
  if (!opened(name, attributes, empty)) return false;
  const TextTag* tag = find(name);
  if (!empty && (hideNext_ || (tag != nullptr && (tag->roles & kTagHidden) != 0))) {
    hidden_ = name;
    hiddenDepth_ = 1;
    return true;
  }
  return tag == nullptr || begin(*tag, empty);
}

bool TaggedText::endTag(std::string_view name) {
  name = localName(name);
  if (hiddenDepth_ != 0) {
    if (name == hidden_) --hiddenDepth_;
    return true;
  }
  const TextTag* tag = find(name);
  return (tag == nullptr || end(*tag)) && closed(name);
}

bool TaggedText::begin(const TextTag& tag, bool empty) {
  const unsigned roles = tag.roles;
  if ((roles & (kTagBreak | kTagMark)) != 0 && !story_.boundary(tag.strength)) return false;
  if ((roles & kTagCell) != 0 && !story_.boundary(Break::kWord)) return false;
  if ((roles & kTagParagraph) != 0 && !beginParagraph(empty)) return false;
  if (empty) return true;
  if ((roles & kTagCell) != 0) {
    ++cells_;
    paragraphsInCell_ = 0;
  }
  if ((roles & kTagAside) != 0 && !beginAside()) return false;
  if ((roles & kTagText) != 0) ++textDepth_;
  return true;
}

bool TaggedText::end(const TextTag& tag) {
  const unsigned roles = tag.roles;
  if ((roles & kTagText) != 0 && textDepth_ != 0) --textDepth_;
  if ((roles & kTagCell) != 0 && cells_ != 0) --cells_;
  if ((roles & kTagAside) != 0 && !endAside()) return false;
  if ((roles & kTagBreak) != 0 && !story_.boundary(tag.strength)) return false;
  if ((roles & kTagCell) != 0 && !story_.boundary(Break::kWord)) return false;
  return (roles & kTagParagraph) == 0 ||
         story_.boundary(cells_ == 0 ? Break::kParagraph : Break::kWord);
}

bool TaggedText::beginParagraph(bool empty) {
  if (cells_ == 0) return story_.boundary(Break::kParagraph);
  return empty || paragraphsInCell_++ == 0 || story_.boundary(Break::kLine);
}

bool TaggedText::characters(std::string_view utf8) {
  return hiddenDepth_ != 0 || !isText() || take(utf8);
}

const TextTag* TaggedText::find(std::string_view name) const {
  const auto found =
      std::lower_bound(tags_.begin(), tags_.end(), name,
                       [](const TextTag& tag, std::string_view n) { return tag.name < n; });
  return found == tags_.end() || found->name != name ? nullptr : &*found;
}

bool TaggedText::beginAside() {
  if (textDepths_.size() >= kMostAsides) {
    ++deeperAsides_;
    return true;
  }
  textDepths_.push_back(textDepth_);
  textDepth_ = 0;
  return story_.beginAside();
}

bool TaggedText::endAside() {
  if (deeperAsides_ != 0) {
    --deeperAsides_;
    return true;
  }
  if (textDepths_.empty()) return true;
  textDepth_ = textDepths_.back();
  textDepths_.pop_back();
  return story_.endAside();
}

std::span<const TextTag> propertyTags() {
  static constexpr TextTag kTags[] = {
      {"creator", kTagText | kTagBreak, Break::kLine},
      {"initial-creator", kTagText | kTagBreak, Break::kLine},
      {"keyword", kTagText | kTagBreak, Break::kLine},
      {"keywords", kTagText | kTagBreak, Break::kLine},
      {"subject", kTagText | kTagBreak, Break::kLine},
      {"title", kTagText | kTagBreak, Break::kLine},
  };
  return kTags;
}

bool deliverProperties(ByteInput& part, TextSink& sink) {
  return TaggedText(propertyTags(), sink).read(part) && sink.boundary(Break::kParagraph);
}

}  // namespace veska::unicode
