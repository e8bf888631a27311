#include "analyzers/unicode/kinds.h"

namespace veska::unicode {

std::span<const Kind> documentKinds() { return {}; }

}  // namespace veska::unicode
