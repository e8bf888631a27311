// Where things lie in the 512 bytes in front of each member of a TAR archive (POSIX.1-1988, ustar).

#ifndef VESKA_ANALYZERS_TARHEADER_H_
#define VESKA_ANALYZERS_TARHEADER_H_

#include <cstddef>

namespace veska::tar {

constexpr size_t kHeaderBytes = 512;

struct Field {
  size_t offset;
  size_t bytes;
};
constexpr Field kName{0, 100};
constexpr Field kSize{124, 12};
constexpr Field kTime{136, 12};
constexpr Field kSum{148, 8};
constexpr Field kPrefix{345, 155};
constexpr size_t kKind = 156;
constexpr size_t kMagic = 257;

}  // namespace veska::tar

#endif  // VESKA_ANALYZERS_TARHEADER_H_
