// The ids of the texts that a table was asked for last: a direct-mapped cache in front of a
// look-up. Most words of a document are among the few thousand most frequent ones, and a hit
// touches one cache line in place of a bucket, a chain and the texts on it. Never stored.

#ifndef VESKA_STORAGE_TEXTCACHE_H_
#define VESKA_STORAGE_TEXTCACHE_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

class TextCache {
 public:
  // Longer texts are not kept.
  static constexpr size_t kMostBytes = 16;

  // The id that was kept for a text, 0 if none. hash: any function of the text.
  uint32_t find(const char* text, size_t length, uint32_t hash) const {
    if (!slots_ || length - 1 >= kMostBytes) return 0;
    const Slot& slot = slots_[slotOf(hash)];
    return slot.hash == hash && slot.length == length && slot.ends == endsOf(text, length) ? slot.id
                                                                                           : 0;
  }

  void keep(const char* text, size_t length, uint32_t hash, uint32_t id) {
    if (length - 1 >= kMostBytes) return;
    if (!slots_) slots_ = std::make_unique<Slot[]>(kSlots);
    slots_[slotOf(hash)] = {endsOf(text, length), hash, id, static_cast<uint32_t>(length)};
  }

  void clear() { slots_ = nullptr; }

 private:
  static constexpr unsigned kSlotBits = 13;
  static constexpr size_t kSlots = size_t{1} << kSlotBits;

  // The bytes of a text, those in its middle twice: with the length they tell it apart.
  struct Ends {
    uint64_t first = 0;
    uint64_t last = 0;
    bool operator==(const Ends&) const = default;
  };

  struct alignas(32) Slot {
    Ends ends;
    uint32_t hash = 0;
    uint32_t id = 0;
    uint32_t length = 0;
  };

  static size_t slotOf(uint32_t hash) { return (hash * 2654435769U) >> (32 - kSlotBits); }

  template <typename Number>
  static Ends load(const char* text, size_t length) {
    Number first;
    Number last;
    std::memcpy(&first, text, sizeof first);
    std::memcpy(&last, text + length - sizeof last, sizeof last);
    return {first, last};
  }

  static Ends endsOf(const char* text, size_t length) {
    if (length >= 8) return load<uint64_t>(text, length);
    if (length >= 4) return load<uint32_t>(text, length);
    if (length >= 2) return load<uint16_t>(text, length);
    return load<uint8_t>(text, length);
  }

  std::unique_ptr<Slot[]> slots_;
};

#endif  // VESKA_STORAGE_TEXTCACHE_H_
