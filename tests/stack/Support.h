// What the tests of the simulated stack share: a stack, and a client that is made of the platform and the marshallers
// alone.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <bus/CommandContainerWrapper.h>
#include <bus/CommandWrapper.h>
#include <platform/bus/object/Proxy.h>
#include <platform/core/Mutex.h>
#include <proxy/command/CommandContainerList.h>
#include <stack/FakeStack.h>
#include <tests/bus/NodeTexts.h>
#include <tests/harness/BusObjects.h>

namespace Quarnix::Hevra::Stack::Test {

using Bus::Message::STRUCTURE;
using Bus::Message::Method::Call;
using Bus::Message::Method::Return;

/// Commands with the identifiers from 1 to `count` and nothing else.
inline std::vector<Command> commands(std::uint32_t count) {
  std::vector<Command> made(count);
  for (std::uint32_t id = 1; id <= count; ++id) made[id - 1].setId(id);
  return made;
}

/// Notes each report as "status/summary@milliseconds" under the command's key, then runs `onProgress` and answers.
class Originator : public Harness::TestServer {
 public:
  Originator(Shared::Pointer<Bus::Connection> connection, const char* path)
      : TestServer(
            std::move(connection), [this](TestServer&, const Call& call) { return note(call); }, path) {
    start(true);
  }
  ~Originator() override { retire(); }

  std::function<void()> onProgress;

  std::map<std::string, std::string> get() const {
    MutexLock lock(mutex_);
    return reports_;
  }
  std::string get(const std::string& key) const {
    auto reports = get();
    return reports[key];
  }

 private:
  bool note(const Call& call) {
    if (call.getSignature() != std::string("(utbuviiyisusuyy)(s)i")) {
      MutexLock lock(mutex_);
      reports_[call.getSignature()] += "?";
      return false;
    }
    Bus::Message::ConstIterator argument = call.begin(), field = argument.begin();
    Command command;
    Bus::Type::Wrapper<Command>().deserialize(field, command);
    const std::string group((++argument).begin().getText());
    std::int32_t summary = 0;
    (++argument).get(summary);
    {
      MutexLock lock(mutex_);
      std::string& reports = reports_[group + "_" + std::to_string(command.getId())];
      reports += (reports.empty() ? "" : " ") + std::to_string(static_cast<int>(command.getStatus())) + "/" +
                 std::to_string(summary) + "@" +
                 std::to_string((Time::Clock::get().now() - began_).getNanoseconds() / 1'000'000);
    }
    if (onProgress) onProgress();
    Return reply(call);
    send(reply);
    return true;
  }

  const Time::Monotonic began_ = Time::Clock::get().now();
  mutable Mutex mutex_;
  std::map<std::string, std::string> reports_ HEVRA_GUARDED_BY(mutex_);
};

/// Calls the stack from a connection of its own; arguments are texts as NodeTexts.h reads them.
class Client {
 public:
  Return call(const std::string& path, const std::string& interface, const std::string& member,
              const std::string& arguments = {}) const {
    Call call = Quarnix::Test::filled(Call(), arguments);
    return send(call, path, interface, member);
  }
  Return command(Variant variant, const std::string& member, const std::string& arguments = {}) const {
    return call(COMMANDS_PATH, commandInterfaceOf(variant), member, arguments);
  }
  Return add(const Originator& originator, const std::string& group, const std::vector<Command>& commands,
             Variant variant = Variant::HEVRA) const {
    Call call;
    {
      Bus::Message::Iterator arguments = call.begin();
      Bus::Message::Iterator server = arguments.begin(STRUCTURE);
      server.appendPath(originator.getPath());
      arguments.end(server);
      Bus::Message::Iterator id = arguments.begin(STRUCTURE);
      id.append(group);
      arguments.end(id);
      Bus::Type::Wrapper<const HomeAutomation::Container<Command>>().serialize(
          arguments, Hevra::Proxy::CommandContainerList(commands.begin(), commands.end()));
    }
    return send(call, COMMANDS_PATH, commandInterfaceOf(variant), "add");
  }
  Return reset(const std::string& arguments = {}) const {
    return call("/com/quarnix/Application/HevraZuv/Manager/DaughterBoard",
                "com.quarnix.Application.Hevra.Manager.DaughterBoard", "hardreset", arguments);
  }

  Shared::Pointer<Bus::Connection> connection = Bus::Connection::open("in-process");

 private:
  static constexpr const char* COMMANDS_PATH = "/com/quarnix/Application/HevraZuv/Manager/Command";

  Return send(Call& call, const std::string& path, const std::string& interface, const std::string& member) const {
    const bool isZuv = interface.find("Zuv") != interface.npos;
    call.setDestination(std::string("com.quarnix.Application.") + (isZuv ? "Zuv" : "Hevra"));
    call.setPath(path);
    call.setInterface(interface.c_str());
    call.setMember(member.c_str());
    return *connection->call(call);
  }
};

/// Notes the signals of an object of the plain variant's service, nodes by their addresses:
/// "Hevra.Manager.Node linkModified 7 7 hall 0; ".
class Listener : public Bus::Object::Proxy {
 public:
  Listener(const Client& client, const std::string& path) {
    setConnection(client.connection);
    setHost("com.quarnix.Application.Hevra");
    setPath(path);
    start(true);
  }
  ~Listener() override { retire(); }
  std::string take() { return std::exchange(signals_, {}); }

 protected:
  void signal(const Bus::Message::Signal& signal) override {
    signals_ += std::string(signal.getInterface() + 24) + " " + signal.getMember();
    for (Bus::Message::ConstIterator argument = signal.begin(); argument.type(); ++argument) {
      if (argument.type() == 's') {
        signals_ += " " + std::string(argument.getText());
      } else if (argument.type() == STRUCTURE) {
        Bus::Message::ConstIterator field = argument.begin();
        std::uint32_t address = 0;
        field.read(address);
        signals_ += " " + std::to_string(address);
        if (field.type() == 'u') signals_ += " " + std::string((++field).getText());  // a link
      } else {
        std::uint8_t action = 0;
        argument.get(action);
        signals_ += " " + std::to_string(action);
      }
    }
    signals_ += "; ";
  }

 private:
  std::string signals_;
};

/// A stack, a client and its originator. The reports of a command without a delay at a pace of 200 ms are
/// "1/1@0 2/1@200 3/2@400".
class StackTest : public testing::Test {
 protected:
  void advance(std::int64_t milliseconds) { stack.advance(std::chrono::milliseconds(milliseconds)); }

  FakeStack stack;
  Client client;
  Originator originator{client.connection, "/client/Originator"};
};

}  // namespace Quarnix::Hevra::Stack::Test
