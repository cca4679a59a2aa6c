// Allocation and growth of message storage.
#include <platform/bus/message/Storage.h>

#include <cstdlib>
#include <cstring>
#include <new>

namespace Quarnix::Bus::Message {

static_assert(alignof(std::max_align_t) >= 8, "malloc must align the block's bytes to 8");

Storage::Storage(std::size_t capacity) {
  void* memory = std::malloc(sizeof(Block) + capacity);
  if (!memory) throw std::bad_alloc();
  block_ = new (memory) Block{{1}, static_cast<std::uint32_t>(capacity)};
}

void Storage::release() noexcept {
  if (block_ && block_->references.fetch_sub(1, std::memory_order_acq_rel) == 1) std::free(block_);
}

void Storage::grow(std::size_t capacity, std::size_t used) {
  if (block_ && !isShared()) {
    if (capacity <= block_->capacity) return;
    // The block is this reference's alone and holds nothing but trivially copyable words, so realloc may move it.
    void* memory = std::realloc(static_cast<void*>(block_), sizeof(Block) + capacity);
    if (!memory) throw std::bad_alloc();
    block_ = static_cast<Block*>(memory);
    block_->capacity = static_cast<std::uint32_t>(capacity);
    return;
  }
  Storage grown(capacity);
  if (block_ && used) std::memcpy(grown.data(), data(), used);
  std::swap(block_, grown.block_);
}

}  // namespace Quarnix::Bus::Message
