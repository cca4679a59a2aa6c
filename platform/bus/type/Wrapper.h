// The typed wrappers of the basic types: how a value of T is appended, read and called in a signature.
#pragma once

#include <string>
#include <vector>

#include <platform/bus/message/ConstIterator.h>
#include <platform/bus/message/Iterator.h>

namespace Quarnix::Bus::Type {

/// Appends and reads values of T. Specialised for the basic types here and for records elsewhere; stateless, made on
/// the stack where it is needed, usable on any thread.
///
/// `serialize` appends at the iterator; `deserialize` reads the value at the iterator's position without stepping over
/// it; `signature` is the value's signature. Errors of the iterators pass through.
template <class T>
class Wrapper;

namespace Detail {

/// The wrapper of a basic type. Everything is inline so that a record compiles to straight code.
template <class T>
class BasicWrapper {
 public:
  virtual ~BasicWrapper() = default;
  virtual void serialize(Message::Iterator& iterator, const T& value) const { iterator.append(value); }
  virtual void deserialize(Message::ConstIterator& iterator, T& value) const { iterator.get(value); }
  virtual std::string signature() const { return std::string(1, Message::codeOf<T>()); }
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

/// Marshals a T as one structure; specialised for the records.
template <class T>
class StructWrapper;

}  // namespace Quarnix::Bus::Type
