// Progress calls as a stack service makes them, for programs that report by themselves.
#pragma once

#include <string>

#include <platform/bus/message/method/Call.h>
#include <platform/hevra/Command.h>
#include <platform/hevra/Group.h>

namespace Quarnix::Stress {

/// A call "progress" without arguments, which expects no reply, to the originator of `application` on the connection
/// with the unique name `client`.
Bus::Message::Method::Call makeProgressCall(const std::string& client, const std::string& application);
/// The same with the command, its group and the status 2 (done).
Bus::Message::Method::Call makeReport(const std::string& client, const std::string& application,
                                      const Hevra::Command& command, const Hevra::Group& group);

}  // namespace Quarnix::Stress
