// Typed values in variants: what is refused, and what is left alone.
#include <gtest/gtest.h>

#include <bus/HvTypeVariantHandler.h>
#include <platform/bus/message/Signal.h>
#include <platform/hevra/HvTypes.h>

namespace Quarnix::Bus::Type {
namespace {

using namespace Hevra;
using Value = Shared::Pointer<HvType>;
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
    Message::Signal message("/test", "test.Test", "Test");
    Message::Iterator append = message.begin();
    EXPECT_THROW(handler.serialize(append), HvTypeVariantHandler::UnknownTypeForSerialization);
    EXPECT_THROW(Wrapper<VariantHandler>().serialize(append, handler), HvTypeVariantHandler::UnknownTypeForSignature);
    EXPECT_STREQ(message.getSignature(), "");
  }
}

TEST(HvTypeVariantHandler, KeepsItsValueOverAContentThatNoClassHas) {
  Message::Signal message("/test", "test.Test", "Test");
  Message::Iterator append = message.begin();
  Message::Iterator array = append.begin(Message::VARIANT, "au");
  Message::Iterator elements = array.begin(Message::ARRAY, "u");
  array.end(elements);
  append.end(array);
  const Value held = Shared::make<HvByte>(std::uint8_t{1});
  HvTypeVariantHandler handler(held);
  Message::ConstIterator read = std::as_const(message).begin();
  Wrapper<VariantHandler>().deserialize(read, handler);
  EXPECT_EQ(handler.value(), held);
}

}  // namespace
}  // namespace Quarnix::Bus::Type
