// Gives the same bytes to libdbus and to this library. Both must accept or both must reject them, and both must read
// the same values. One difference is intended: libdbus accepts values of type 'h'.
#include <bit>
#include <cstring>
#include <string_view>
#include <type_traits>

#include <dbus/dbus.h>

#include <fuzz/Finding.h>
#include <fuzz/Numbers.h>
#include <platform/bus/message/ConstIterator.h>
#include <platform/bus/message/Limits.h>
#include <platform/bus/message/internal/Check.h>
#include <platform/bus/message/internal/Rules.h>

namespace Quarnix::Fuzz {
namespace {

using namespace Bus::Message;

constexpr std::uint8_t NO_AUTO_START = 2;  // a flag that the library neither sets nor reads

template <class T>
void compareNumbers(const ConstIterator& ours, DBusMessageIter& theirs) {
  T value{};
  std::conditional_t<std::is_same_v<T, bool>, dbus_bool_t, T> other{};
  ours.get(value);
  dbus_message_iter_get_basic(&theirs, &other);
  if constexpr (std::is_same_v<T, double>) {
    require(std::bit_cast<std::uint64_t>(value) == std::bit_cast<std::uint64_t>(other), "the same number");
  } else {
    require(value == static_cast<T>(other), "the same number");
  }
}

void compare(ConstIterator ours, DBusMessageIter& theirs) {
  for (; ours.type(); ++ours, dbus_message_iter_next(&theirs)) {
    const int type = ours.type();
    require(type == dbus_message_iter_get_arg_type(&theirs), "the same type");
    if (visitNumber(type, [&]<class T>(T) { compareNumbers<T>(ours, theirs); })) continue;
    if (type == 's' || type == 'o' || type == 'g') {
      const char* text = nullptr;
      dbus_message_iter_get_basic(&theirs, &text);
      require(ours.getText() == text, "the same text");
    } else {
      DBusMessageIter inside;
      dbus_message_iter_recurse(&theirs, &inside);
      compare(ours.begin(), inside);
    }
  }
  require(dbus_message_iter_get_arg_type(&theirs) == 0, "the same number of values");
}

void compareHeaders(const std::uint8_t* data, const Header& ours, DBusMessage* theirs) {
  require(ours.type == dbus_message_get_type(theirs), "the same type of message");
  require(((ours.flags & FLAG_NO_REPLY_EXPECTED) != 0) == dbus_message_get_no_reply(theirs), "the same flags");
  require(((ours.flags & NO_AUTO_START) == 0) == dbus_message_get_auto_start(theirs), "the same flags");
  require(ours.serial == dbus_message_get_serial(theirs), "the same serial");
  require(ours.replySerial == dbus_message_get_reply_serial(theirs), "the same reply serial");
  const auto compareText = [&](Field field, const char* text) {
    const Header::Text found = ours.text(field);
    require((found.offset != 0) == (text != nullptr), "the same header fields");
    if (text) require(std::strcmp(reinterpret_cast<const char*>(data) + found.offset, text) == 0, "the same header");
  };
  compareText(Field::PATH, dbus_message_get_path(theirs));
  compareText(Field::INTERFACE, dbus_message_get_interface(theirs));
  compareText(Field::MEMBER, dbus_message_get_member(theirs));
  compareText(Field::ERROR_NAME, dbus_message_get_error_name(theirs));
  compareText(Field::DESTINATION, dbus_message_get_destination(theirs));
  compareText(Field::SENDER, dbus_message_get_sender(theirs));
  if (ours.text(Field::SIGNATURE).offset) compareText(Field::SIGNATURE, dbus_message_get_signature(theirs));
}

void compare(const std::uint8_t* data, std::size_t size) {
  if (size >= FIXED_HEADER_SIZE) {
    const DeclaredSize declared = declaredSize(data);
    if (!declared.rule && declared.size < size) size = declared.size;
  }
  Header header;
  const char* rule = check(data, size, header);
  DBusMessage* theirs = dbus_message_demarshal(reinterpret_cast<const char*>(data), static_cast<int>(size), nullptr);
  if (!theirs) {
    if (!rule) fail("libdbus refuses what we accept");
    return;
  }
  if (rule) {
    const bool isIntended = std::string_view(rule) == Rules::FILE_DESCRIPTORS && std::memchr(data, 'h', size);
    if (!isIntended) fail("libdbus accepts what we refuse, expecting", rule);
  } else {
    compareHeaders(data, header, theirs);
    const Header::Text signature = header.text(Field::SIGNATURE);
    const char* types = signature.offset ? reinterpret_cast<const char*>(data) + signature.offset : "";
    DBusMessageIter iterator;
    dbus_message_iter_init(theirs, &iterator);
    compare(ConstIterator(data + header.bodyOffset, data + size, types, header.swapped), iterator);
  }
  dbus_message_unref(theirs);
}

}  // namespace
}  // namespace Quarnix::Fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Quarnix::Fuzz::compare(data, size);
  return 0;
}
