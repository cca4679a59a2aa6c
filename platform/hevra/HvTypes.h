// The twelve concrete typed values. They are one closed family and stand in one header: each names a value type, and
// only objects of exactly these classes travel on the bus.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <platform/hevra/HvType.h>

namespace Quarnix::Hevra {

/// The common part of the classes below: the value that the constructor takes and that never changes. The constructor
/// takes it as an `A`, and `getValue` returns it as an `R`; a reference that it returns lives as long as the object.
template <class T, class A = T, class R = T>
class HvValue : public HvType {
 public:
  explicit HvValue(A value) : value_(std::forward<A>(value)) {}
  R getValue() const noexcept { return value_; }

 private:
  T value_;
};

class HEVRA_EXPORT HvByte : public HvValue<std::uint8_t> {
 public:
  using HvValue::HvValue;
  ~HvByte() override;
  std::string toString() const override;
};

class HEVRA_EXPORT HvUInt16 : public HvValue<std::uint16_t> {
 public:
  using HvValue::HvValue;
  ~HvUInt16() override;
  std::string toString() const override;
};

class HEVRA_EXPORT HvInt16 : public HvValue<std::int16_t> {
 public:
  using HvValue::HvValue;
  ~HvInt16() override;
  std::string toString() const override;
};

class HEVRA_EXPORT HvUInt32 : public HvValue<std::uint32_t> {
 public:
  using HvValue::HvValue;
  ~HvUInt32() override;
  std::string toString() const override;
};

class HEVRA_EXPORT HvInt32 : public HvValue<std::int32_t> {
 public:
  using HvValue::HvValue;
  ~HvInt32() override;
  std::string toString() const override;
};

class HEVRA_EXPORT HvUInt64 : public HvValue<std::uint64_t, const std::uint64_t&, const std::uint64_t&> {
 public:
  using HvValue::HvValue;
  ~HvUInt64() override;
  std::string toString() const override;
};

class HEVRA_EXPORT HvInt64 : public HvValue<std::int64_t, const std::int64_t&, const std::int64_t&> {
 public:
  using HvValue::HvValue;
  ~HvInt64() override;
  std::string toString() const override;
};

class HEVRA_EXPORT HvDouble : public HvValue<double, const double&, const double&> {
 public:
  using HvValue::HvValue;
  ~HvDouble() override;
  std::string toString() const override;
};

class HEVRA_EXPORT HvBool : public HvValue<bool> {
 public:
  using HvValue::HvValue;
  ~HvBool() override;
  std::string toString() const override;
};

/// A text; UTF-8 without NUL where it is to be sent.
class HEVRA_EXPORT HvString : public HvValue<std::string, std::string, const std::string&> {
 public:
  using HvValue::HvValue;
  ~HvString() override;
  std::string toString() const override;
};

/// A sequence of bytes.
class HEVRA_EXPORT HvBlob
    : public HvValue<std::vector<std::uint8_t>, std::vector<std::uint8_t>, const std::vector<std::uint8_t>&> {
 public:
  using HvValue::HvValue;
  ~HvBlob() override;
  std::string toString() const override;
};

/// The value that says there is none. It travels as an empty blob and is read back as one.
class HEVRA_EXPORT HvNull : public HvType {
 public:
  ~HvNull() override;
  std::string toString() const override;
};

}  // namespace Quarnix::Hevra
