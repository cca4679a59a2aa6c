// Typed wrappers: each appends and reads values of one type, and names its signature.
#pragma once

#include <string>
#include <vector>

#include <platform/bus/message/ConstIterator.h>
#include <platform/bus/message/Iterator.h>

namespace Quarnix::Bus::Type {

/// Appends and reads values of T. This header specialises it for the basic types; the headers of the records specialise
/// it for these. A wrapper has no state: make one on the stack where you need it, on any thread.
///
/// `serialize` appends the value at the iterator. `deserialize` reads the value at the iterator and does not step over
/// it. `signature` returns the value's signature. The errors of the iterators pass through.
///
/// Precondition: the signature matches. Compare the signature of the message with `signature` before you call a
/// `deserialize` that names this precondition. If a record, an array or a block does not stand where it should, such a
/// `deserialize` rethrows the exception that is being handled; if none is being handled, the process ends.
template <class T>
class Wrapper;

namespace Detail {

/// The wrapper of a basic type. All of it is inline, so that a record compiles to straight code.
template <class T>
class BasicWrapper {
 public:
  virtual ~BasicWrapper() = default;
  virtual void serialize(Message::Iterator& iterator, const T& value) const { iterator.append(value); }
  virtual void deserialize(Message::ConstIterator& iterator, T& value) const { iterator.get(value); }
  virtual std::string signature() const { return std::string(Message::SIGNATURE_OF<T>); }
};

}  // namespace Detail

template <>
class Wrapper<unsigned char> : public Detail::BasicWrapper<unsigned char> {};
template <>
class Wrapper<bool> : public Detail::BasicWrapper<bool> {};
template <>
class Wrapper<short> : public Detail::BasicWrapper<short> {};
template <>
class Wrapper<unsigned short> : public Detail::BasicWrapper<unsigned short> {};
template <>
class Wrapper<int> : public Detail::BasicWrapper<int> {};
template <>
class Wrapper<unsigned int> : public Detail::BasicWrapper<unsigned int> {};
template <>
class Wrapper<long> : public Detail::BasicWrapper<long> {};
template <>
class Wrapper<unsigned long> : public Detail::BasicWrapper<unsigned long> {};
template <>
class Wrapper<long long> : public Detail::BasicWrapper<long long> {};
template <>
class Wrapper<unsigned long long> : public Detail::BasicWrapper<unsigned long long> {};
template <>
class Wrapper<double> : public Detail::BasicWrapper<double> {};
template <>
class Wrapper<std::string> : public Detail::BasicWrapper<std::string> {};

/// Marshals a T as one structure. The headers of the records specialise it.
template <class T>
class StructWrapper;

}  // namespace Quarnix::Bus::Type
