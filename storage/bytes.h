// Unaligned little-endian numbers: the only place that touches raw table bytes.

#ifndef VESKA_STORAGE_BYTES_H_
#define VESKA_STORAGE_BYTES_H_

#include <bit>
#include <cstdint>
#include <cstring>

static_assert(std::endian::native == std::endian::little, "tables are mapped as they stand");

inline uint16_t loadU16(const void* at) {
  uint16_t value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

inline uint32_t loadU32(const void* at) {
  uint32_t value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

inline void storeU16(void* at, uint16_t value) { std::memcpy(at, &value, sizeof value); }
inline void storeU32(void* at, uint32_t value) { std::memcpy(at, &value, sizeof value); }

#endif  // VESKA_STORAGE_BYTES_H_
