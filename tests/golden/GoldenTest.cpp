// Messages that another implementation made are read as what their maker says is in them, and are the same bytes when
// what was read is written again. A round trip through our own code alone could not see two mistakes that cancel.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <fstream>
#include <map>

#include <bus/CommandContainerWrapper.h>
#include <bus/CommandVectorWrapper.h>
#include <bus/CommandWrapper.h>
#include <bus/HvTypeVariantHandler.h>
#include <bus/NodeLinkWrapper.h>
#include <bus/SequenceContainerWrapper.h>
#include <json/CommandForm.h>
#include <json/Hexadecimal.h>
#include <json/NodeForm.h>
#include <json/ValueForm.h>
#include <platform/bus/message/Signal.h>
#include <platform/bus/message/internal/Check.h>
#include <platform/bus/message/method/Call.h>
#include <platform/bus/message/method/Return.h>
#include <proxy/command/CommandContainerList.h>

namespace Quarnix::Bus::Message {
namespace {

using namespace Hevra;
using Method::Call;
using Method::Return;
using nlohmann::json;

using Bytes =
    Bus::Type::SequenceContainerWrapper<unsigned char, Bus::Type::Wrapper, std::vector, std::allocator<unsigned char>>;

const std::string RECORD = "utbuviiyisusuyy";

/// The whole text of an error is read as its details; with those alone the command is written as it came.
json toBeWrittenAgain(Command& command) {
  json form = Json::writeCommand(command);
  const std::string text = command.getDetailedError().getErrorFieldsToString();
  const std::size_t colon = text.find(": ");
  command.getDetailedError().setErrorFieldsToString(colon == text.npos ? "" : text.substr(colon + 2));
  EXPECT_EQ(command.getDelayCompanion(), 0u);
  return form;
}

/// Reads a value of a class with its marshaller and writes it with that again.
template <class W, class T>
T moved(ConstIterator& from, Iterator& to) {
  T value{};
  W().deserialize(from, value);
  ++from;
  W().serialize(to, value);
  return value;
}

template <class T>
json movedBasic(ConstIterator& from, Iterator& to) {
  T value{};
  from.read(value);
  to.append(value);
  return value;
}

json movedCommands(ConstIterator& from, Iterator& to) {
  std::vector<Command> commands;
  Bus::Type::Wrapper<std::vector<Command>>().deserialize(from, commands);
  ++from;
  json forms = json::array();
  for (Command& command : commands) forms.push_back(toBeWrittenAgain(command));
  Bus::Type::Wrapper<const HomeAutomation::Container<Command>>().serialize(
      to, Proxy::CommandContainerList(commands.begin(), commands.end()));
  return forms;
}

json movedCommand(ConstIterator& from, Iterator& to) {
  Command command;
  Bus::Type::Wrapper<Command>().deserialize(from, command);
  ++from;
  const json form = toBeWrittenAgain(command);
  Bus::Type::Wrapper<Command>().serialize(to, command);
  return form;
}

/// Moves the value that stands there, and says in JSON what it was.
json movedAny(ConstIterator& from, Iterator& to) {
  const std::string signature = from.signature();
  const auto inside = [&](const auto& use) {
    ConstIterator in = from.begin();
    Iterator out = signature[0] == '(' ? to.begin(STRUCTURE) : to.begin(ARRAY, signature.c_str() + 1);
    json form = use(in, out);
    to.end(out);
    ++from;
    return form;
  };
  for (std::size_t kind = 0; kind < Stack::KINDS; ++kind) {
    if (signature != Stack::signatureOf(kind)) continue;
    const Stack::AnyNode node = Stack::read(from, kind);
    ++from;
    Stack::append(to, node);
    return Json::writeNode(Stack::headOf(node));
  }
  if (signature == "(uusi)") return Json::writeLink(moved<Bus::Type::StructWrapper<NodeLink>, NodeLink>(from, to));
  if (signature == "a(" + RECORD + ")") return movedCommands(from, to);
  if (signature == "(" + RECORD + ")") return inside(movedCommand);
  if (signature == "ay") return Json::digitsOf(moved<Bytes, std::vector<unsigned char>>(from, to));
  if (signature == "v") {
    auto handler = moved<Bus::Type::Wrapper<Bus::Type::VariantHandler>, Bus::Type::HvTypeVariantHandler>(from, to);
    return Json::writeValue(handler.value());
  }
  if (signature[0] == 'a' || signature[0] == '(') {
    return inside([](ConstIterator& in, Iterator& out) {
      json forms = json::array();
      while (in.type()) forms.push_back(movedAny(in, out));
      return forms;
    });
  }
  if (signature == "o") {
    const std::string_view path = from.getText();
    to.appendPath(path);
    ++from;
    return path;
  }
  return signature == "y"   ? movedBasic<std::uint8_t>(from, to)
         : signature == "q" ? movedBasic<std::uint16_t>(from, to)
         : signature == "u" ? movedBasic<std::uint32_t>(from, to)
         : signature == "i" ? movedBasic<std::int32_t>(from, to)
         : signature == "b" ? movedBasic<bool>(from, to)
                            : movedBasic<std::string_view>(from, to);
}

class Golden : public testing::Test {
 protected:
  Signal madeAgain(const Signal& theirs) { return {theirs.getPath(), theirs.getInterface(), theirs.getMember()}; }
  Call madeAgain(const Call& theirs) {
    calls_.insert_or_assign(theirs.getSerial(), theirs);
    Call call;
    call.setPath(theirs.getPath());
    call.setInterface(theirs.getInterface());
    call.setMember(theirs.getMember());
    call.setDestination(theirs.getDestination());
    return call;
  }
  Return madeAgain(const Return& theirs) {
    const Call& asked = calls_.at(theirs.getReplySerial());
    return theirs.isException() ? Return(asked, theirs.getErrorName(), theirs.getErrorText()) : Return(asked);
  }

  template <class M>
  void expectBothWays(const std::string& name, const Frame& frame, const Header& header, const json& expected) {
    const M theirs(Frame(frame), header);
    M ours = madeAgain(theirs), unused = ours;
    json arguments = json::array();
    std::string error;
    if constexpr (std::is_same_v<M, Return>) error = theirs.getErrorName();
    {
      ConstIterator read = theirs.begin();
      Iterator append = error.empty() ? ours.begin() : unused.begin();
      while (read.type())
        arguments.push_back(theirs.getSignature() == RECORD ? movedCommand(read, append) : movedAny(read, append));
      EXPECT_EQ(read, theirs.end());
    }
    EXPECT_EQ(json::parse(json{
                  {"path", theirs.getPath()},
                  {"interface", theirs.getInterface()},
                  {"member", theirs.getMember()},
                  {"destination", theirs.getDestination()},
                  {"signature", theirs.getSignature()},
                  {"error", error},
                  {"arguments",
                   arguments}}.dump()),
              expected);
    const bool comesBackOtherwise = name.find("odd") != name.npos || name.find("unknown") != name.npos;
    if (!comesBackOtherwise && !header.swapped)
      expectSame(frame, ours.seal(header.serial, {.path = {}, .destination = {}, .sender = theirs.getSender()}));
  }

  static Header checked(const Frame& frame) {
    Header header;
    const char* rule = check(frame.data(), frame.size(), header);
    EXPECT_EQ(rule, nullptr) << "expected " << rule;
    return header;
  }
  /// What a message says; the order of its header's fields is its maker's affair.
  static auto saidBy(const Frame& frame, const Header& header) {
    std::vector<std::string> texts;
    for (const Header::Text& text : header.texts)
      texts.emplace_back(reinterpret_cast<const char*>(frame.data() + text.offset), text.length);
    const std::uint8_t* body = frame.data() + header.bodyOffset;
    return std::tuple(header.type, header.flags, header.serial, header.replySerial, texts,
                      std::vector<int>(body, body + header.bodyLength));
  }
  static void expectSame(const Frame& theirs, const Frame& ours) {
    EXPECT_EQ(saidBy(ours, checked(ours)), saidBy(theirs, checked(theirs)));
  }

 private:
  std::map<std::uint32_t, Call> calls_;
};

TEST_F(Golden, IsReadAsWhatItHoldsAndWrittenAgain) {
  std::ifstream file(HEVRA_SOURCE_DIR "/tests/golden/data/messages.txt");
  std::string name, digits, form;
  int count = 0;
  for (char order = 0; file >> name >> order >> digits && std::getline(file, form);) {
    SCOPED_TRACE(name + " " + order);
    const auto bytes = Json::bytesOf(digits).value();
    const Frame frame{Storage(bytes.size()), 0, static_cast<std::uint32_t>(bytes.size())};
    std::copy(bytes.begin(), bytes.end(), frame.storage.data());
    const Header header = checked(frame);
    EXPECT_EQ(header.swapped, (order == 'l') != (std::endian::native == std::endian::little));
    const json expected = json::parse(form);
    switch (Message::Type{header.type}) {
      case Message::Type::METHOD_CALL:
        expectBothWays<Call>(name, frame, header, expected);
        break;
      case Message::Type::SIGNAL:
        expectBothWays<Signal>(name, frame, header, expected);
        break;
      default:
        expectBothWays<Return>(name, frame, header, expected);
    }
    ++count;
  }
  EXPECT_EQ(count, 150);
}

}  // namespace
}  // namespace Quarnix::Bus::Message
