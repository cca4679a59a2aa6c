// Parses documents, with an eye on keys that come twice.
#include <stack/forms/Document.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include <stack/forms/Malformed.h>
#include <stack/forms/ObjectReader.h>

namespace Quarnix::Hevra::Stack::Forms {

using nlohmann::json;

namespace {

/// Follows the parser through the document and raises Malformed at a key that its object has already.
class KeyWatch {
 public:
  explicit KeyWatch(const std::string& name) : name_(name) {}

  void note(json::parse_event_t event, const json& parsed) {
    using Event = json::parse_event_t;
    switch (event) {
      case Event::object_start:
      case Event::array_start:
        enterValue();
        levels_.push_back({event == Event::array_start, 0, {}, {}});
        break;
      case Event::object_end:
      case Event::array_end:
        levels_.pop_back();
        break;
      case Event::key:
        noteKey(parsed);
        break;
      case Event::value:
        enterValue();
        break;
    }
  }

 private:
  struct Level {
    bool array;
    std::size_t elements;
    std::string key;
    std::set<std::string> keys;
  };

  void enterValue() {
    if (!levels_.empty() && levels_.back().array) ++levels_.back().elements;
  }
  void noteKey(const json& parsed) {
    Level& object = levels_.back();
    object.key = parsed.get<std::string>();
    if (object.keys.insert(object.key).second) return;
    std::string place;
    for (std::size_t i = 0; i + 1 < levels_.size(); ++i) {
      const Level& level = levels_[i];
      place += level.array ? "[" + std::to_string(level.elements - 1) + "]" : "." + level.key;
    }
    throw Malformed(place.empty() ? name_ : name_ + ": " + place, "the key " + excerptOf(parsed) + " twice",
                    "each key once");
  }

  const std::string& name_;
  std::vector<Level> levels_;
};

}  // namespace

json readDocument(std::istream& input, const std::string& name) {
  KeyWatch watch(name);
  try {
    return json::parse(input, [&](int, json::parse_event_t event, const json& parsed) {
      watch.note(event, parsed);
      return true;
    });
  } catch (const json::exception& error) {
    // "[json.exception.parse_error.101] parse error at line 1, column 2: ..."
    std::string text = error.what();
    for (const std::string_view head : {"] ", "parse error at "})
      if (const auto found = text.find(head); found != text.npos) text.erase(0, found + head.size());
    // What was read last may be a key.
    if (const auto found = text.find("; last read: '"); found != text.npos) {
      const auto rest = text.rfind("'; expected ");
      text.erase(found, rest == text.npos || rest < found ? text.npos : rest + 1 - found);
    }
    throw Malformed(name + ": " + text);
  }
}

std::ifstream openFile(const std::string& file) {
  errno = 0;
  std::ifstream input(file, std::ios::binary);
  // A folder can be opened, and says what it is when it is read.
  if (input) input.peek();
  if (errno) throw Malformed(file + ": " + std::strerror(errno));
  return input;
}

Document readFile(const std::string& file) {
  if (file == "-") return {readDocument(std::cin, "standard input"), "standard input"};
  std::ifstream input = openFile(file);
  return {readDocument(input, file), file};
}

}  // namespace Quarnix::Hevra::Stack::Forms
