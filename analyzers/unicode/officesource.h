// What the office documents of OOXML have in common (ECMA-376, part 2): a package whose parts refer
// to each other, one of which is the document.

#ifndef VESKA_ANALYZERS_UNICODE_OFFICESOURCE_H_
#define VESKA_ANALYZERS_UNICODE_OFFICESOURCE_H_

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "analyzers/unicode/package.h"
#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

struct Relation {
  std::string id;
  std::string type;  // the last step of its address: "officeDocument", "header", ...
  std::string part;
};

// The parts to which a part refers, in the order of the file. part: empty for the package.
std::vector<Relation> relationsOf(Package& package, std::string_view part);

// Finds relations by their ids. relations: outlives the object.
class RelationsById {
 public:
  explicit RelationsById(const std::vector<Relation>& relations);
  const Relation* find(std::string_view id) const;  // null when there is none

 private:
  std::vector<const Relation*> sorted_;
};

// The text of drawings: slides, diagrams, charts, comments.
bool deliverDrawing(Package& package, std::string_view part, TextSink& sink);

// Those of the relations that have one of these types, read as drawings.
bool deliverDrawings(Package& package, const std::vector<Relation>& relations,
                     std::initializer_list<std::string_view> types, TextSink& sink);

// Reads the properties and hands over the part with the document. An encrypted document, which is
// no ZIP archive, is told.
class OfficeSource : public TextSource {
 public:
  // usualMain: the name of that part, for packages that do not tell.
  explicit OfficeSource(std::string_view usualMain) : usualMain_(usualMain) {}

  Outcome deliver(ByteInput& input, const SourceRequest& request, TextSink& sink) final;

 protected:
  // Result: false when the sink wants no more.
  virtual bool deliverMain(Package& package, const Package::Part& main, TextSink& sink) = 0;

 private:
  std::string_view usualMain_;
};

// Does the head show a package of OOXML with parts in that folder ("word/")?
bool isOffice(std::string_view head, std::string_view folder);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_OFFICESOURCE_H_
