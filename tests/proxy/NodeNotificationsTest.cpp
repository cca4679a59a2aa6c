// The notifications of the node manager: which signals count, whose, and what is told of them.
#include <tests/proxy/NodeSupport.h>

namespace Quarnix::Hevra::Proxy {
namespace {

using namespace Test;
using Bus::Message::Signal;
using Quarnix::Test::actuatorText;
using Quarnix::Test::controllerText;
using Quarnix::Test::filled;
using Quarnix::Test::sensorText;
using Quarnix::Test::stackText;

class NodeNotifications : public NodeManager {
 protected:
  NodeNotifications() { manager.start(true); }
  void announce(StackObject& from, const char* member, const std::string& arguments,
                const char* interface = NODE_INTERFACE) {
    Signal signal = filled(Signal(NODE_PATH, interface, member), arguments);
    from.send(signal);
    clock.settle();
  }
};

TEST_F(NodeNotifications, TellWhatWasSignalled) {
  const std::string link = " (u1 u2 s'link' i0)";
  const struct {
    const char* member;
    std::string arguments;
    Lines told, logged;
  } rows[] = {
      {"modified", actuatorText() + " y2", {"modified actuator 1 by 2"}, {}},
      {"modified", sensorText() + " y255", {"modified sensor 1 by 255"}, {}},
      {"modified", stackText() + " y0", {"modified stack 1 by 0"}, {}},
      {"modified", controllerText() + " y1", {"modified controller 1 by 1"}, {}},
      {"modified", controllerText(), {}, {"NodeManager modified bad signature: (uyqyayayaytyuu)"}},
      {"modified", controllerText() + " i1", {}, {"NodeManager modified bad signature: (uyqyayayaytyuu)i"}},
      {"modified", controllerText() + " y1 y1", {}, {"NodeManager modified bad signature: (uyqyayayaytyuu)yy"}},
      {"modified", "", {}, {"NodeManager modified bad signature: "}},
      {"linkModified", actuatorText() + link + " y2", {"linked actuator 1 link by 2"}, {}},
      {"linkModified", sensorText() + link + " y0", {"linked sensor 1 link by 0"}, {}},
      {"linkModified", stackText() + link + " y1", {"linked stack 1 link by 1"}, {}},
      {"linkModified", controllerText() + link + " y3", {"linked controller 1 link by 3"}, {}},
      {"linkModified", controllerText() + " y1", {}, {"NodeManager link modified bad signature: (uyqyayayaytyuu)y"}},
      {"other", sensorText() + " y1", {}, {"NodeManager signal unknown member: other"}},
  };
  for (const auto& row : rows) {
    announce(stack, row.member, row.arguments);
    EXPECT_EQ(manager.notifications.take(), row.told) << row.member << " " << row.arguments;
    EXPECT_EQ(lines.take(), row.logged) << row.member << " " << row.arguments;
  }
  for (const char* member : {"modified", "linkModified", "other"})
    announce(stack, member, "", "com.quarnix.Application.Zuv.Manager.Node");
  EXPECT_EQ(lines.take(), Lines()) << "another interface";
}

TEST_F(NodeNotifications, OfTheOtherVariantGoOnWhenItsServiceIsStartedAnew) {
  Watcher zuv(true);
  zuv.setConnection(Bus::Connection::open("in-process"));
  zuv.start(true);
  for (const int action : {0, 1}) {
    StackObject service("com.quarnix.Application.Zuv", "/com/quarnix/Application/Zuv/Manager/Node");
    Signal signal("/com/quarnix/Application/Zuv/Manager/Node", "com.quarnix.Application.Zuv.Manager.Node", "modified");
    signal = filled(std::move(signal), sensorText() + " y" + std::to_string(action));
    service.send(signal);
    clock.settle();
    EXPECT_TRUE(zuv.getNodes().empty());
    EXPECT_STREQ(service.calls.all().at(0).getInterface(), "com.quarnix.Application.Zuv.Manager.Node");
    EXPECT_EQ(zuv.notifications.take(), Lines{"modified sensor 1 by " + std::to_string(action)});
  }
}

TEST_F(NodeNotifications, MayCallTheManager) {
  answerWith("b1");
  manager.then = [this] { manager.notifications.add(manager.modify(NodeLink(), NodeAction::ADDED) ? "done" : "not"); };
  announce(stack, "modified", sensorText() + " y1");
  EXPECT_EQ(manager.notifications.take(), (Lines{"modified sensor 1 by 1", "done"}));
}

}  // namespace
}  // namespace Quarnix::Hevra::Proxy
