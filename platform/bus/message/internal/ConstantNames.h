// Names of calls that the library itself makes.
#pragma once

#include <string_view>

#include <platform/bus/message/method/Call.h>

namespace Quarnix::Bus::Message {

/// Names that are constants of the library, and good. A call with them skips the check that every other name gets.
struct ConstantNames {
  std::string_view interface;
  std::string_view member;
};

namespace Method {

inline Call::Call(const ConstantNames& names) : Call() {
  setText(Field::INTERFACE, names.interface);
  setText(Field::MEMBER, names.member);
}

}  // namespace Method

}  // namespace Quarnix::Bus::Message
