// Writes the typed values as texts. Their key functions are here too: they give each class one identity, inside the
// shared library and outside.
#include <platform/hevra/HvTypes.h>

#include <charconv>

#include <platform/core/internal/Hexadecimal.h>

namespace Quarnix::Hevra {

namespace {

template <class T>
std::string numberText(T value) {
  char text[32];
  const auto end = std::to_chars(text, text + sizeof text, value).ptr;
  return std::string(text, end);
}

}  // namespace

HvType::~HvType() = default;
HvByte::~HvByte() = default;
HvUInt16::~HvUInt16() = default;
HvInt16::~HvInt16() = default;
HvUInt32::~HvUInt32() = default;
HvInt32::~HvInt32() = default;
HvUInt64::~HvUInt64() = default;
HvInt64::~HvInt64() = default;
HvDouble::~HvDouble() = default;
HvBool::~HvBool() = default;
HvString::~HvString() = default;
HvBlob::~HvBlob() = default;
HvNull::~HvNull() = default;

std::string HvByte::toString() const { return numberText(getValue()); }
std::string HvUInt16::toString() const { return numberText(getValue()); }
std::string HvInt16::toString() const { return numberText(getValue()); }
std::string HvUInt32::toString() const { return numberText(getValue()); }
std::string HvInt32::toString() const { return numberText(getValue()); }
std::string HvUInt64::toString() const { return numberText(getValue()); }
std::string HvInt64::toString() const { return numberText(getValue()); }
std::string HvDouble::toString() const { return numberText(getValue()); }
std::string HvBool::toString() const { return getValue() ? "true" : "false"; }
std::string HvString::toString() const { return getValue(); }
std::string HvNull::toString() const { return "null"; }

std::string HvBlob::toString() const {
  std::string text;
  appendHexadecimal(text, getValue());
  return text;
}

}  // namespace Quarnix::Hevra
