// The daughter board's proxy: its endpoint, its answers and its errors.
#include <platform/bus/Error.h>
#include <proxy/daughterboard/Manager.h>
#include <tests/proxy/Support.h>

namespace Quarnix::Hevra::Proxy {
namespace {

using namespace Test;

TEST(DaughterBoard, AsksForAHardReset) {
  StackObject stack("com.quarnix.Application.Hevra", "/com/quarnix/Application/HevraZuv/Manager/DaughterBoard");
  Proxy::DaughterBoard::Manager manager;
  manager.setConnection(Bus::Connection::open("in-process"));
  EXPECT_THROW(manager.hardReset(), Bus::EndOfContainer) << "a reply without a boolean";
  for (const bool answer : {true, false}) {
    stack.answer = [answer](const Call& call) {
      Return reply(call);
      reply.begin().append(answer);
      return reply;
    };
    EXPECT_EQ(manager.hardReset(), answer);
  }
  stack.answer = [](const Call& call) { return Return(call, "test.Error", "no"); };
  EXPECT_THROW(manager.hardReset(), Return);
  const Call call = stack.calls().at(0);
  EXPECT_STREQ(call.getInterface(), "com.quarnix.Application.Hevra.Manager.DaughterBoard");
  EXPECT_STREQ(call.getMember(), "hardreset");
  EXPECT_STREQ(call.getSignature(), "");
}

}  // namespace
}  // namespace Quarnix::Hevra::Proxy
