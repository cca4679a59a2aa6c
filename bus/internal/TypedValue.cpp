// Reads typed values.
#include <bus/internal/TypedValue.h>

#include <type_traits>
#include <utility>

namespace Quarnix::Bus::Type::TypedValue {

namespace {

/// What an object of the class holds, and the code of it on the wire.
template <class Class>
using Content = std::decay_t<decltype(std::declval<const Class&>().getValue())>;
template <class Class>
constexpr char CODE_OF = Message::codeOf<Content<Class>>();

template <class Class>
Shared::Pointer<Hevra::HvType> readOne(Message::ConstIterator& content) {
  Content<Class> value{};
  content.read(value);
  return Shared::make<Class>(std::move(value));
}

}  // namespace

bool read(Message::ConstIterator& content, std::string_view signature, Shared::Pointer<Hevra::HvType>& value) {
  if (signature == Message::BYTES) {
    std::span<const std::uint8_t> bytes;
    content.read(bytes);
    value = Shared::make<Hevra::HvBlob>(std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
    return true;
  }
  if (signature.size() != 1) return false;
  switch (signature[0]) {
    case CODE_OF<Hevra::HvByte>:
      value = readOne<Hevra::HvByte>(content);
      return true;
    case CODE_OF<Hevra::HvUInt16>:
      value = readOne<Hevra::HvUInt16>(content);
      return true;
    case CODE_OF<Hevra::HvInt16>:
      value = readOne<Hevra::HvInt16>(content);
      return true;
    case CODE_OF<Hevra::HvUInt32>:
      value = readOne<Hevra::HvUInt32>(content);
      return true;
    case CODE_OF<Hevra::HvInt32>:
      value = readOne<Hevra::HvInt32>(content);
      return true;
    case CODE_OF<Hevra::HvUInt64>:
      value = readOne<Hevra::HvUInt64>(content);
      return true;
    case CODE_OF<Hevra::HvInt64>:
      value = readOne<Hevra::HvInt64>(content);
      return true;
    case CODE_OF<Hevra::HvString>:
      value = readOne<Hevra::HvString>(content);
      return true;
    case CODE_OF<Hevra::HvDouble>:
      value = readOne<Hevra::HvDouble>(content);
      return true;
    case CODE_OF<Hevra::HvBool>:
      value = readOne<Hevra::HvBool>(content);
      return true;
    default:
      return false;
  }
}

}  // namespace Quarnix::Bus::Type::TypedValue
