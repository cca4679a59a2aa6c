// Typed values in variants that another implementation wrote are read exactly, and ours are the same bytes.
#include <limits>

#include <bus/HvTypeVariantHandler.h>
#include <platform/bus/message/Signal.h>
#include <tests/golden/Golden.h>
#include <tests/golden/Values.h>

namespace Quarnix::Bus::Message {
namespace {

using namespace Hevra;
using Bus::Type::HvTypeVariantHandler;

template <class T>
using Limits = std::numeric_limits<T>;

Blob numbered(std::size_t count) {
  Blob bytes(count);
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<std::uint8_t>(i);
  return bytes;
}

std::string digits(std::size_t count) {
  std::string text;
  while (text.size() < count) text += "0123456789";
  return text;
}

const Value VALUES[] = {
    value<HvByte>("y-0", std::uint8_t{0}),
    value<HvByte>("y-max", std::uint8_t{255}),
    value<HvUInt16>("q-0", std::uint16_t{0}),
    value<HvUInt16>("q-max", std::uint16_t{65535}),
    value<HvInt16>("n-min", std::int16_t{-32768}),
    value<HvInt16>("n-max", std::int16_t{32767}),
    value<HvUInt32>("u-0", std::uint32_t{0}),
    value<HvUInt32>("u-max", std::uint32_t{4294967295}),
    value<HvInt32>("i-min", Limits<std::int32_t>::min()),
    value<HvInt32>("i-max", std::int32_t{2147483647}),
    value<HvUInt64>("t-0", std::uint64_t{0}),
    value<HvUInt64>("t-max", std::uint64_t{18446744073709551615u}),
    value<HvInt64>("x-min", Limits<std::int64_t>::min()),
    value<HvInt64>("x-max", std::int64_t{9223372036854775807}),
    value<HvString>("s-empty", std::string()),
    value<HvString>("s-utf8", std::string("Grüße, 家 \U0001d11e \uffff")),
    value<HvString>("s-long", digits(10000)),
    value<HvDouble>("d-tenth", 0.1),
    value<HvDouble>("d-minus-0", -0.0),
    value<HvDouble>("d-max", Limits<double>::max()),
    value<HvDouble>("d-tiny", -Limits<double>::denorm_min()),
    value<HvDouble>("d-infinite", -Limits<double>::infinity()),
    value<HvDouble>("d-nan", Limits<double>::quiet_NaN()),
    value<HvBool>("b-false", false),
    value<HvBool>("b-true", true),
    value<HvBlob>("ay-empty", Blob()),
    value<HvBlob>("ay-three", Blob{0x00, 0xFF, 0x80}),
    value<HvBlob>("ay-long", numbered(1024)),
};

Shared::Pointer<HvType> valueIn(const Base& message) {
  HvTypeVariantHandler handler;
  ConstIterator read = message.begin();
  Bus::Type::Wrapper<Bus::Type::VariantHandler>().deserialize(read, handler);
  EXPECT_EQ(++read, message.end());
  return handler.value();
}

void expectWritten(const char* name, const Shared::Pointer<HvType>& value) {
  Signal ours("/golden", "golden.Values", "Value");
  Iterator append = ours.begin();
  Bus::Type::Wrapper<Bus::Type::VariantHandler>().serialize(append, HvTypeVariantHandler(value));
  expectSame(std::string("value-") + name, ours);
}

TEST(GoldenValue, IsReadAndWrittenExactly) {
  for (const Value& value : VALUES) {
    for (const char order : {'l', 'B'})
      value.expect(valueIn(received<Signal>(std::string("value-") + value.name, order)).get());
    expectWritten(value.name, value.make());
  }
}

TEST(GoldenValue, IsAnEmptyBlobWhereThereIsNone) {
  expectWritten("ay-empty", {});
  expectWritten("ay-empty", Shared::make<HvNull>());
}

TEST(GoldenValue, IsNoneWhereNoClassHasItsSignature) {
  for (const char* name : {"struct", "path", "signature", "array", "aligned", "dictionary", "variant"})
    for (const char order : {'l', 'B'})
      EXPECT_FALSE(valueIn(received<Signal>(std::string("value-unknown-") + name, order))) << name;
}

}  // namespace
}  // namespace Quarnix::Bus::Message
