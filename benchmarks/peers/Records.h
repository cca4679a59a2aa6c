// The records that every peer writes and reads. Their values differ between records and between iterations.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
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
constexpr const char* ADD_SIGNATURE = "(o)(s)a(utbuviiyisusuyy)";
constexpr const char* COMMAND_SIGNATURE = "(utbuviiyisusuyy)";
constexpr const char* SENSOR_SIGNATURE = "(uyqyayayaytyuuyqqyyyyyqb)";
constexpr const char* MODIFIED_RULE =
    "type='signal',sender='com.quarnix.Application.Hevra',path='/com/quarnix/Application/Hevra/Manager/Node',"
    "interface='com.quarnix.Application.Hevra.Manager.Node',member='modified'";

/// A command; its value is always a "u".
struct Command {
  std::uint32_t id;
  std::uint64_t parameterId;
  bool write;
  std::uint32_t address, value;
  std::int32_t origin, context;
  std::uint8_t errorType;
  std::int32_t errorId;
  std::string errorText;
  std::uint32_t delay;
  std::string label;
  std::uint32_t tag;
  std::uint8_t status, acei;
};

/// The arguments of one "add": the group's identifier and the commands.
struct Commands {
  std::string group;
  std::vector<Command> list;
};

inline Commands commands(std::uint32_t iteration, std::uint32_t count) {
  Commands made{"g" + std::to_string(iteration), {}};
  made.list.reserve(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint32_t mixed = iteration * 2654435761u + i;
    const auto errorType = static_cast<std::uint8_t>(mixed % 3);
    const auto errorId = static_cast<std::int32_t>(mixed % 50);
    made.list.push_back({i, 0x100000001u + std::uint64_t{mixed}, mixed % 2 == 0, 0x123456 + i, mixed,
                         static_cast<std::int32_t>(mixed), static_cast<std::int32_t>(i % 7), errorType, errorId,
                         std::to_string(errorType) + "/" + std::to_string(errorId), mixed % 4,
                         "lamp " + std::to_string(mixed % 100000) + " in the hall", mixed, 0, 0xE3});
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
