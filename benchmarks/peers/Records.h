// The records that every peer writes and reads. Their values differ between records and between iterations.
#pragma once

#include <array>
#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace Peers {

constexpr const char* HOST = "com.quarnix.Application.Hevra";
constexpr const char* COMMAND_PATH = "/com/quarnix/Application/HevraZuv/Manager/Command";
constexpr const char* COMMAND_INTERFACE = "com.quarnix.Application.Hevra.Manager.Command";
constexpr const char* NODE_PATH = "/com/quarnix/Application/Hevra/Manager/Node";
constexpr const char* NODE_INTERFACE = "com.quarnix.Application.Hevra.Manager.Node";
constexpr const char* BOARD_PATH = "/com/quarnix/Application/HevraZuv/Manager/DaughterBoard";
constexpr const char* BOARD_INTERFACE = "com.quarnix.Application.Hevra.Manager.DaughterBoard";
constexpr const char* ORIGINATOR_PATH = "/com/quarnix/Application/bench/Hevra/Originator";
constexpr const char* REPORT_INTERFACE = "com.quarnix.Application.HevraZuv.Originator.Command";
constexpr const char* ADD_SIGNATURE = "(o)(s)a(utbuviiyisusuyy)";
constexpr const char* COMMAND_SIGNATURE = "(utbuviiyisusuyy)";
constexpr const char* REPORT_SIGNATURE = "(utbuviiyisusuyy)(s)i";
constexpr const char* SENSOR_SIGNATURE = "(uyqyayayaytyuuyqqyyyyyqb)";
constexpr const char* NODES_SIGNATURE = "a(uyqyayayaytyuuyqqyyyyyqb)";
constexpr const char* MODIFIED_SIGNATURE = "(uyqyayayaytyuuyqqyyyyyqb)y";
constexpr const char* MODIFIED_RULE =
    "type='signal',sender='com.quarnix.Application.Hevra',path='/com/quarnix/Application/Hevra/Manager/Node',"
    "interface='com.quarnix.Application.Hevra.Manager.Node',member='modified'";

using Bytes = std::vector<std::uint8_t>;

/// A command's value. Empty bytes stand for no value too.
using Value = std::variant<std::uint32_t, Bytes, std::uint8_t, std::uint16_t, std::int16_t, std::int32_t, std::uint64_t,
                           std::int64_t, std::string, double, bool>;
constexpr std::uint32_t VALUE_KINDS = std::variant_size_v<Value> + 1;  // the last kind is no value

/// The signature of a value, by its index.
constexpr const char* VALUE_SIGNATURES[] = {"u", "ay", "y", "q", "n", "i", "t", "x", "s", "d", "b"};
static_assert(std::size(VALUE_SIGNATURES) == std::variant_size_v<Value>);

struct Command {
  std::uint32_t id;
  std::uint64_t parameterId;
  bool write;
  std::uint32_t address;
  Value value;
  std::int32_t origin, context;
  std::uint8_t errorType;
  std::int32_t errorId;
  std::string errorText;  // as it travels: the code and, if there are details, ": " and the details
  std::uint32_t delay;
  std::string label;
  std::uint32_t tag;
  std::uint8_t status, acei;

  bool operator==(const Command&) const = default;
};

/// What an application gives of the error: nothing, or the details behind the code.
inline std::string_view errorDetails(const Command& command) {
  const std::string_view text = command.errorText;
  const std::size_t end = text.find(": ");
  return end == text.npos ? std::string_view() : text.substr(end + 2);
}

/// The arguments of one "add": the group's identifier and the commands.
struct Commands {
  std::string group;
  std::vector<Command> list;
};

/// Which commands have details of their error.
enum class Errors { HALF, NONE, ALL };
/// The labels' lengths. A std::string keeps a short one inside the object.
enum class Labels { USUAL, SHORT, LONG };
struct Mixture {
  Errors errors = Errors::HALF;
  Labels labels = Labels::USUAL;
  std::optional<std::uint32_t> kind = {};  // of the value; without one, all kinds in turn
};

inline Value valueOf(std::uint32_t kind, std::uint32_t mixed) {
  const std::string text = "scene " + std::to_string(mixed % 1000) + " of the evening";
  switch (kind) {
    case 0:
      return mixed;
    case 1:
      return Bytes(text.begin(), text.begin() + 1 + mixed % 16);
    case 2:
      return static_cast<std::uint8_t>(mixed);
    case 3:
      return static_cast<std::uint16_t>(mixed);
    case 4:
      return static_cast<std::int16_t>(mixed);
    case 5:
      return static_cast<std::int32_t>(mixed);
    case 6:
      return mixed * std::uint64_t{4294967311};
    case 7:
      return static_cast<std::int64_t>(mixed * std::uint64_t{4294967311});
    case 8:
      return text;
    case 9:
      return mixed / 8.0;
    case 10:
      return mixed % 3 == 0;
    default:
      return Bytes();
  }
}

inline std::string labelOf(Labels length, std::uint32_t mixed) {
  const std::string number = std::to_string(mixed % 100000);
  switch (length) {
    case Labels::USUAL:
      return "lamp " + number + " in the hall";
    case Labels::SHORT:
      return "lamp " + number;
    case Labels::LONG:
      break;
  }
  return "lamp " + number +
         " above the table beside the window of the room behind the hall on the second floor of the "
         "house at the end of the road";
}

inline Commands commands(std::uint32_t iteration, std::uint32_t count, const Mixture& mixture = {}) {
  Commands made{"g" + std::to_string(iteration), {}};
  made.list.reserve(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint32_t mixed = iteration * 2654435761u + i, turn = iteration + i;
    const auto errorType = static_cast<std::uint8_t>(mixed % 3);
    const auto errorId = static_cast<std::int32_t>(mixed % 50);
    std::string errorText = std::to_string(errorType) + "/" + std::to_string(errorId);
    // Of each kind of value, every other command.
    if (mixture.errors == Errors::ALL || (mixture.errors == Errors::HALF && turn / VALUE_KINDS % 2))
      errorText += ": no answer from node " + std::to_string(mixed % 1000);
    made.list.push_back({i, 0x100000001u + std::uint64_t{mixed}, mixed % 2 == 0, 0x123456 + i,
                         valueOf(mixture.kind.value_or(turn % VALUE_KINDS), mixed), static_cast<std::int32_t>(mixed),
                         static_cast<std::int32_t>(i % 7), errorType, errorId, std::move(errorText), mixed % 4,
                         labelOf(mixture.labels, mixed), mixed, 0, 0xE3});
  }
  return made;
}

struct Sensor {
  std::uint32_t address;
  std::uint8_t nodeClass;
  std::uint16_t nodeType;
  std::uint8_t manufacturer;
  std::array<std::uint8_t, 14> first;
  std::array<std::uint8_t, 16> second, third;
  std::uint64_t stamp;
  std::uint8_t state;
  std::uint32_t extra, backbone;
  std::uint8_t parameterType;
  std::uint16_t minimum, maximum;
  std::uint8_t scale, resolution, resolutionScale, mode, events;
  std::uint16_t period;
  bool listening;

  bool operator==(const Sensor&) const = default;
};

inline Sensor sensor(std::uint32_t iteration, std::uint32_t i) {
  const std::uint32_t mixed = iteration * 2654435761u + i;
  Sensor made{};
  made.address = i;
  made.nodeClass = 1;
  made.nodeType = static_cast<std::uint16_t>(mixed);
  made.manufacturer = 5;
  for (std::uint8_t k = 0; k < 14; ++k) made.first[k] = static_cast<std::uint8_t>(mixed + k);
  for (std::uint8_t k = 0; k < 16; ++k) made.second[k] = made.third[15u - k] = static_cast<std::uint8_t>(mixed * 3 + k);
  made.stamp = (std::uint64_t{iteration} << 32) + i;
  made.state = mixed & 1;
  made.extra = mixed;
  made.backbone = iteration;
  made.parameterType = mixed & 0x7F;
  made.minimum = static_cast<std::uint16_t>(mixed % 100);
  made.maximum = static_cast<std::uint16_t>(1000 + mixed % 100);
  made.scale = 1;
  made.resolution = 2;
  made.resolutionScale = 3;
  made.mode = mixed & 3;
  made.events = 9;
  made.period = static_cast<std::uint16_t>(mixed >> 8);
  made.listening = mixed & 2;
  return made;
}

/// Nodes as an application stores them: separate objects, because a list may have all four kinds.
using Sensors = std::vector<std::unique_ptr<Sensor>>;

}  // namespace Peers
