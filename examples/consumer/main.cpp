// An application with its own build, which uses the installed library. Checks that types are recognised across the
// border of the shared library: every exception is caught by its own type, and every typed value has its type after it
// came back from a service, here the simulated stack in this process. Prints the types that are not recognised and
// exits with 1.
#include <cstdio>
#include <future>
#include <typeinfo>
#include <bus/HvTypeVariantHandler.h>
#include <platform/bus/Connection.h>
#include <platform/core/log/Logger.h>
#include <platform/hevra/EmptyKeySet.h>
#include <platform/hevra/HvTypes.h>
#include <platform/hevra/RemoteSensorNode.h>
#include <proxy/BadSignatureOnBus.h>
#include <proxy/command/CommandContainerList.h>
#include <proxy/command/Manager.h>
#include <proxy/node/Manager.h>
#include <stack/Service.h>
using namespace Quarnix;
using namespace Quarnix::Hevra;
using namespace Quarnix::Bus::Message;

namespace {

int exceptions = 0;
int unrecognised = 0;

void report(const char* what, bool isRecognised, const char* found) {
  if (isRecognised) return;
  std::printf("not recognised: %s, found %s\n", what, found);
  ++unrecognised;
}

template <class Exception, class Base = Quarnix::Exception>
void expectException(const char* name, void (*provoke)()) {
  ++exceptions;
  bool isBase = true;
  try {
    try {
      provoke();
      report(name, false, "nothing thrown");
    } catch (const Base&) {
      throw;
    } catch (const std::exception&) {
      isBase = false;
      throw;
    }
  } catch (const Exception& error) {
    report(name, isBase && typeid(error) == typeid(Exception), "another base or a class derived from it");
  } catch (const std::exception& error) {
    report(name, false, typeid(error).name());
  }
}

struct OwnType : HvType {
  std::string toString() const override { return "a type that does not travel"; }
};

/// Makes a reply that has no node record, but a structure with a text.
Method::Return makeReply() {
  Method::Return reply{Method::Call()};
  Iterator arguments = reply.begin();
  Iterator structure = arguments.begin(STRUCTURE);
  structure.append("text");
  arguments.end(structure);
  return reply;
}

const Method::Return REPLY = makeReply();

void expectExceptions() {
  using Handler = Bus::Type::HvTypeVariantHandler;
  namespace Node = Hevra::Proxy::Node;
  expectException<Shared::Exception::Nil>("Shared::Exception::Nil", [] { Shared::Pointer<Group>()->getId(); });
  expectException<Bus::InvalidArgument, Bus::Error>("Bus::InvalidArgument", [] { Bus::Connection::open("nowhere"); });
  expectException<Bus::TypeMismatch, Bus::Error>("Bus::TypeMismatch", [] {
    bool value;
    REPLY.begin().get(value);
  });
  expectException<Bus::NotAContainer, Bus::Error>("Bus::NotAContainer", [] { REPLY.begin().begin().begin(); });
  expectException<Bus::EndOfContainer, Bus::Error>("Bus::EndOfContainer", [] { ++REPLY.end(); });
  expectException<Bus::UnusableMessage, Bus::Error>("Bus::UnusableMessage", [] {
    Signal signal("/", "com.example.Consumer", "Open");
    Iterator arguments = signal.begin();
    const Iterator open = arguments.begin(STRUCTURE);
    Bus::Connection::getDefault()->send(signal);
  });
  expectException<Bus::StartFailed, Bus::Error>("Bus::StartFailed", [] {
    Node::Manager nodes(false);
    nodes.setConnection(Bus::Connection::open("unix:path=/nonexistent"));
    nodes.start(true);
  });
  expectException<Method::Return, Base>("Bus::Message::Method::Return", [] { Node::Manager(false).getNodes(); });
  expectException<Hevra::Proxy::BadSignatureOnBus>("Proxy::BadSignatureOnBus",
                                                   [] { Node::Manager::parseBusReply(REPLY); });
  expectException<Node::Manager::UnknownNodeClass, ApplicationException>("Node::Manager::UnknownNodeClass", [] {
    RemoteSensorNode node;
    node.setNodeClass(NodeClass::BEACON);
    Node::Manager(false).modify(node, NodeAction{});
  });
  expectException<EmptyKeySet, ApplicationException>("EmptyKeySet", [] {
    const unsigned char key[16] = {};
    Node::Manager(false).changeStackNodeKey(0x1000, key);
  });
  expectException<Hevra::Proxy::CommandContainerList::BadUse>("CommandContainerList::BadUse",
                                                              [] { Hevra::Proxy::CommandContainerList().get(); });
  expectException<Handler::UnknownTypeForSignature>("HvTypeVariantHandler::UnknownTypeForSignature",
                                                    [] { Handler(Shared::make<OwnType>()).signature(); });
  expectException<Handler::UnknownTypeForSerialization>("HvTypeVariantHandler::UnknownTypeForSerialization", [] {
    Method::Call call;
    Iterator arguments = call.begin();
    Handler(Shared::make<OwnType>()).serialize(arguments);
  });
}

struct Kind {
  const char* name;
  Shared::Pointer<HvType> sent;
  bool (*isRecognised)(const HvType* value);
};

template <class Sent, class Received = Sent, class... Value>
Kind kind(const char* name, Value... value) {
  return {name, Shared::make<Sent>(value...), [](const HvType* received) {
            return dynamic_cast<const Received*>(received) && typeid(*received) == typeid(Received);
          }};
}

const Kind KINDS[] = {
    kind<HvByte>("HvByte", std::uint8_t{7}),
    kind<HvUInt16>("HvUInt16", std::uint16_t{7}),
    kind<HvInt16>("HvInt16", std::int16_t{-7}),
    kind<HvUInt32>("HvUInt32", 7U),
    kind<HvInt32>("HvInt32", -7),
    kind<HvUInt64>("HvUInt64", std::uint64_t{7}),
    kind<HvInt64>("HvInt64", std::int64_t{-7}),
    kind<HvDouble>("HvDouble", 0.7),
    kind<HvBool>("HvBool", true),
    kind<HvString>("HvString", std::string("seven")),
    kind<HvBlob>("HvBlob", std::vector<std::uint8_t>{7}),
    kind<HvNull, HvBlob>("HvNull"),  // travels as an empty blob
};

/// Checks the value of every command at its last report. The identifier of a command is the index of its value in
/// KINDS.
struct Watcher : Interface::Command::Originator {
  std::promise<void> done;
  std::size_t ended = 0;
  void progress(const Command& command, const Group&, const HomeAutomation::Command::Status&) override {
    if (!Command::isFinalStatus(command.getStatus())) return;
    const Kind& kind = KINDS[command.getId()];
    const HvType* value = command.getValue().get();
    report(kind.name, kind.isRecognised(value), value ? typeid(*value).name() : "no value");
    if (++ended == std::size(KINDS)) done.set_value();
  }
};

void expectValues() {
  Stack::Options options;
  options.pace = Time::Elapsed();
  Stack::Service stack(options, Bus::Connection::open("in-process"));
  stack.start();
  Hevra::Proxy::Command::Manager manager(false, "consumer");
  manager.start(true);
  Hevra::Proxy::CommandContainerList commands;
  for (const Kind& kind : KINDS) {
    Command command;
    command.setId(static_cast<std::uint32_t>(commands.size()));
    command.setValue(kind.sent);
    commands.append(command);
  }
  auto watcher = Shared::make<Watcher>();
  manager.add(watcher, Group("values"), commands);
  watcher->done.get_future().wait();
  manager.stop();
}

}  // namespace

int main() {
  Bus::Connection::setDefault(Bus::Connection::open("in-process"));
  expectExceptions();
  expectValues();
  std::printf("%d exceptions, %zu typed values, %d not recognised\n", exceptions, std::size(KINDS), unrecognised);
  return unrecognised != 0;
}
