// Reads and writes whole messages. A message that passes the check must be readable to its end, and writing the values
// again must give the same bytes.
#include <cstring>

#include <fuzz/Finding.h>
#include <fuzz/Numbers.h>
#include <platform/bus/message/ConstIterator.h>
#include <platform/bus/message/Iterator.h>
#include <platform/bus/message/internal/Check.h>
#include <platform/bus/message/method/Call.h>

namespace Quarnix::Fuzz {
namespace {

using namespace Bus::Message;

// The writer accepts fewer levels than the reader in some messages, so deeper messages are only read.
constexpr int WRITTEN_DEPTH = 32;

template <class T>
void copyOne(ConstIterator& from, Iterator* to) {
  T value{};
  from.get(value);
  if (to) to->append(value);
}

bool copy(ConstIterator& from, Iterator* to, int depth);

/// Reads the values from `from` to the end of their container, and writes them if there is a writer. Returns false if a
/// value is too deep for the writer.
bool copyAll(ConstIterator& from, Iterator* to, int depth) {
  bool isComplete = true;
  while (from.type()) isComplete &= copy(from, to, depth);
  return isComplete;
}

bool copyContainer(ConstIterator& from, Iterator* to, int depth) {
  const int type = from.type();
  if (type == ARRAY && from.signatureView() == "ay") {
    const auto bytes = from.getBytes();
    if (to) to->appendBytes(bytes.data(), bytes.size());
    ++from;
    return true;
  }
  if (depth == WRITTEN_DEPTH) to = nullptr;
  ConstIterator inside = from.begin();
  ConstIterator next = from;
  ++next;
  bool isComplete = depth < WRITTEN_DEPTH;
  if (to && type != STRUCTURE && type != DICTIONARY_ENTRY) {
    const std::string contents(type == ARRAY ? from.signature().substr(1) : inside.signature());
    Iterator container = to->begin(type, contents.c_str());
    isComplete &= copyAll(inside, &container, depth + 1);
    to->end(container);
  } else if (to) {
    Iterator container = to->begin(type);
    isComplete &= copyAll(inside, &container, depth + 1);
    to->end(container);
  } else {
    isComplete &= copyAll(inside, nullptr, depth + 1);
  }
  require(inside == from.end(), "a container's values end at its end");
  from.leave(inside);
  require(from == next, "reading a container and stepping over it lead to the same place");
  return isComplete;
}

bool copy(ConstIterator& from, Iterator* to, int depth) {
  if (!visitNumber(from.type(), [&]<class T>(T) { copyOne<T>(from, to); })) {
    switch (from.type()) {
      case 's':
        copyOne<std::string_view>(from, to);
        break;
      case 'o':
        if (to) to->appendPath(from.getText());
        break;
      case 'g':
        if (to) to->appendSignature(from.getText());
        break;
      default:
        return copyContainer(from, to, depth);
    }
  }
  ++from;
  return true;
}

void read(const std::uint8_t* data, std::size_t size, const Header& header) {
  for (const Header::Text& text : header.texts) {
    if (&text == &header.text(Field::REPLY_SERIAL)) continue;  // the place of a number
    const bool isInside = text.offset + text.length < header.bodyOffset && !data[text.offset + text.length];
    require(text.offset == 0 || isInside, "a header's text ends inside the header, with a NUL");
  }
  const Header::Text signature = header.text(Field::SIGNATURE);
  const char* const types = signature.offset ? reinterpret_cast<const char*>(data) + signature.offset : "";
  ConstIterator first(data + header.bodyOffset, data + size, types, header.swapped);

  ConstIterator reader = first;
  const bool isWritable = copyAll(reader, nullptr, 0);
  require(reader == ConstIterator(data + size, data + size, "", false), "the values end where the body does");
  if (!isWritable) return;

  Method::Call call;
  call.setPath("/");
  call.setMember("m");
  {
    Iterator writer = call.begin();
    copyAll(first, &writer, 0);
  }
  const Frame frame = call.seal(1, {});
  Header written;
  require(!check(frame.data(), frame.size(), written), "what was written passes the check");
  require(std::strcmp(call.getSignature(), types) == 0, "what was written has the signature of what was read");
  require(written.bodyLength == header.bodyLength, "what was written is as long as what was read");
  const bool isSame = std::memcmp(frame.data() + written.bodyOffset, data + header.bodyOffset, header.bodyLength) == 0;
  require(isSame || header.swapped, "what was written is what was read");
}

}  // namespace
}  // namespace Quarnix::Fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Quarnix::Bus::Message::Header header;
  if (!Quarnix::Bus::Message::check(data, size, header)) Quarnix::Fuzz::read(data, size, header);
  return 0;
}
