// The bus itself as an object: its name, and the calls that a connection makes to it.
#pragma once

#include <platform/bus/message/method/Call.h>

namespace Quarnix::Bus::Internal {

constexpr const char* DRIVER_NAME = "org.freedesktop.DBus";
constexpr const char* DRIVER_PATH = "/org/freedesktop/DBus";
constexpr const char* DRIVER_INTERFACE = "org.freedesktop.DBus";

/// A call to `member` of the bus, to which arguments may be appended.
inline Message::Method::Call driverCall(const char* member) {
  Message::Method::Call call;
  call.setPath(DRIVER_PATH);
  call.setDestination(DRIVER_NAME);
  call.setInterface(DRIVER_INTERFACE);
  call.setMember(member);
  return call;
}

template <class... A>
Message::Method::Call driverCall(const char* member, const A&... arguments) {
  Message::Method::Call call = driverCall(member);
  call.begin().append(arguments...);
  return call;
}

}  // namespace Quarnix::Bus::Internal
