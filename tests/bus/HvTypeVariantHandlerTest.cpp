// Typed values in variants: which signature each class has, what comes back, and what is refused.
#include <limits>

#include <gtest/gtest.h>

#include <bus/HvTypeVariantHandler.h>
#include <platform/bus/message/Signal.h>
#include <platform/hevra/HvTypes.h>

namespace Quarnix::Bus::Type {
namespace {

using namespace Hevra;
using Value = Shared::Pointer<HvType>;
using Bytes = std::vector<std::uint8_t>;

Message::Signal emptyMessage() { return Message::Signal("/test", "test.Test", "Test"); }

Value roundTrip(const Value& value) {
  Message::Signal message = emptyMessage();
  Message::Iterator append = message.begin();
  Wrapper<VariantHandler>().serialize(append, HvTypeVariantHandler(value));
  Message::ConstIterator read = std::as_const(message).begin();
  HvTypeVariantHandler handler;
  Wrapper<VariantHandler>().deserialize(read, handler);
  return handler.value();
}

TEST(HvTypeVariantHandler, KeepsClassAndValue) {
  const struct {
    Value value;
    const char* signature;
  } rows[] = {
      {Shared::make<HvBlob>(Bytes{1, 2, 255, 0}), "ay"},
      {Shared::make<HvByte>(std::uint8_t{255}), "y"},
      {Shared::make<HvUInt16>(std::uint16_t{65535}), "q"},
      {Shared::make<HvInt16>(std::int16_t{-1}), "n"},
      {Shared::make<HvUInt32>(4294967295u), "u"},
      {Shared::make<HvInt32>(-1), "i"},
      {Shared::make<HvUInt64>(std::numeric_limits<std::uint64_t>::max()), "t"},
      {Shared::make<HvInt64>(std::int64_t{-1}), "x"},
      {Shared::make<HvString>("h\u00e9"), "s"},
      {Shared::make<HvDouble>(-1.5e300), "d"},
      {Shared::make<HvBool>(true), "b"},
      {Shared::make<HvBool>(false), "b"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(HvTypeVariantHandler(row.value).signature(), row.signature);
    const Value back = roundTrip(row.value);
    ASSERT_TRUE(back) << row.signature;
    EXPECT_EQ(HvTypeVariantHandler(back).signature(), row.signature);
    EXPECT_EQ(back->toString(), row.value->toString());
  }
}

TEST(HvTypeVariantHandler, WritesNothingAsAnEmptyBlob) {
  for (const Value& value : {Value(), Value(Shared::make<HvNull>()), Value(Shared::make<HvBlob>(Bytes()))}) {
    EXPECT_EQ(HvTypeVariantHandler(value).signature(), "ay");
    const Value back = roundTrip(value);
    ASSERT_TRUE(back.as<HvBlob>());
    EXPECT_TRUE(back.as<HvBlob>()->getValue().empty());
  }
}

TEST(HvTypeVariantHandler, RefusesADerivedClass) {
  struct Derived : HvUInt32 {
    using HvUInt32::HvUInt32;
  };
  struct Foreign : HvType {
    std::string toString() const override { return ""; }
  };
  for (const Value& value : {Value(Shared::make<Derived>(1u)), Value(Shared::make<Foreign>())}) {
    const HvTypeVariantHandler handler(value);
    EXPECT_THROW(handler.signature(), HvTypeVariantHandler::UnknownTypeForSignature);
    Message::Signal message = emptyMessage();
    Message::Iterator append = message.begin();
    EXPECT_THROW(handler.serialize(append), HvTypeVariantHandler::UnknownTypeForSerialization);
    EXPECT_THROW(Wrapper<VariantHandler>().serialize(append, handler), HvTypeVariantHandler::UnknownTypeForSignature);
    EXPECT_STREQ(message.getSignature(), "");
  }
}

TEST(HvTypeVariantHandler, IgnoresAContentThatNoClassHas) {
  Message::Signal message = emptyMessage();
  Message::Iterator append = message.begin();
  Message::Iterator path = append.begin(Message::VARIANT, "o");
  path.appendPath("/a");
  append.end(path);
  Message::Iterator array = append.begin(Message::VARIANT, "au");
  Message::Iterator elements = array.begin(Message::ARRAY, "u");
  array.end(elements);
  append.end(array);
  Message::Iterator structure = append.begin(Message::VARIANT, "(u)");
  Message::Iterator member = structure.begin(Message::STRUCTURE);
  member.append(1u);
  structure.end(member);
  append.end(structure);

  const Value held = Shared::make<HvByte>(std::uint8_t{1});
  Message::ConstIterator read = std::as_const(message).begin();
  for (int i = 0; i < 3; ++i, ++read) {
    HvTypeVariantHandler empty, full(held);
    Wrapper<VariantHandler>().deserialize(read, empty);
    Wrapper<VariantHandler>().deserialize(read, full);
    EXPECT_FALSE(empty.value());
    EXPECT_EQ(full.value(), held);
  }
}

TEST(HvTypeVariantHandler, SharesItsValue) {
  const Value value = Shared::make<HvByte>(std::uint8_t{1});
  HvTypeVariantHandler handler;
  handler.setValue(value);
  handler.setValue(handler.value());
  EXPECT_EQ(handler.value(), value);
  EXPECT_EQ(value.useCount(), 2u);
}

}  // namespace
}  // namespace Quarnix::Bus::Type
