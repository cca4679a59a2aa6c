// Typed values in variants that another implementation wrote are read exactly, and ours are the same bytes.
#include <limits>

#include <bus/HvTypeVariantHandler.h>
#include <platform/bus/message/Signal.h>
#include <tests/golden/Golden.h>

namespace Quarnix::Bus::Message {
namespace {

using namespace Hevra;
using Bus::Type::HvTypeVariantHandler;

template <class T>
using Limits = std::numeric_limits<T>;

Bytes numbered(std::size_t count) {
  Bytes bytes(count);
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<std::uint8_t>(i);
  return bytes;
}

std::string digits(std::size_t count) {
  std::string text;
  while (text.size() < count) text += "0123456789";
  return text;
}

const std::pair<const char*, Shared::Pointer<HvType>> VALUES[] = {
    {"y-0", Shared::make<HvByte>(std::uint8_t{0})},
    {"y-max", Shared::make<HvByte>(std::uint8_t{255})},
    {"q-0", Shared::make<HvUInt16>(std::uint16_t{0})},
    {"q-max", Shared::make<HvUInt16>(std::uint16_t{65535})},
    {"n-min", Shared::make<HvInt16>(std::int16_t{-32768})},
    {"n-max", Shared::make<HvInt16>(std::int16_t{32767})},
    {"u-0", Shared::make<HvUInt32>(std::uint32_t{0})},
    {"u-max", Shared::make<HvUInt32>(std::uint32_t{4294967295})},
    {"i-min", Shared::make<HvInt32>(Limits<std::int32_t>::min())},
    {"i-max", Shared::make<HvInt32>(std::int32_t{2147483647})},
    {"t-0", Shared::make<HvUInt64>(std::uint64_t{0})},
    {"t-max", Shared::make<HvUInt64>(std::uint64_t{18446744073709551615u})},
    {"x-min", Shared::make<HvInt64>(Limits<std::int64_t>::min())},
    {"x-max", Shared::make<HvInt64>(std::int64_t{9223372036854775807})},
    {"s-empty", Shared::make<HvString>(std::string())},
    {"s-utf8", Shared::make<HvString>(std::string(TEXT))},
    {"s-long", Shared::make<HvString>(digits(10000))},
    {"d-tenth", Shared::make<HvDouble>(0.1)},
    {"d-minus-0", Shared::make<HvDouble>(-0.0)},
    {"d-max", Shared::make<HvDouble>(Limits<double>::max())},
    {"d-tiny", Shared::make<HvDouble>(-Limits<double>::denorm_min())},
    {"d-infinite", Shared::make<HvDouble>(-Limits<double>::infinity())},
    {"d-nan", Shared::make<HvDouble>(Limits<double>::quiet_NaN())},
    {"b-false", Shared::make<HvBool>(false)},
    {"b-true", Shared::make<HvBool>(true)},
    {"ay-empty", Shared::make<HvBlob>(Bytes())},
    {"ay-three", Shared::make<HvBlob>(Bytes{0x00, 0xFF, 0x80})},
    {"ay-long", Shared::make<HvBlob>(numbered(1024))},
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
  for (const auto& [name, value] : VALUES) {
    expectWritten(name, value);
    for (const char order : {'l', 'B'}) {
      const Shared::Pointer<HvType> read = valueIn(received<Signal>(std::string("value-") + name, order));
      ASSERT_TRUE(read) << name;
      EXPECT_EQ(classOf(read), classOf(value)) << name;
      expectWritten(name, read);
    }
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
