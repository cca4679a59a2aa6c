// Reads whole files, and builds documents while the parser reports what it finds.
#include <json/Document.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include <json/Malformed.h>
#include <json/ObjectReader.h>
#include <platform/core/log/internal/Character.h>

namespace Quarnix::Hevra::Json {

using nlohmann::json;

namespace {

/// Builds the document from the parser's events. Its errors do not repeat the parser's own texts: those change between
/// versions and may contain a key.
class Builder : public json::json_sax_t {
 public:
  Builder(std::string_view text, const std::string& name) : text_(text), name_(name) {
    // The parser would take a NUL for the end of the text.
    if (const auto found = text.find('\0'); found != text.npos) refuse(found);
  }

  /// Adds the one value in the text between the two offsets.
  void parse(std::size_t begin, std::size_t end) {
    begin_ = begin;
    json::sax_parse(text_.substr(begin, end - begin), this);
  }
  /// From now on, each value becomes an element of one array.
  void beginList() { enter(json::array()); }

  bool null() override { return add(nullptr); }
  bool boolean(bool value) override { return add(value); }
  bool number_integer(number_integer_t value) override { return add(value); }
  bool number_unsigned(number_unsigned_t value) override { return add(value); }
  bool number_float(number_float_t value, const string_t&) override { return add(value); }
  bool string(string_t& value) override { return add(std::move(value)); }
  bool binary(binary_t&) override { return false; }  // JSON has none
  bool start_object(std::size_t) override { return enter(json::object()); }
  bool start_array(std::size_t) override { return enter(json::array()); }
  bool end_object() override { return leave(); }
  bool end_array() override { return leave(); }

  bool key(string_t& key) override {
    json& object = *levels_.back().container;
    if (object.contains(key)) {
      levels_.pop_back();
      throw Malformed(place(), "the key " + excerptOf(key) + " twice", "each key once");
    }
    levels_.back().key = std::move(key);
    return true;
  }

  bool parse_error(std::size_t position, const std::string& token, const json::exception& error) override {
    if (dynamic_cast<const json::out_of_range*>(&error)) {
      nextPlace();
      throw Malformed(place(), token, "a number that a double holds");
    }
    // The position counts from one. It lies behind the text when more was expected.
    refuse(std::min(text_.size(), begin_ + position - std::min<std::size_t>(position, 1)));
  }

  [[noreturn]] void refuse(std::size_t offset) const {
    const std::string_view before = text_.substr(0, offset);
    const std::size_t lineBegin = before.rfind('\n') + 1;  // 0 where there is none
    const std::string where = name_ + ": line " + std::to_string(1 + std::count(before.begin(), before.end(), '\n')) +
                              ", column " + std::to_string(offset - lineBegin + 1);
    if (offset == text_.size()) throw Malformed(where, "the end", "more of a JSON text");
    const Log::Character found = Log::firstOf(text_.substr(offset));
    const std::string shown(text_.substr(offset, found.length));
    throw Malformed(where, found.isPrintable ? "'" + shown + "'" : "the byte " + std::to_string(found.code),
                    "JSON in UTF-8");
  }

  json take() { return std::move(document_); }

 private:
  struct Level {
    json* container;
    std::string key;  // in an object: of the member that is being read
  };

  /// Returns the place that the next value is stored in.
  json& nextPlace() {
    if (levels_.empty()) return document_;
    json& container = *levels_.back().container;
    return container.is_array() ? container.emplace_back() : container[levels_.back().key];
  }
  template <class Value>
  bool add(Value&& value) {
    nextPlace() = std::forward<Value>(value);
    return true;
  }
  bool enter(json&& container) {
    if (levels_.size() == MOST_LEVELS) {
      throw Malformed(name_, "arrays and objects more than " + std::to_string(MOST_LEVELS) + " deep in each other",
                      "at most so many");
    }
    json& place = nextPlace();
    place = std::move(container);
    levels_.push_back({&place, {}});
    return true;
  }
  bool leave() {
    levels_.pop_back();
    return true;
  }

  /// Returns the place of the value that was begun last.
  std::string place() const {
    std::string place;
    for (const Level& level : levels_) {
      const json& container = *level.container;
      place += container.is_array() ? "[" + std::to_string(container.size() - 1) + "]" : "." + level.key;
    }
    return place.empty() ? name_ : name_ + ": " + place;
  }

  const std::string_view text_;
  const std::string& name_;
  std::size_t begin_ = 0;  // where in the text the parser began
  json document_;
  std::vector<Level> levels_;
};

class File {
 public:
  explicit File(const std::string& name) : descriptor_(::open(name.c_str(), O_RDONLY | O_CLOEXEC)) {}
  ~File() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  int get() const noexcept { return descriptor_; }

 private:
  const int descriptor_;
};

std::string readAll(int descriptor, const std::string& name) {
  struct stat found {};
  if (descriptor < 0 || ::fstat(descriptor, &found) != 0) throw Malformed(name + ": " + std::strerror(errno));
  std::string text;
  std::vector<char> buffer(64 << 10);
  for (;;) {
    if (text.size() > MOST_BYTES || (S_ISREG(found.st_mode) && found.st_size > static_cast<off_t>(MOST_BYTES)))
      throw Malformed(name, "more than " + std::to_string(MOST_BYTES) + " bytes", "at most so many");
    const ssize_t got = ::read(descriptor, buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throw Malformed(name + ": " + std::strerror(errno));
    if (got == 0) return text;
    text.append(buffer.data(), static_cast<std::size_t>(got));
  }
}

}  // namespace

namespace {

constexpr const char* BLANKS = " \t\r\n";

/// Returns the offset behind the object that begins at `begin`; the end of the text if it does not end.
std::size_t endOfObject(std::string_view text, std::size_t begin) {
  std::size_t depth = 0;
  bool isInText = false;
  for (std::size_t at = begin; at < text.size(); ++at) {
    const char c = text[at];
    if (c == '"') isInText = !isInText;
    if (isInText && c == '\\') ++at;
    if (isInText) continue;
    if (c == '{') ++depth;
    if (c == '}' && --depth == 0) return at + 1;
  }
  return text.size();
}

/// Lets `add` add the text to a builder and returns what that has built.
template <class Add>
json build(std::string_view text, const std::string& name, const Add& add) {
  try {
    Builder builder(text, name);
    add(builder);
    return builder.take();
  } catch (const std::bad_alloc&) {
    throw Malformed(name, "more than fits into the memory", "a smaller text");
  }
}

}  // namespace

json readDocument(std::string_view text, const std::string& name) {
  return build(text, name, [&](Builder& builder) { builder.parse(0, text.size()); });
}

json readObjects(std::string_view text, const std::string& name) {
  std::size_t begin = text.find_first_not_of(BLANKS);
  if (begin == text.npos || text[begin] != '{') return readDocument(text, name);
  return build(text, name, [&](Builder& builder) {
    builder.beginList();
    for (std::size_t end = 0; begin != text.npos; begin = text.find_first_not_of(BLANKS, end)) {
      end = text[begin] == '{' ? endOfObject(text, begin) : text.size();
      builder.parse(begin, end);
    }
  });
}

Text readText(const std::string& file) {
  const std::string name = file == "-" ? "standard input" : file;
  try {
    if (file == "-") return {readAll(STDIN_FILENO, name), name};
    const File opened(file);
    return {readAll(opened.get(), name), name};
  } catch (const std::bad_alloc&) {
    throw Malformed(name, "more than fits into the memory", "a smaller file");
  }
}

Document readFile(const std::string& file) {
  const Text text = readText(file);
  return {readDocument(text.text, text.name), text.name};
}

Document readObjectFile(const std::string& file) {
  const Text text = readText(file);
  return {readObjects(text.text, text.name), text.name};
}

}  // namespace Quarnix::Hevra::Json
