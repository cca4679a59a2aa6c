// Opens and closes containers, checks texts and raises the append iterator's errors.
#include <platform/bus/message/Iterator.h>

#include <platform/bus/Error.h>
#include <platform/bus/message/Limits.h>
#include <platform/bus/message/internal/Names.h>
#include <platform/bus/message/internal/Rules.h>
#include <platform/bus/message/internal/Signature.h>

namespace Quarnix::Bus::Message {

namespace {

std::string quoted(std::string_view text) { return '"' + std::string(text) + '"'; }

}  // namespace

Iterator::Iterator(Iterator& parent, int type, std::string_view contents) try
    : body_(parent.body_), parent_(&parent), kind_(static_cast<char>(type)) {
  if (type == ARRAY && parent.expected_) {
    // The contents are part of a signature that has been checked and stays where it is.
    const std::string_view rest(parent.expected_);
    if (rest.substr(0, 1) != "a" || rest.substr(1, contents.size()) != contents || contents.empty())
      parent.failMismatch('a' + std::string(contents));
    elementBegin_ = parent.expected_ + 1;
    after_ = elementBegin_ + contents.size();
  } else {
    char* const held = hold(contents);
    const std::string_view array(held, 1 + contents.size());
    // A dictionary entry is allowed only in an array, so the check needs the array. It also needs the structures around
    // the array, because they count for the depth.
    const std::size_t around = parent.depth_;
    const char* const rule = type == VARIANT ? checkSingleType(array.substr(1))
                             : around == 0
                                 ? checkSingleType(array)
                                 : checkSingleType(std::string(around, '(').append(array).append(around, ')'));
    require(rule, "signature of a container's contents", contents);
    if (type == VARIANT) {
      parent.take<1>(ANY_VALUE.codes);
      after_ = parent.expected_;
    } else {
      parent.takeType(array);
    }
    elementBegin_ = held + 1;
  }
  expected_ = elementBegin_;
  if (type == ARRAY) {
    elementEnd_ = elementBegin_ + contents.size();
    std::uint8_t* at = Body::align<4>(body_.reserve(15));
    lengthAt_ = static_cast<std::uint32_t>(at - body_.storage.data());
    std::memset(at, 0, 4);
    // The padding before the first element is there even if the array is empty, and does not count in its length.
    at = alignmentOf(*elementBegin_) == 8 ? Body::align<8>(at + 4) : at + 4;
    body_.commit(at);
    dataAt_ = static_cast<std::uint32_t>(at - body_.storage.data());
  } else {
    std::uint8_t* at = body_.reserve(contents.size() + 2);
    *at++ = static_cast<std::uint8_t>(contents.size());
    std::memcpy(at, elementBegin_, contents.size() + 1);
    body_.commit(at + contents.size() + 1);
  }
  enter(type == ARRAY, 0);
} catch (...) {
  parent.abandon();
}

/// Keeps the type of an array of these contents, with as many NULs behind it as may be compared.
char* Iterator::hold(std::string_view contents) {
  const std::size_t size = 1 + contents.size() + LOOK_AHEAD;
  char* held = shortType_;
  if (size > sizeof shortType_) {
    longType_.reset(new char[size]);
    held = longType_.get();
  }
  held[0] = 'a';
  contents.copy(held + 1, contents.size());
  std::memset(held + size - LOOK_AHEAD, 0, LOOK_AHEAD);
  return held;
}

void Iterator::extend(const char* codes, std::size_t count) {
  if (body_.signature.size() + count > MAXIMUM_SIGNATURE_LENGTH) {
    body_.unusable = true;
    throw InvalidArgument("Signature " + quoted(body_.signature + std::string(codes, count)) +
                          ": expected at most 255 characters");
  }
  try {
    body_.signature.append(codes, count);
  } catch (const std::bad_alloc&) {
    abandon();
    throw;
  }
}

void Iterator::extendByOpening(char opening) {
  if (opening == '{') {
    body_.unusable = true;
    require(Rules::ENTRY_PLACE, "signature", body_.signature + opening);
  }
  extend(&opening, 1);
}

void Iterator::takeType(std::string_view type) {
  if (!expected_) {
    extend(type.data(), type.size());
    return;
  }
  if (std::string_view(expected_).substr(0, type.size()) != type) failMismatch(type);
  step(expected_ + type.size());
}

std::uint8_t* Iterator::putString(std::uint8_t* at, std::string_view text) noexcept {
  at = Body::align<4>(at);
  const auto length = static_cast<std::uint32_t>(text.size());
  std::memcpy(at, &length, 4);
  std::memcpy(at + 4, text.data(), text.size());
  at[4 + text.size()] = 0;
  return at + 5 + text.size();
}

/// Checks a text that is not plain ASCII, and copies it again.
void Iterator::copyChecked(std::uint8_t* at, std::string_view text) {
  if (const char* rule = checkText(text)) {
    body_.unusable = true;
    require(rule, "text", text);
  }
  std::memcpy(at, text.data(), text.size());
}

void Iterator::appendPath(std::string_view path) {
  if (const char* rule = checkPath(path)) {
    body_.unusable = true;
    require(rule, "object path", path);
  }
  take<1>(OBJECT_PATH.codes);
  body_.commit(putString(body_.reserve(room(path)), path));
}

void Iterator::appendSignature(std::string_view signature) {
  if (const char* rule = checkSignature(signature)) {
    body_.unusable = true;
    require(rule, "signature", signature);
  }
  take<1>("g");
  std::uint8_t* at = body_.reserve(signature.size() + 2);
  *at++ = static_cast<std::uint8_t>(signature.size());
  std::memcpy(at, signature.data(), signature.size());
  at[signature.size()] = 0;
  body_.commit(at + signature.size() + 1);
}

namespace {

std::uint8_t* putBytes(std::uint8_t* at, const std::uint8_t* bytes, std::size_t count) noexcept {
  at = Body::align<4>(at);
  const auto length = static_cast<std::uint32_t>(count);
  std::memcpy(at, &length, 4);
  if (count) std::memcpy(at + 4, bytes, count);
  return at + 4 + count;
}

void requireArraySize(Body& body, std::size_t size) {
  if (size <= MAXIMUM_ARRAY_SIZE) return;
  body.unusable = true;
  throw InvalidArgument("Array of " + std::to_string(size) + " bytes: expected at most " +
                        std::to_string(MAXIMUM_ARRAY_SIZE));
}

}  // namespace

void Iterator::appendBytes(const std::uint8_t* bytes, std::size_t count) {
  takeType(BYTES);
  requireArraySize(body_, count);
  body_.commit(putBytes(body_.reserve(count + 7), bytes, count));
}

void Iterator::appendVariantOfBytes(const std::uint8_t* bytes, std::size_t count) {
  take<1>(ANY_VALUE.codes);
  requireArraySize(body_, count);
  static constexpr std::uint8_t CONTENT[] = {2, BYTES.codes[0], BYTES.codes[1], 0};
  std::uint8_t* at = body_.reserve(sizeof CONTENT + count + 7);
  std::memcpy(at, CONTENT, sizeof CONTENT);
  body_.commit(putBytes(at + sizeof CONTENT, bytes, count));
}

Iterator Iterator::begin(int type, const char* contained) {
  if (type != ARRAY && type != VARIANT) failType(type, "'a' or 'v' where the contents are named");
  return Iterator(*this, type, std::string_view(contained));
}

/// Closes any container but a structure of fixed contents. Returns what the parent expects next.
const char* Iterator::close(Iterator& container) {
  switch (container.kind_) {
    case ARRAY: {
      if (container.expected_ != container.elementBegin_) container.failMismatch("end of the array");
      const std::uint32_t length = body_.begin + body_.size - container.dataAt_;
      requireArraySize(body_, length);
      std::memcpy(body_.storage.data() + container.lengthAt_, &length, 4);
      return container.after_;
    }
    case VARIANT:
      if (*container.expected_ != '\0') container.failMismatch("end of the variant");
      return container.after_;
    default: {
      const char closing = container.kind_ == '(' ? ')' : '}';
      if (container.expected_) {
        if (*container.expected_ != closing) container.failMismatch({&closing, 1});
        return container.expected_ + 1;
      }
      if (body_.signature.back() == '(') {
        body_.unusable = true;
        require(Rules::EMPTY_STRUCTURE, "signature", body_.signature + closing);
      }
      extend(&closing, 1);
      return nullptr;
    }
  }
}

void Iterator::failDepth() {
  fail("Container at depth " + std::to_string(depth_) +
       ": expected at most 32 arrays, 32 structures and 64 levels in all");
}

void Iterator::failEnd() { fail("A container closed by an iterator that did not open it"); }

void Iterator::failType(int type, const char* expected) {
  fail("Container type " + std::to_string(type) + ": expected " + expected);
}

void Iterator::fail(std::string message) {
  body_.unusable = true;
  throw UnusableMessage(std::move(message));
}

void Iterator::failMismatch(std::string_view codes) {
  if (expected_ == CONTAINER_OPEN) fail("Appended " + quoted(codes) + " while a container inside is open");
  body_.unusable = true;
  const std::string_view rest(expected_);
  throw TypeMismatch(
      "Appended " + quoted(codes) + ", expected " +
      (rest.empty() ? std::string("the end of the container") : quoted(rest.substr(0, codes.size() + 8))));
}

}  // namespace Quarnix::Bus::Message
