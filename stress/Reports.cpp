// Makes progress calls.
#include <stress/Reports.h>

#include <bus/CommandWrapper.h>
#include <platform/bus/message/Iterator.h>
#include <stack/Variant.h>

namespace Quarnix::Stress {

Bus::Message::Method::Call makeProgressCall(const std::string& client, const std::string& application) {
  Bus::Message::Method::Call call;
  call.setDestination(client);
  call.setPath(originatorPathOf(Hevra::Stack::Variant::HEVRA, application));
  call.setInterface(Hevra::Stack::ORIGINATOR_INTERFACE);
  call.setMember("progress");
  call.setNoReplyExpected();
  return call;
}

Bus::Message::Method::Call makeReport(const std::string& client, const std::string& application,
                                      const Hevra::Command& command, const Hevra::Group& group) {
  Bus::Message::Method::Call call = makeProgressCall(client, application);
  Bus::Message::Iterator arguments = call.begin();
  Bus::Message::Iterator record = arguments.begin(Bus::Message::STRUCTURE);
  Bus::Type::Wrapper<Hevra::Command>().serialize(record, command);
  arguments.end(record);
  Bus::Message::Iterator identifier = arguments.begin(Bus::Message::STRUCTURE);
  identifier.append(group.getId());
  arguments.end(identifier);
  arguments.append(std::int32_t{2});
  return call;
}

}  // namespace Quarnix::Stress
