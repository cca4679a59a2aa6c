// Calls that the library itself makes.
#pragma once

#include <string_view>

#include <platform/bus/message/method/Call.h>

namespace Quarnix::Bus::Message {

struct UncheckedCall {
  /// A call whose names are constants of the library, and good. It skips the check that every other name gets.
  static Method::Call make(std::string_view interface, std::string_view member) {
    Method::Call call;
    call.setText(Field::INTERFACE, interface);
    call.setText(Field::MEMBER, member);
    return call;
  }
};

}  // namespace Quarnix::Bus::Message
