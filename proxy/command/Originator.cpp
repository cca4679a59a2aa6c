// Checks, reads and answers reports.
#include <proxy/command/Originator.h>

#include <cstring>
#include <string_view>

#include <unistd.h>

#include <bus/CommandWrapper.h>
#include <bus/internal/RecordSignature.h>
#include <platform/core/log/Logger.h>

namespace Quarnix::Hevra::Proxy::Command {

namespace {

constexpr const char* INTERFACE = "com.quarnix.Application.HevraZuv.Originator.Command";
constexpr const char* MEMBER = "progress";

constexpr const char* DESCRIPTION =
    " <interface name=\"com.quarnix.Application.HevraZuv.Originator.Command\">\n"
    "  <method name=\"progress\">\n"
    "   <arg name=\"command\" type=\"(utbuviiyisusuyy)\" direction=\"in\"/>\n"
    "   <arg name=\"group\" type=\"(s)\" direction=\"in\"/>\n"
    "   <arg name=\"status\" type=\"i\" direction=\"in\"/>\n"
    "  </method>\n"
    " </interface>\n";

using Bus::Type::RecordSignature::COMMAND_STRUCTURE;
using Bus::Type::RecordSignature::PROGRESS;

static_assert(std::string_view(DESCRIPTION).find(COMMAND_STRUCTURE) != std::string_view::npos,
              "the description names the command's record");

}  // namespace

Originator::Originator(Interface::Command::Originator* client) : target(client) {
  setStackSize(static_cast<unsigned int>(::getpagesize()) * 8);
  setDescription(DESCRIPTION);
}

Originator::~Originator() { retire(); }

bool Originator::method(const Bus::Message::Method::Call& call) {
  if (std::strcmp(call.getInterface(), INTERFACE) != 0) {
    Log::Logger::get()->print(Log::Priority::WARNING,
                              "HV/ZUV proxy library> Command Originator unknown interface: %s, expected was %s",
                              call.getInterface(), INTERFACE);
    return false;
  }
  if (std::strcmp(call.getMember(), MEMBER) != 0) {
    Log::Logger::get()->print(Log::Priority::WARNING,
                              "HV/ZUV proxy library> Command Originator unknown member: %s, expected was %s",
                              call.getMember(), MEMBER);
    return false;
  }
  if (call.getSignature() != PROGRESS) {
    Log::Logger::get()->print(
        Log::Priority::WARNING,
        "HV/ZUV proxy library> Command Originator bad signature on member %s: %s, expected was %s", MEMBER,
        call.getSignature(), PROGRESS.codes);
    return false;
  }
  progressHandler(call);
  return true;
}

void Originator::progressHandler(const Bus::Message::Method::Call& call) {
  Hevra::Command command;
  Group group(false);
  Bus::Message::ConstIterator argument = call.begin();

  if (argument.type() != Bus::Message::STRUCTURE) throw;
  Bus::Message::ConstIterator field = argument.begin();
  Bus::Type::Wrapper<Hevra::Command>().deserialize(field, command);
  argument.leave(field);

  if (argument.type() != Bus::Message::STRUCTURE) throw;
  field = argument.begin();
  std::string id;
  field.get(id);
  group.setId(std::move(id));
  argument.leave(field);

  std::int32_t status = 0;
  argument.get(status);

  target->progress(command, group, static_cast<HomeAutomation::Command::Status>(status));

  if (!call.isReplyExpected()) return;
  Bus::Message::Method::Return reply(call);
  send(reply);
}

}  // namespace Quarnix::Hevra::Proxy::Command
