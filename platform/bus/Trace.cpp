// Holds the trace of the process, and writes messages as lines.
#include <platform/bus/Trace.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>

#include <fcntl.h>

#include <platform/bus/connection/Tracing.h>
#include <platform/bus/message/internal/TypeName.h>
#include <platform/core/Mutex.h>
#include <platform/core/internal/Descriptor.h>
#include <platform/core/internal/Environment.h>
#include <platform/core/internal/Hexadecimal.h>
#include <platform/core/internal/Utf8.h>
#include <platform/core/log/Logger.h>
#include <platform/core/log/internal/WriteWhole.h>
#include <platform/core/time/Clock.h>

namespace Quarnix::Bus {

namespace {

using Message::Any;
using Message::ConstIterator;

std::atomic<Trace::Redactor> redactor{nullptr};

/// The trace that HEVRA_TRACE asks for. Each message is a line, behind the seconds of the monotonic clock.
class Lines : public Trace {
 public:
  explicit Lines(int descriptor) noexcept : descriptor_(descriptor) {}
  ~Lines() override {
    if (descriptor_ != STDERR_FILENO) ::close(descriptor_);
  }

  void message(Direction direction, const Any& message) override {
    const std::int64_t microseconds = (Time::Clock::get().now() - Time::Monotonic()).getNanoseconds() / 1000;
    char time[32];
    std::snprintf(time, sizeof time, "%lld.%06d ", static_cast<long long>(microseconds / 1'000'000),
                  static_cast<int>(microseconds % 1'000'000));
    Log::writeWhole(descriptor_, time + describe(direction, message) + "\n");
  }

  static Shared::Pointer<Trace> fromEnvironment() {
    const char* const where = environmentValue("HEVRA_TRACE");
    if (!where || std::strcmp(where, "0") == 0) return {};
    int descriptor = STDERR_FILENO;
    if (std::strcmp(where, "1") != 0) {
      descriptor = aboveStandard(::open(where, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
      if (descriptor < 0) {
        Log::printQuietly(Log::Priority::WARNING, "HEVRA_TRACE: cannot write %s: %s", where, std::strerror(errno));
        return {};
      }
    }
    return Shared::make<Lines>(descriptor);
  }

 private:
  const int descriptor_;
};

struct Current {
  Mutex mutex;
  Shared::Pointer<Trace> trace HEVRA_GUARDED_BY(mutex) = Lines::fromEnvironment();
};

Current& current() {
  static Current& state = *new Current;
  return state;
}

/// Walks the arguments: shows them, or clears what is secret in a copy of the bytes.
class Walk {
 public:
  Walk(const Any& message, std::string* shown, std::uint8_t* cleared) noexcept
      : message_(message), shown_(shown), cleared_(cleared), redactor_(redactor.load(std::memory_order_acquire)) {}

  void arguments() { members(message_.begin(), {}); }

 private:
  static constexpr std::size_t MOST_ELEMENTS = 16, MOST_BYTES = 64, MOST_TEXT = 240;

  void show(std::string_view text) {
    if (shown_) *shown_ += text;
  }
  template <class T>
  void number(const ConstIterator& at) {
    T value{};
    at.get(value);
    char digits[32];
    show({digits, std::to_chars(digits, digits + sizeof digits, value).ptr});
  }
  void more(std::size_t count, const char* unit) { show("... " + std::to_string(count) + unit); }

  void members(ConstIterator at, std::string_view structure) {
    show("(");
    for (unsigned field = 0; at.type() != 0; ++at, ++field) {
      if (field) show(", ");
      value(at, structure, field);
    }
    show(")");
  }

  void elements(const ConstIterator& array, std::string_view structure, unsigned field) {
    show("[");
    std::size_t count = 0;
    for (ConstIterator at = array.begin(), end = array.end(); !(at == end); ++at, ++count) {
      if (shown_ && count >= MOST_ELEMENTS) continue;
      if (count) show(", ");
      value(at, structure, field);
    }
    if (shown_ && count > MOST_ELEMENTS) more(count - MOST_ELEMENTS, " more");
    show("]");
  }

  void bytes(const ConstIterator& at, std::string_view structure, unsigned field) {
    const auto block = at.getBytes();
    if (redactor_ && redactor_(message_, structure, field)) {
      show("****");
      if (cleared_) std::memset(cleared_ + (block.data() - message_.getBytes().data()), 0, block.size());
      return;
    }
    if (!shown_) return;
    show("0x");
    appendHexadecimal(*shown_, block.first(std::min(block.size(), MOST_BYTES)));
    if (block.size() > MOST_BYTES) more(block.size() - MOST_BYTES, " bytes");
  }

  void text(std::string_view whole) {
    if (!shown_) return;
    show("\"");
    std::size_t at = 0;
    for (std::size_t length = 0; at < whole.size(); at += length) {
      length = std::max(Utf8::lengthOfFirst(whole.substr(at)), std::size_t{1});
      if (at + length > MOST_TEXT) break;
      const std::string_view character = whole.substr(at, length);
      // The control characters: of those that have two bytes, the second one is the number.
      const auto last = static_cast<std::uint8_t>(character.back());
      if (length == 1 ? last < 0x20 || last == 0x7F : character[0] == '\xC2' && last < 0xA0) {
        char code[16];
        std::snprintf(code, sizeof code, "\\u%04x", unsigned{last});
        show(code);
      } else {
        if (character == "\"" || character == "\\") show("\\");
        show(character);
      }
    }
    show("\"");
    if (at < whole.size()) more(whole.size() - at, " bytes");
  }

  void value(const ConstIterator& at, std::string_view structure, unsigned field) {
    switch (at.type()) {
      case Message::STRUCTURE:
      case Message::DICTIONARY_ENTRY:
        return members(at.begin(), at.signatureView());
      case Message::ARRAY:
        return at.signatureView() == Message::BYTES ? bytes(at, structure, field) : elements(at, structure, field);
      case Message::VARIANT:
        show("<");
        value(at.begin(), structure, field);
        return show(">");
      case 's':
      case 'o':
      case 'g':
        return text(at.getText());
      case 'b': {
        bool yes = false;
        at.get(yes);
        return show(yes ? "true" : "false");
      }
      case 'y':
        return number<std::uint8_t>(at);
      case 'n':
        return number<std::int16_t>(at);
      case 'q':
        return number<std::uint16_t>(at);
      case 'i':
        return number<std::int32_t>(at);
      case 'u':
        return number<std::uint32_t>(at);
      case 'x':
        return number<std::int64_t>(at);
      case 't':
        return number<std::uint64_t>(at);
      case 'd':
        return number<double>(at);
      default:
        return show("?");
    }
  }

  const Any& message_;
  std::string* const shown_;
  std::uint8_t* const cleared_;
  const Trace::Redactor redactor_;
};

}  // namespace

Trace::~Trace() = default;

void Trace::set(Shared::Pointer<Trace> trace) {
  Current& state = current();
  MutexLock lock(state.mutex);
  state.trace.swap(trace);
  // The former trace goes with the caller's reference, when the mutex is free.
}

void Trace::setRedactor(Redactor chosen) noexcept { redactor.store(chosen, std::memory_order_release); }

std::string Trace::describe(Direction direction, const Any& message) {
  std::string line = direction == Direction::OUT ? "-> " : "<- ";
  const char* const type = nameOf(message.getType());
  line += type ? type : "unknown";
  line += " #" + std::to_string(message.getSerial());
  if (message.getReplySerial()) line += " of #" + std::to_string(message.getReplySerial());
  const auto add = [&](const char* before, const char* text) {
    if (*text) line.append(before).append(text);
  };
  add(" from ", message.getSender());
  add(" to ", message.getDestination());
  add(" ", message.getPath());
  add(" ", message.getInterface());
  add(*message.getInterface() ? "." : " ", message.getMember());
  add(" ", message.getErrorName());
  if (!*message.getMember() && !*message.getErrorName()) line += ' ';
  Walk(message, &line, nullptr).arguments();
  return line;
}

std::vector<std::uint8_t> Trace::withoutSecrets(const Any& message) {
  const auto bytes = message.getBytes();
  std::vector<std::uint8_t> cleared(bytes.begin(), bytes.end());
  Walk(message, nullptr, cleared.data()).arguments();
  return cleared;
}

Shared::Pointer<Trace> Internal::currentTrace() {
  Current& state = current();
  MutexLock lock(state.mutex);
  return state.trace;
}

bool Internal::isTraced() {
  Current& state = current();
  MutexLock lock(state.mutex);
  return static_cast<bool>(state.trace);
}

}  // namespace Quarnix::Bus
