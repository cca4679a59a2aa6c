// The bytes of a message, in one contiguous, reference-counted block.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>

#include <platform/core/Export.h>

namespace Quarnix::Bus::Message {

/// A shared reference to a block of bytes, or to none. The first byte of the block is aligned to 8.
///
/// Threads: several threads may share a block when nobody writes it any more. A writer asks `isShared` first.
class HEVRA_EXPORT Storage {
 public:
  Storage() noexcept = default;
  /// A block of `capacity` bytes, not initialised. Raises std::bad_alloc.
  explicit Storage(std::size_t capacity);
  Storage(const Storage& other) noexcept : block_(other.block_) {
    if (block_) block_->references.fetch_add(1, std::memory_order_relaxed);
  }
  Storage(Storage&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
  Storage& operator=(Storage other) noexcept {
    std::swap(block_, other.block_);
    return *this;
  }
  ~Storage() { release(); }

  explicit operator bool() const noexcept { return block_ != nullptr; }
  std::uint8_t* data() const noexcept { return block_ ? reinterpret_cast<std::uint8_t*>(block_ + 1) : nullptr; }
  std::size_t capacity() const noexcept { return block_ ? block_->capacity : 0; }
  bool isShared() const noexcept { return block_ && block_->references.load(std::memory_order_acquire) > 1; }

  /// Gives the block at least `capacity` bytes and keeps the first `used`. Afterwards no other reference shares it.
  void grow(std::size_t capacity, std::size_t used);

 private:
  struct alignas(8) Block {
    std::atomic<std::uint32_t> references;
    std::uint32_t capacity;
  };
  HEVRA_INTERNAL static void* allocate(std::size_t size);
  void release() noexcept;

  Block* block_ = nullptr;
};

/// A finished message: the bytes from `begin` to `end` of a block that nobody changes any more.
struct Frame {
  Storage storage;
  std::uint32_t begin = 0;
  std::uint32_t end = 0;

  const std::uint8_t* data() const noexcept { return storage.data() + begin; }
  std::size_t size() const noexcept { return end - begin; }
};

}  // namespace Quarnix::Bus::Message
