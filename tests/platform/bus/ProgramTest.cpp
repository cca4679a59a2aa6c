// A program between the connection and the bus: how it is started, and what becomes of an error of it.
#include <csignal>

#include <tests/harness/ScriptedBus.h>
#include <tests/platform/bus/BothBuses.h>

namespace Quarnix::Test {
namespace {

struct AProgram : testing::Test {
  static std::string addressOf(const std::string& script) { return "unixexec:path=sh,argv1=-c,argv2=" + script; }
  /// The error that ends a call.
  static std::string errorOf(const std::string& address) {
    Call call = callTo("Echo", "");
    call.setPath(PATH);
    call.setDestination(NAME);
    call.setTimeout(Time::Elapsed(1, 0));
    const auto reply = Connection::open(address)->call(call);
    return reply->getErrorName() + std::string(" ") + reply->getErrorText();
  }

  Time::SimulatedClock clock;  // stands still, however long a program takes
};

TEST_F(AProgram, IsHeardWhenItReachesNoBus) {
  const std::string cannot = "org.freedesktop.DBus.Error.NoServer Cannot connect to the message bus at unixexec:path=";
  const std::string words = "; the program in between said: ";
  const std::pair<std::string, std::string> rows[] = {
      {addressOf("exit"), "sh: The program in between has ended and reached no bus"},
      {addressOf("echo no bus >&2"), "no bus"},
      {addressOf("read -r line%3b printf 'no\\033[31m bus\\r\\nhere \\303\\274 \\377\\n' >&2"),
       words + "no?[31m bus; here ü ?"},
      {addressOf("yes | head -c 100000 >&2"), "; y; y"},
      {"unixexec:path=/nonexistent/bridge", "/nonexistent/bridge: The program "},
  };
  for (const auto& [address, expected] : rows) {
    const std::string error = errorOf(address);
    EXPECT_TRUE(error.starts_with(cannot)) << error;
    EXPECT_NE(error.find(expected), std::string::npos) << error;
    EXPECT_LT(error.size(), 4000U);
  }
}

TEST_F(AProgram, BlocksAndIgnoresNoSignal) {
  sigset_t blocked;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  sigset_t former;
  pthread_sigmask(SIG_BLOCK, &blocked, &former);
  std::signal(SIGUSR1, SIG_IGN);
  const std::string error = errorOf(addressOf("grep -E 'SigBlk|SigIgn' /proc/self/status >&2"));
  EXPECT_NE(error.find("SigBlk:?0000000000000000; "), std::string::npos) << error;
  // The C library has two signals above 31 for itself.
  EXPECT_EQ(std::stoull(error.substr(error.find("SigIgn:?") + 8), nullptr, 16) & 0x7FFFFFFF, 0U) << error;
  pthread_sigmask(SIG_SETMASK, &former, nullptr);
}

TEST_F(AProgram, ThatIsSilentCostsNoMoreThanTheDeadline) {
  auto error = later([] { return errorOf(addressOf("cat >/dev/null")); });
  clock.awaitWaiters(1);
  clock.advance(Time::Elapsed(1, 0));
  EXPECT_TRUE(error.get().starts_with("org.freedesktop.DBus.Error.NoReply"));
}

}  // namespace
}  // namespace Quarnix::Test
