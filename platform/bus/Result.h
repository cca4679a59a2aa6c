// What an asynchronous call has come to, as its handler or its future gets it.
#pragma once

#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include <platform/bus/message/SendReturn.h>

namespace Quarnix::Bus {

namespace Internal {

/// What a call has come to: a reply, or what sending it has raised.
struct CallOutcome {
  std::optional<Message::SendReturn> reply = {};
  std::exception_ptr error = {};
};

}  // namespace Internal

/// The reply to a call, or the error that the synchronous call would have raised instead. Copies share it.
///
/// Threads: any.
class HEVRA_EXPORT Reply {
 public:
  explicit Reply(Message::SendReturn reply);
  explicit Reply(std::exception_ptr error);
  explicit Reply(std::shared_ptr<const Internal::CallOutcome> outcome) noexcept;

  /// Returns the reply, which may be an error reply. Raises what sending the call has raised.
  const Message::SendReturn& get() const;

 private:
  std::shared_ptr<const Internal::CallOutcome> outcome_;
};

/// It is called once, when the call is over.
using ReplyHandler = std::function<void(const Reply& reply)>;

/// The value of an asynchronous operation. It is read from the reply each time you ask for it.
///
/// Threads: as any value.
template <class T>
class Result {
 public:
  using Read = T (*)(const Message::SendReturn& reply);
  Result(Reply reply, Read read) : reply_(std::move(reply)), read_(read) {}

  /// Returns what the synchronous operation returns, or raises what it raises.
  T get() const { return read_(reply_.get()); }

 private:
  Reply reply_;
  Read read_;
};

/// It is called once, when the operation is over. An exception that leaves it is logged.
template <class T>
using Handler = std::function<void(const Result<T>& result)>;

/// A handler that reads the reply for `handler`.
template <class T>
ReplyHandler reading(typename Result<T>::Read read, Handler<T> handler) {
  return [read, handler = std::move(handler)](const Reply& reply) {
    if (handler) handler(Result<T>(reply, read));
  };
}

/// Begins an operation with a handler that fulfils the future: `begin(handler)`. If the operation is given up, for
/// example because its manager is stopped, the future raises std::future_error (broken_promise).
template <class T, class Begin>
std::future<T> futureOf(const Begin& begin) {
  const auto promise = std::make_shared<std::promise<T>>();
  std::future<T> future = promise->get_future();
  begin(Handler<T>([promise](const Result<T>& result) {
    try {
      if constexpr (std::is_void_v<T>) {
        result.get();
        promise->set_value();
      } else {
        promise->set_value(result.get());
      }
    } catch (...) {
      promise->set_exception(std::current_exception());  // `get` of the future raises it
    }
  }));
  return future;
}

}  // namespace Quarnix::Bus
