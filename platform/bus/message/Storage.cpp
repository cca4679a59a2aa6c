// Allocates and grows the blocks.
#include <platform/bus/message/Storage.h>

#include <sys/mman.h>

#include <cstdlib>
#include <cstring>
#include <new>

namespace Quarnix::Bus::Message {

static_assert(alignof(std::max_align_t) >= 8, "malloc must align the block's bytes to 8");

namespace {

/// Blocks of this size and more are mapped. They grow without a copy, and their memory goes back to the system. In the
/// heap, whatever is allocated behind such a block would keep the heap from shrinking.
constexpr std::size_t MAPPED_SIZE = std::size_t{1} << 22;

}  // namespace

void* Storage::allocate(std::size_t size) {
  if (size < MAPPED_SIZE) {
    if (void* memory = std::malloc(size)) return memory;
  } else {
    void* memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory != MAP_FAILED) return memory;
  }
  throw std::bad_alloc();
}

Storage::Storage(std::size_t capacity) {
  block_ = new (allocate(sizeof(Block) + capacity)) Block{{1}, static_cast<std::uint32_t>(capacity)};
}

void Storage::release() noexcept {
  if (!block_ || block_->references.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  const std::size_t size = sizeof(Block) + block_->capacity;
  if (size < MAPPED_SIZE)
    std::free(block_);
  else
    ::munmap(block_, size);
}

void Storage::grow(std::size_t capacity, std::size_t used) {
  if (block_ && !isShared()) {
    if (capacity <= block_->capacity) return;
    const std::size_t before = sizeof(Block) + block_->capacity, size = sizeof(Block) + capacity;
    if ((before < MAPPED_SIZE) == (size < MAPPED_SIZE)) {
      // Nobody shares the block, and it can be copied byte by byte, so it may move.
      void* memory = size < MAPPED_SIZE ? std::realloc(static_cast<void*>(block_), size)
                                        : ::mremap(block_, before, size, MREMAP_MAYMOVE);
      if (!memory || memory == MAP_FAILED) throw std::bad_alloc();
      block_ = static_cast<Block*>(memory);
      block_->capacity = static_cast<std::uint32_t>(capacity);
      return;
    }
  }
  Storage grown(capacity);
  if (block_ && used) std::memcpy(grown.data(), data(), used);
  std::swap(block_, grown.block_);
}

}  // namespace Quarnix::Bus::Message
