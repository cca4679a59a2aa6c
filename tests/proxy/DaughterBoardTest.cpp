// The daughter board's proxy: its endpoint, its answers and its errors.
#include <platform/bus/Error.h>
#include <proxy/daughterboard/Manager.h>
#include <tests/proxy/Support.h>

namespace Quarnix::Hevra::Proxy {
namespace {

using namespace Test;

class DaughterBoard : public testing::Test {
 protected:
  DaughterBoard() { manager.setConnection(Bus::Connection::open("in-process")); }
  StackObject stack{"com.quarnix.Application.Hevra", "/com/quarnix/Application/HevraZuv/Manager/DaughterBoard"};
  Proxy::DaughterBoard::Manager manager;
};

TEST_F(DaughterBoard, AsksForAHardReset) {
  for (const bool answer : {true, false}) {
    stack.answer = [answer](const Call& call) {
      Return reply(call);
      reply.begin().append(answer);
      return reply;
    };
    EXPECT_EQ(manager.hardReset(), answer);
  }
  const Call call = stack.calls().at(0);
  EXPECT_STREQ(call.getInterface(), "com.quarnix.Application.Hevra.Manager.DaughterBoard");
  EXPECT_STREQ(call.getMember(), "hardreset");
  EXPECT_STREQ(call.getSignature(), "");
}

TEST_F(DaughterBoard, ThrowsAnErrorReply) {
  stack.answer = [](const Call& call) { return Return(call, "test.Error", "no"); };
  try {
    manager.hardReset();
    FAIL();
  } catch (const Return& error) {
    EXPECT_STREQ(error.getErrorName(), "test.Error");
  }
  stack.answer = [](const Call& call) { return Return(call); };
  EXPECT_THROW(manager.hardReset(), Bus::EndOfContainer) << "a reply without a boolean";
}

}  // namespace
}  // namespace Quarnix::Hevra::Proxy
