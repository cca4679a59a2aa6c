// The errors of libBus. They are one small family, so they share this file. None of them crosses the bus; an error that
// the bus answers is a Message::Method::Return.
#pragma once

#include <platform/core/Exception.h>

namespace Quarnix::Bus {

/// The base of libBus's errors. Their names begin with "com.quarnix.Framework.Bus.".
class HEVRA_EXPORT Error : public Exception {
 public:
  using Exception::Exception;
  ~Error() override;
};

/// The application has given a name, path, address, text or size that is not allowed. The message names the value, what
/// it was given for and what was expected.
class HEVRA_EXPORT InvalidArgument : public Error {
 public:
  using Error::Error;
  ~InvalidArgument() override;
  const char* getId() const override;
};

/// A value of one type was written or read where another type stands. The message names both.
class HEVRA_EXPORT TypeMismatch : public Error {
 public:
  using Error::Error;
  ~TypeMismatch() override;
  const char* getId() const override;
};

/// The value to enter is no container.
class HEVRA_EXPORT NotAContainer : public Error {
 public:
  using Error::Error;
  ~NotAContainer() override;
  const char* getId() const override;
};

/// Something was read past the last value, or stepped over there.
class HEVRA_EXPORT EndOfContainer : public Error {
 public:
  using Error::Error;
  ~EndOfContainer() override;
  const char* getId() const override;
};

/// The message must not be sent: an earlier error has left it half written, a container in it is still open, or it was
/// received.
class HEVRA_EXPORT UnusableMessage : public Error {
 public:
  using Error::Error;
  ~UnusableMessage() override;
  const char* getId() const override;
};

/// An object could not be started or a name not be owned: the bus is not there, or the path or the name is taken.
class HEVRA_EXPORT StartFailed : public Error {
 public:
  using Error::Error;
  ~StartFailed() override;
  const char* getId() const override;
};

}  // namespace Quarnix::Bus
