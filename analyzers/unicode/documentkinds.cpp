#include <vector>

#include "analyzers/unicode/archivesource.h"
#include "analyzers/unicode/kinds.h"
#include "analyzers/unicode/mailkinds.h"
#include "analyzers/unicode/officekinds.h"

namespace veska::unicode {

std::span<const Kind> documentKinds() {
  static const std::vector<Kind> kinds = [] {
    std::vector<Kind> all;
    for (const auto some : {officeKinds(), mailKinds(), archiveKinds()})
      all.insert(all.end(), some.begin(), some.end());
    return all;
  }();
  return kinds;
}

}  // namespace veska::unicode
