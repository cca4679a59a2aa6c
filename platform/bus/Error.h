// libBus's own errors: one small family, so they share this file. None of them crosses the bus; what the bus answers is
// a Message::Method::Return.
#pragma once

#include <platform/core/Exception.h>

namespace Quarnix::Bus {

/// The base of libBus's errors; its name is the given suffix under "com.quarnix.Framework.Bus.".
class HEVRA_EXPORT Error : public Exception {
 public:
  using Exception::Exception;
  ~Error() override;
};

/// A name, path, address, text or size given by the application is not one: the message names the value, what it was
/// given for and what was expected.
class HEVRA_EXPORT InvalidArgument : public Error {
 public:
  using Error::Error;
  ~InvalidArgument() override;
  const char* getId() const override;
};

/// A value of one type was written or read where another stands; the message names both.
class HEVRA_EXPORT TypeMismatch : public Error {
 public:
  using Error::Error;
  ~TypeMismatch() override;
  const char* getId() const override;
};

/// What was to be entered is not a container.
class HEVRA_EXPORT NotAContainer : public Error {
 public:
  using Error::Error;
  ~NotAContainer() override;
  const char* getId() const override;
};

/// Reading or stepping past the last value.
class HEVRA_EXPORT EndOfContainer : public Error {
 public:
  using Error::Error;
  ~EndOfContainer() override;
  const char* getId() const override;
};

/// A message that must not be sent or read on: an earlier error left it half written, or a container is still open.
class HEVRA_EXPORT UnusableMessage : public Error {
 public:
  using Error::Error;
  ~UnusableMessage() override;
  const char* getId() const override;
};

/// Starting an object, or asking for a name, failed: the bus is not there, the path or the name is taken.
class HEVRA_EXPORT StartFailed : public Error {
 public:
  using Error::Error;
  ~StartFailed() override;
  const char* getId() const override;
};

}  // namespace Quarnix::Bus
