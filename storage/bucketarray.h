// The bucket heads of a hashed table: made empty, or as a stream has them saved.
//
// A large array is not read but mapped where it stands, so that opening an index of a million words
// costs no more than a small one. The mapping is private: what is written into it is never stored.

#ifndef VESKA_STORAGE_BUCKETARRAY_H_
#define VESKA_STORAGE_BUCKETARRAY_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>

class BucketArray {
 public:
  BucketArray() = default;
  // count empty buckets.
  explicit BucketArray(uint32_t count)
      : own_(std::make_unique<uint32_t[]>(count)), heads_(own_.get()), count_(count) {}

  // Takes the array that stands in the stream (storage/hashentries.h), and leaves the stream behind
  // it. Result: false, and an empty array, when it is not sound or not whole.
  bool read(FILE* stream);

  uint32_t& operator[](size_t bucket) { return heads_[bucket]; }
  uint32_t operator[](size_t bucket) const { return heads_[bucket]; }
  const uint32_t* data() const { return heads_; }
  uint32_t count() const { return count_; }

 private:
  struct Unmap {
    Unmap() : bytes(0) {}
    explicit Unmap(size_t length) : bytes(length) {}
    void operator()(void* base) const;

    size_t bytes;
  };

  bool mapFrom(FILE* stream, uint32_t count);

  std::unique_ptr<uint32_t[]> own_;
  std::unique_ptr<void, Unmap> mapping_;
  uint32_t* heads_ = nullptr;
  uint32_t count_ = 0;
};

#endif  // VESKA_STORAGE_BUCKETARRAY_H_
