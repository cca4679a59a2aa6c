// A typed value that a test expects: how to make it and what one read must be, exactly.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <functional>
#include <typeinfo>
#include <vector>

#include <platform/hevra/HvTypes.h>

namespace Quarnix {

using Blob = std::vector<std::uint8_t>;

struct Value {
  const char* name;
  std::function<Shared::Pointer<Hevra::HvType>()> make;
  std::function<void(const Hevra::HvType*)> expect;
};

/// The bits of a double are compared, not its value: zero has a sign, and what is no number equals nothing.
template <class T>
auto comparable(const T& value) {
  if constexpr (std::is_same_v<T, double>) {
    return std::bit_cast<std::uint64_t>(value);
  } else {
    return value;
  }
}

template <class Class, class T>
Value value(const char* name, const T& content) {
  return {name, [content] { return Shared::Pointer<Hevra::HvType>(Shared::make<Class>(content)); },
          [name, content](const Hevra::HvType* read) {
            SCOPED_TRACE(name);
            ASSERT_NE(read, nullptr);
            ASSERT_EQ(typeid(*read), typeid(Class));
            EXPECT_EQ(comparable(static_cast<const Class&>(*read).getValue()), comparable(content));
          }};
}

}  // namespace Quarnix
