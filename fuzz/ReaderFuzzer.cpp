// Runs each marshaller's reader on checked bodies of its own signature and of others. Values that were read can be
// written, and reading them again gives the same values, except for commands, whose error text grows. No reader leaves
// the body.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include <bus/CommandVectorWrapper.h>
#include <bus/CommandWrapper.h>
#include <bus/FixedSequenceContainerWrapper.h>
#include <bus/HvTypeVariantHandler.h>
#include <bus/NodeLinkWrapper.h>
#include <bus/RemoteActuatorNodeWrapper.h>
#include <bus/RemoteControllerNodeWrapper.h>
#include <bus/RemoteSensorNodeWrapper.h>
#include <bus/SequenceContainerWrapper.h>
#include <bus/StackNodeWrapper.h>
#include <bus/internal/NodeRecord.h>
#include <fuzz/Finding.h>
#include <fuzz/Mutate.h>
#include <fuzz/Repair.h>
#include <platform/bus/Error.h>
#include <platform/bus/message/internal/Check.h>
#include <platform/bus/message/internal/Signature.h>
#include <platform/bus/message/method/Call.h>
#include <platform/core/log/Logger.h>

namespace Quarnix::Fuzz {
namespace {

using namespace Bus;
using Message::ConstIterator;
using Bytes = std::vector<std::uint8_t>;

constexpr bool IS_BIG = std::endian::native == std::endian::big;

/// A message with this body, in a block of exactly its size, so that the sanitizer finds reads outside.
struct Body {
  Body(const std::string& signature, bool isBig, const std::uint8_t* body, std::size_t size)
      : begin((FIXED + 6 + signature.size() + 7) & ~std::size_t{7}), bytes(begin + size) {
    const std::uint8_t head[] = {isBig ? std::uint8_t{'B'} : std::uint8_t{'l'}, 5, 0, 1};
    std::copy(std::begin(head), std::end(head), bytes.begin());
    const auto setWord = [&](std::size_t at, std::size_t value) {
      for (std::size_t i = 0; i < 4; ++i) bytes[at + (isBig ? 3 - i : i)] = static_cast<std::uint8_t>(value >> (8 * i));
    };
    setWord(4, size);
    setWord(8, 1);
    setWord(12, 6 + signature.size());
    const std::uint8_t field[] = {8, 1, 'g', 0, static_cast<std::uint8_t>(signature.size())};
    std::copy(std::begin(field), std::end(field), bytes.begin() + FIXED);
    std::copy(signature.begin(), signature.end(), bytes.begin() + FIXED + sizeof field);
    std::copy_n(body, size, bytes.begin() + static_cast<std::ptrdiff_t>(begin));
  }
  ConstIterator iterator(bool isSwapped) const {
    return {bytes.data() + begin, bytes.data() + bytes.size(), reinterpret_cast<const char*>(bytes.data()) + FIXED + 5,
            isSwapped};
  }
  ConstIterator end() const {
    const std::uint8_t* const at = bytes.data() + bytes.size();
    return {at, at, "", false};
  }
  bool isValid() const {
    Message::Header header;
    return !Message::check(bytes.data(), bytes.size(), header);
  }

  static constexpr std::size_t FIXED = Message::FIXED_HEADER_SIZE;
  std::size_t begin;
  Bytes bytes;
};

template <class Write>
Body written(const std::string& signature, const Write& write) {
  Message::Method::Call call;
  call.setPath("/");
  call.setMember("m");
  Message::Iterator arguments = call.begin();
  write(arguments);
  const Message::Frame frame = call.seal(1, {});
  Message::Header header;
  require(!Message::check(frame.data(), frame.size(), header), "what was written passes the check");
  require(call.getSignature() == signature, "what was written has the marshaller's signature");
  return Body(signature, IS_BIG, frame.data() + header.bodyOffset, header.bodyLength);
}

/// Reads a value and writes it, then reads and writes the result.
template <class Marshaller, class T>
void readAndWrite(ConstIterator& iterator) {
  const Marshaller marshaller;
  const auto copy = [&](ConstIterator& from) {
    T value{};
    marshaller.deserialize(from, value);
    return written(marshaller.signature(), [&](auto& to) { marshaller.serialize(to, value); });
  };
  const Body first = copy(iterator);
  ConstIterator again = first.iterator(false);
  if constexpr (std::is_same_v<T, Hevra::Command>) {
    copy(again);
  } else {
    require(copy(again).bytes == first.bytes, "what was written comes back the same");
  }
  ++iterator;
}

/// Reads a node in a structure, with the marshaller and as the managers do, and compares where both stop.
template <class Kind>
void readNode(ConstIterator& iterator) {
  ConstIterator copy = iterator;
  readAndWrite<Type::StructWrapper<Kind>, Kind>(copy);
  Kind node;
  iterator.leave(Type::NodeRecord::read(iterator, node));
  require(iterator == copy, "a record is left behind its last value");
}

template <class Kind>
void readNodes(ConstIterator& iterator) {
  ConstIterator element = iterator.begin();
  while (element.type()) readNode<Kind>(element);
  iterator.leave(element);
}

void readCommands(ConstIterator& iterator) {
  std::vector<Hevra::Command> commands;
  Type::Wrapper<std::vector<Hevra::Command>>().deserialize(iterator, commands);
  ++iterator;
}

void readProgress(ConstIterator& iterator) {
  ConstIterator field = iterator.begin();
  Hevra::Command command;
  Type::Wrapper<Hevra::Command>().deserialize(field, command);
  iterator.leave(field);
}

void readVariant(ConstIterator& iterator) {
  const Type::Wrapper<Type::VariantHandler> marshaller;
  Type::HvTypeVariantHandler handler;
  marshaller.deserialize(iterator, handler);
  written("v", [&](auto& to) { marshaller.serialize(to, handler); });
  ++iterator;
}

void readKey(ConstIterator& iterator) {
  const Type::FixedSequenceContainerWrapper<unsigned char, Type::Wrapper, 16> marshaller;
  unsigned char block[16] = {};
  marshaller.deserialize(iterator, block);
  const std::vector<unsigned char> expected = [&] {
    std::vector<unsigned char> bytes;
    Type::SequenceContainerWrapper<unsigned char, Type::Wrapper, std::vector, std::allocator<unsigned char>>()
        .deserialize(iterator, bytes);
    bytes.resize(16);
    return bytes;
  }();
  require(std::equal(expected.begin(), expected.end(), block), "a block is the beginning of the array");
  ++iterator;
}

struct Reader {
  std::string signature;
  void (*read)(ConstIterator&);
};

template <class Kind>
Reader readerOf() {
  return {Type::StructWrapper<Kind>().signature(), readNode<Kind>};
}

template <class Kind>
Reader listReaderOf() {
  return {"a" + Type::StructWrapper<Kind>().signature(), readNodes<Kind>};
}

/// The first byte of an input is an index into this list. Add new readers at the end, so that the seeds keep their
/// meaning.
const std::vector<Reader>& readers() {
  using Hevra::Command, Hevra::NodeLink, Hevra::RemoteActuatorNode, Hevra::RemoteControllerNode;
  using Hevra::RemoteSensorNode, Hevra::StackNode;
  static const std::vector<Reader> all = {
      {'(' + Type::Wrapper<Command>().signature() + ')', readProgress},
      {Type::Wrapper<std::vector<Command>>().signature(), readCommands},
      {Type::Wrapper<Command>().signature(),
       [](ConstIterator& i) { readAndWrite<Type::Wrapper<Command>, Command>(i); }},
      readerOf<RemoteActuatorNode>(),
      readerOf<RemoteControllerNode>(),
      readerOf<RemoteSensorNode>(),
      readerOf<StackNode>(),
      listReaderOf<RemoteActuatorNode>(),
      listReaderOf<RemoteControllerNode>(),
      listReaderOf<RemoteSensorNode>(),
      listReaderOf<StackNode>(),
      {Type::StructWrapper<NodeLink>().signature(),
       [](ConstIterator& i) { readAndWrite<Type::StructWrapper<NodeLink>, NodeLink>(i); }},
      {"v", readVariant},
      {"ay", readKey},
      {"s", [](ConstIterator& i) { readAndWrite<Type::Wrapper<std::string>, std::string>(i); }}};
  return all;
}

class SilentLogger : public Log::Logger {
  void write(Log::Priority, const char*) override {}
};

constexpr std::uint8_t BIG = 128, FOREIGN = 64;

/// An input. Its first byte is the reader's number, with the flag BIG for a big-endian body. With the flag FOREIGN, the
/// body follows a signature of its own, which begins with its length. Otherwise the body has the reader's signature.
struct Input {
  Input(const std::uint8_t* data, std::size_t length)
      : reader(readers()[data[0] % FOREIGN % readers().size()]), isBig(data[0] & BIG), isForeign(data[0] & FOREIGN) {
    if (isForeign) {
      const std::size_t typesLength = length > 1 ? std::min<std::size_t>(data[1], length - 2) : 0;
      signature.assign(reinterpret_cast<const char*>(data) + 2, typesLength);
      begin = std::min(2 + typesLength, length);
    } else {
      signature = reader.signature;
    }
  }
  const Reader& reader;
  bool isBig, isForeign;
  std::string signature;
  std::size_t begin = 1;  // of the body
};

/// Reads a body whose signature may differ from the reader's. If a reader needs a container and finds another value, it
/// rethrows the exception that is being handled; all its other errors are errors of the bus library.
void readForeign(const Reader& reader, ConstIterator& iterator) {
  struct Handled {};
  try {
    throw Handled();
  } catch (const Handled&) {
    try {
      reader.read(iterator);
    } catch (const Handled&) {
    } catch (const Error&) {
    }
  }
}

/// The signature with a type code removed, replaced or inserted.
std::string changed(std::string signature, Random& random) {
  const std::size_t place = random() % (signature.size() + 1);
  const std::size_t removed = std::min<std::size_t>(random() % 2, signature.size() - place);
  return signature.replace(place, removed, random() % 3 ? randomType(random) : std::string());
}

/// Gives a foreign input a signature that is similar to its own or to the reader's. Returns the new size.
std::size_t changeSignature(std::uint8_t* data, std::size_t size, std::size_t room, Random& random) {
  const Input input(data, size);
  const std::string signature = changed(random() % 4 ? input.signature : input.reader.signature, random);
  const std::size_t body = size - input.begin, begin = 2 + signature.size();
  if (Message::checkSignature(signature) || begin + body > room) return size;
  std::memmove(data + begin, data + input.begin, body);
  data[1] = static_cast<std::uint8_t>(signature.size());
  signature.copy(reinterpret_cast<char*>(data) + 2, signature.size());
  return begin + body;
}

}  // namespace
}  // namespace Quarnix::Fuzz

using namespace Quarnix::Fuzz;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  Quarnix::Log::Logger::set(Quarnix::Shared::make<SilentLogger>());
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const Input input(data, size);
  const Body body(input.signature, input.isBig, data + input.begin, size - input.begin);
  if (!body.isValid()) return 0;
  ConstIterator iterator = body.iterator(input.isBig != IS_BIG);
  if (input.isForeign)
    readForeign(input.reader, iterator);
  else
    input.reader.read(iterator);
  while (iterator.type()) ++iterator;
  require(iterator == body.end(), "after the values that were read, the values end where the body ends");
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t room, unsigned seed) {
  room = limitRoom(size, room, 1024);
  size = LLVMFuzzerMutate(data, size, room);
  if (size == 0 || seed % 8 == 0) return size;
  Random random(seed);
  if (data[0] & FOREIGN && seed % 4 == 1) size = changeSignature(data, size, room, random);
  const Input input(data, size);
  if (Message::checkSignature(input.signature)) return size;
  Repair repair(data + input.begin, size - input.begin, room - input.begin, random);
  const std::size_t body = repair.body(input.signature, input.isBig);
  return body ? input.begin + body : size;
}
