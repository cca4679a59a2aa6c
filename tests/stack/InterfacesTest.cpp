// What served objects tell of their interfaces is what the marshallers write and read.
#include <regex>
#include <set>

#include <bus/NodeLinkWrapper.h>
#include <bus/RemoteActuatorNodeWrapper.h>
#include <bus/RemoteControllerNodeWrapper.h>
#include <bus/RemoteSensorNodeWrapper.h>
#include <bus/StackNodeWrapper.h>
#include <stack/Interfaces.h>
#include <tests/stack/Support.h>

namespace Quarnix::Hevra::Stack::Test {
namespace {

using namespace Bus::Type;
using Described = std::multiset<std::string>;  // "add (o)(s)a(...) -> "

/// The members of an interface in what its object tells; empty when it is not told of.
Described membersOf(const std::string& text, const std::string& interface) {
  static const std::regex TAG(
      "<(interface|method|signal) name=\"([^\"]*)\"|<arg [^>]*type=\"([^\"]*)\"( direction=\"out\")?");
  std::vector<std::string> members;
  bool wanted = false;
  for (std::sregex_iterator tag(text.begin(), text.end(), TAG), end; tag != end; ++tag) {
    const std::smatch& match = *tag;
    if (match[1] == "interface") wanted = match[2] == interface;
    if (!wanted || match[1] == "interface") continue;
    if (match[2].matched) members.push_back(match[2].str() + " ");
    if (match[3].matched) members.back() += (match[4].matched ? "-> " : "") + match[3].str();
  }
  return {members.begin(), members.end()};
}

using Interfaces = StackTest;

TEST_F(Interfaces, DescribeWhatTheMarshallersWriteAndRead) {
  const std::string command = "(" + Wrapper<Command>().signature() + ")";
  const Described commands = {"add (o)(s)a" + command, "cancel ", "cancel s", "cancel u", "exception s"};
  const std::string link = StructWrapper<NodeLink>().signature();
  Described nodes = {
      "getnodes ",     "getnodes y",        "getnodes yq", "modifyLink " + link + "i-> b", "removeChildrenNodes u",
      "changekey uay", "getNodeLink uu-> s"};
  for (const std::string& node :
       {StructWrapper<RemoteActuatorNode>().signature(), StructWrapper<RemoteControllerNode>().signature(),
        StructWrapper<RemoteSensorNode>().signature(), StructWrapper<StackNode>().signature()})
    nodes.insert({"modify " + node + "i-> b", "modified " + node + "y", "linkModified " + node + link + "y"});

  const auto connection = hevra.getConnection();
  const auto told = [&](const std::string& path, const std::string& interface, const std::string& host) {
    Bus::Object::Proxy proxy;
    proxy.setConnection(connection);
    proxy.setHost(host.c_str());
    proxy.setPath(path);
    return membersOf(proxy.introspect(), interface);
  };
  const std::string managers = "/com/quarnix/Application/HevraZuv/Manager/";
  for (const Variant variant : {Variant::HEVRA, Variant::ZUV}) {
    EXPECT_EQ(told(managers + "Command", commandInterfaceOf(variant), busNameOf(variant)), commands);
    EXPECT_EQ(told(nodePathOf(variant), nodeInterfaceOf(variant), busNameOf(variant)), nodes);
  }
  EXPECT_EQ(told(managers + "DaughterBoard", boardInterface(), busNameOf(Variant::HEVRA)),
            Described({"hardreset -> b"}));
  const std::string progress = "com.quarnix.Application.HevraZuv.Originator.Command";
  const Described reports = {"progress " + command + "(s)i"};
  for (const char* path :
       {"/com/quarnix/Application/app/Hevra/Originator", "/com/quarnix/Application/app/Zuv/Originator"})
    EXPECT_EQ(told(path, progress, connection->getUniqueName()), reports);
  EXPECT_EQ(membersOf(describeInterface(progress), progress), reports);
}

}  // namespace
}  // namespace Quarnix::Hevra::Stack::Test
