// Enters containers, steps over values and raises the read iterator's errors.
#include <platform/bus/message/ConstIterator.h>

#include <platform/bus/Error.h>
#include <platform/bus/message/Limits.h>
#include <platform/bus/message/internal/Signature.h>

namespace Quarnix::Bus::Message {

namespace {

const std::uint8_t* alignTo(const std::uint8_t* at, std::size_t alignment) noexcept {
  return reinterpret_cast<const std::uint8_t*>((reinterpret_cast<std::uintptr_t>(at) + (alignment - 1)) &
                                               ~std::uintptr_t{alignment - 1});
}

bool isEnd(const char* signature) noexcept { return *signature == '\0' || *signature == ')' || *signature == '}'; }

}  // namespace

std::string_view ConstIterator::signatureView() const noexcept {
  if (isEnd(signature_)) return {};
  return {signature_, static_cast<std::size_t>(skipType(signature_) - signature_)};
}

/// Skips the values that the signature from `signature` to `signatureEnd` describes. A structure needs no stack,
/// because its members are in the signature. A variant needs one; the check has made sure that it is deep enough.
const std::uint8_t* ConstIterator::skip(const std::uint8_t* at, const char* signature,
                                        const char* signatureEnd) const noexcept {
  const char* resume[MAXIMUM_DEPTH];
  const char* resumeEnd[MAXIMUM_DEPTH];
  int depth = 0;
  for (;;) {
    while (signature == signatureEnd) {
      if (depth == 0) return at;
      --depth;
      signature = resume[depth];
      signatureEnd = resumeEnd[depth];
    }
    const char code = *signature++;
    if (const std::size_t size = fixedSizeOf(code)) {
      at = alignTo(at, size) + size;
      continue;
    }
    switch (code) {
      case 's':
      case 'o':
        at = align<4>(at);
        at += 5 + word(at);
        break;
      case 'g':
        at += 2 + *at;
        break;
      case '(':
      case '{':
        at = align<8>(at);
        break;
      case 'a': {
        at = align<4>(at);
        const std::uint32_t length = word(at);
        at = alignTo(at + 4, alignmentOf(*signature)) + length;
        signature = skipType(signature);
        break;
      }
      case 'v':
        resume[depth] = signature;
        resumeEnd[depth] = signatureEnd;
        ++depth;
        signature = reinterpret_cast<const char*>(at + 1);
        signatureEnd = signature + *at;
        at += 2 + *at;
        break;
      default:  // a closing bracket
        break;
    }
  }
}

ConstIterator& ConstIterator::operator++() {
  if (const std::size_t size = fixedSizeOf(*signature_)) {
    stepTo(alignTo(at_, size) + size, {signature_, 1});
    return *this;
  }
  if (isEnd(signature_)) throw EndOfContainer("Stepped past the last value");
  const char* after = skipType(signature_);
  at_ = skip(at_, signature_, after);
  if (!elementBegin_) {
    signature_ = after;
  } else if (at_ == end_) {
    signature_ = "";
  }
  return *this;
}

void ConstIterator::leave(const ConstIterator& inside) {
  ConstIterator last(inside);
  if (!isEnd(last.signature_)) {
    ++last;
    if (!isEnd(last.signature_)) [[unlikely]] {
      ++*this;
      return;
    }
  }
  at_ = last.at_;
  if (!elementBegin_) {
    // Inside a structure, the signature is the same one, and has been walked up to the closing bracket.
    const bool isStructure = *signature_ == '(' || *signature_ == '{';
    signature_ = isStructure ? last.signature_ + 1 : skipType(signature_);
  } else if (at_ == end_) {
    signature_ = "";
  }
}

ConstIterator ConstIterator::begin() const {
  switch (*signature_) {
    case '(':
    case '{':
      return ConstIterator(align<8>(at_), end_, signature_ + 1, swapped_);
    case 'a': {
      const std::uint8_t* at = align<4>(at_);
      const std::uint32_t length = word(at);
      at = alignTo(at + 4, alignmentOf(signature_[1]));
      ConstIterator inside(at, at + length, length ? signature_ + 1 : "", swapped_);
      inside.elementBegin_ = signature_ + 1;
      return inside;
    }
    case 'v':
      return getVariant();
    default:
      failEnter();
  }
}

ConstIterator ConstIterator::end() const {
  switch (*signature_) {
    case 'a': {
      ConstIterator inside = begin();
      inside.at_ = inside.end_;
      inside.signature_ = "";
      return inside;
    }
    case '(':
    case '{':
    case 'v': {
      const std::uint8_t* after = skip(at_, signature_, skipType(signature_));
      return ConstIterator(after, after, "", swapped_);
    }
    default:
      failEnter();
  }
}

std::string_view ConstIterator::getText() const {
  switch (*signature_) {
    case 's':
    case 'o': {
      const std::uint8_t* at = align<4>(at_);
      return {reinterpret_cast<const char*>(at + 4), word(at)};
    }
    case 'g':
      return {reinterpret_cast<const char*>(at_ + 1), *at_};
    default:
      failMismatch('s');
  }
}

ConstIterator ConstIterator::getVariant() const {
  if (*signature_ != 'v') failMismatch('v');
  return ConstIterator(at_ + 2 + *at_, end_, reinterpret_cast<const char*>(at_ + 1), swapped_);
}

void ConstIterator::failMismatch(char wanted) const {
  if (isEnd(signature_)) throw EndOfContainer(std::string("Read \"") + wanted + "\" past the last value");
  throw TypeMismatch(std::string("Read \"") + wanted + "\" where \"" + signature() + "\" stands");
}

void ConstIterator::failEnter() const {
  if (isEnd(signature_)) throw EndOfContainer("Entered a container past the last value");
  throw NotAContainer("Entered \"" + signature() + "\", which is no container");
}

}  // namespace Quarnix::Bus::Message
