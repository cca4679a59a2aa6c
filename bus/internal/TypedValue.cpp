// Reading typed values.
#include <bus/internal/TypedValue.h>

namespace Quarnix::Bus::Type::TypedValue {

namespace {

template <class Class, class T>
Shared::Pointer<Hevra::HvType> readOne(Message::ConstIterator& content) {
  T value{};
  content.read(value);
  return Shared::make<Class>(std::move(value));
}

}  // namespace

bool read(Message::ConstIterator& content, std::string_view signature, Shared::Pointer<Hevra::HvType>& value) {
  if (signature == "ay") {
    const auto bytes = content.getBytes();
    value = Shared::make<Hevra::HvBlob>(std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
    ++content;
    return true;
  }
  if (signature.size() != 1) return false;
  switch (signature[0]) {
    case 'y':
      value = readOne<Hevra::HvByte, std::uint8_t>(content);
      return true;
    case 'q':
      value = readOne<Hevra::HvUInt16, std::uint16_t>(content);
      return true;
    case 'n':
      value = readOne<Hevra::HvInt16, std::int16_t>(content);
      return true;
    case 'u':
      value = readOne<Hevra::HvUInt32, std::uint32_t>(content);
      return true;
    case 'i':
      value = readOne<Hevra::HvInt32, std::int32_t>(content);
      return true;
    case 't':
      value = readOne<Hevra::HvUInt64, std::uint64_t>(content);
      return true;
    case 'x':
      value = readOne<Hevra::HvInt64, std::int64_t>(content);
      return true;
    case 's':
      value = readOne<Hevra::HvString, std::string>(content);
      return true;
    case 'd':
      value = readOne<Hevra::HvDouble, double>(content);
      return true;
    case 'b':
      value = readOne<Hevra::HvBool, bool>(content);
      return true;
    default:
      return false;
  }
}

}  // namespace Quarnix::Bus::Type::TypedValue
