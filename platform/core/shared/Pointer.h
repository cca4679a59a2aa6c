// The reference-counted pointer to every polymorphic object that crosses an interface.
#pragma once

#include <atomic>
#include <cstddef>
#include <type_traits>
#include <utility>

#include <platform/core/shared/Nil.h>

namespace Quarnix::Shared {

namespace Detail {

/// The count of one shared object, and the function that destroys the object when nobody holds it any more.
class Count {
 public:
  using Destroy = void (*)(Count*) noexcept;
  explicit Count(Destroy destroy) noexcept : destroy_(destroy) {}

  void acquire() noexcept { references_.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept {
    // The last holder must see what the others wrote before it destroys the object.
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) destroy_(this);
  }
  std::size_t use() const noexcept { return references_.load(std::memory_order_relaxed); }

 private:
  std::atomic<std::size_t> references_{1};
  Destroy destroy_;
};

template <class T>
struct SeparateCount : Count {
  explicit SeparateCount(T* object) noexcept : Count(&destroy), object_(object) {}
  static void destroy(Count* count) noexcept {
    auto* self = static_cast<SeparateCount*>(count);
    delete self->object_;
    delete self;
  }
  T* object_;
};

template <class T>
struct InlineCount : Count {
  template <class... A>
  explicit InlineCount(A&&... arguments) : Count(&destroy), object_(std::forward<A>(arguments)...) {}
  static void destroy(Count* count) noexcept { delete static_cast<InlineCount*>(count); }
  T object_;
};

}  // namespace Detail

/// A shared reference to a T, or nothing.
///
/// Ownership: the object is destroyed when the last reference goes, on the thread that drops it.
/// Threads: the count is atomic, so that any thread may copy and drop references to one object. While one thread writes
/// a Pointer object, no other may use that same Pointer. Errors: dereferencing an empty pointer raises
/// Shared::Exception::Nil.
template <class T>
class Pointer {
 public:
  constexpr Pointer() noexcept = default;
  constexpr Pointer(std::nullptr_t) noexcept {}

  /// Takes over an object made with new. If the count cannot be allocated, the object is destroyed.
  template <class U, std::enable_if_t<std::is_convertible_v<U*, T*>, int> = 0>
  explicit Pointer(U* object) : object_(object) {
    if (!object) return;
    try {
      count_ = new Detail::SeparateCount<U>(object);
    } catch (...) {
      delete object;
      throw;
    }
  }

  /// Makes a T with its count in one allocation.
  template <class... A>
  static Pointer make(A&&... arguments) {
    auto* count = new Detail::InlineCount<T>(std::forward<A>(arguments)...);
    return Pointer(&count->object_, count);
  }

  Pointer(const Pointer& other) noexcept : object_(other.object_), count_(other.count_) {
    if (count_) count_->acquire();
  }
  Pointer(Pointer&& other) noexcept
      : object_(std::exchange(other.object_, nullptr)), count_(std::exchange(other.count_, nullptr)) {}
  template <class U, std::enable_if_t<std::is_convertible_v<U*, T*>, int> = 0>
  Pointer(const Pointer<U>& other) noexcept : object_(other.object_), count_(other.count_) {
    if (count_) count_->acquire();
  }
  template <class U, std::enable_if_t<std::is_convertible_v<U*, T*>, int> = 0>
  Pointer(Pointer<U>&& other) noexcept
      : object_(std::exchange(other.object_, nullptr)), count_(std::exchange(other.count_, nullptr)) {}
  ~Pointer() {
    if (count_) count_->release();
  }

  Pointer& operator=(Pointer other) noexcept {
    swap(other);
    return *this;
  }
  void swap(Pointer& other) noexcept {
    std::swap(object_, other.object_);
    std::swap(count_, other.count_);
  }
  void reset() noexcept { Pointer().swap(*this); }

  T* operator->() const { return checked(); }
  T& operator*() const { return *checked(); }
  T* get() const noexcept { return object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }
  /// How many references there are now, for tests and logs.
  std::size_t useCount() const noexcept { return count_ ? count_->use() : 0; }

  /// The same object as a U if it is one, or an empty pointer.
  template <class U>
  Pointer<U> as() const noexcept {
    U* object = dynamic_cast<U*>(object_);
    if (!object) return {};
    count_->acquire();
    return Pointer<U>(object, count_);
  }

  template <class U>
  friend bool operator==(const Pointer& a, const Pointer<U>& b) noexcept {
    return a.get() == b.get();
  }
  friend bool operator==(const Pointer& a, std::nullptr_t) noexcept { return !a.object_; }

 private:
  template <class U>
  friend class Pointer;
  Pointer(T* object, Detail::Count* count) noexcept : object_(object), count_(count) {}
  T* checked() const {
    if (!object_) [[unlikely]]
      Exception::raiseNil();
    return object_;
  }

  T* object_ = nullptr;
  Detail::Count* count_ = nullptr;
};

/// Makes a T held by a Pointer, in one allocation.
template <class T, class... A>
Pointer<T> make(A&&... arguments) {
  return Pointer<T>::make(std::forward<A>(arguments)...);
}

}  // namespace Quarnix::Shared
