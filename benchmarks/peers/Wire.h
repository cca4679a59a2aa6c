// Writes messages byte by byte, independently of the project and of all peers, for the answers of the service and as
// input of the decoders.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include <benchmarks/peers/Records.h>

namespace Peers {

class Wire {
 public:
  void align(std::size_t to) { bytes_.append((to - bytes_.size() % to) % to, '\0'); }
  template <class T>
  void put(T value) {
    align(sizeof value);
    bytes_.append(reinterpret_cast<const char*>(&value), sizeof value);
  }
  void boolean(bool value) { put(std::uint32_t{value}); }
  void text(std::string_view value) {
    put(static_cast<std::uint32_t>(value.size()));
    bytes_.append(value).push_back('\0');
  }
  void signature(std::string_view value) {
    put(static_cast<std::uint8_t>(value.size()));
    bytes_.append(value).push_back('\0');
  }
  template <std::size_t N>
  void block(const std::array<std::uint8_t, N>& value) {
    put(std::uint32_t{N});
    bytes_.append(reinterpret_cast<const char*>(value.data()), N);
  }
  void sensor(const Sensor& node) {
    align(8);
    put(node.address), put(node.nodeClass), put(node.nodeType), put(node.manufacturer);
    block(node.first), block(node.second), block(node.third);
    put(node.stamp), put(node.state), put(node.extra), put(node.backbone);
    put(node.parameterType), put(node.minimum), put(node.maximum), put(node.scale), put(node.resolution);
    put(node.resolutionScale), put(node.mode), put(node.events), put(node.period), boolean(node.listening);
  }
  /// Writes `value` over the 32-bit number at `at`.
  void patch(std::size_t at, std::size_t value) {
    const auto narrow = static_cast<std::uint32_t>(value);
    std::memcpy(bytes_.data() + at, &narrow, sizeof narrow);
  }
  std::size_t size() const { return bytes_.size(); }
  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

/// The body of a reply that lists sensors.
inline std::string nodeList(std::uint32_t iteration, std::uint32_t count) {
  Wire body;
  body.put(std::uint32_t{0});
  body.align(8);
  const std::size_t begin = body.size();
  for (std::uint32_t i = 0; i < count; ++i) body.sensor(sensor(iteration, i));
  body.patch(0, body.size() - begin);
  return body.bytes();
}

/// The body of a signal "modified".
inline std::string modifiedBody(std::uint32_t iteration) {
  Wire body;
  body.sensor(sensor(iteration, iteration));
  body.put(std::uint8_t{1});
  return body.bytes();
}

struct Head {
  std::uint8_t type = 1;  // 1 call, 2 return, 4 signal
  std::uint32_t serial = 1, replySerial = 0;
  std::string_view path, interface, member, destination, sender, signature;
};

/// The header of a message, with the padding before the body.
inline std::string header(const Head& head, std::size_t bodySize) {
  Wire wire;
  for (const std::uint8_t byte : {std::uint8_t{'l'}, head.type, std::uint8_t{0}, std::uint8_t{1}}) wire.put(byte);
  wire.put(static_cast<std::uint32_t>(bodySize));
  wire.put(head.serial);
  wire.put(std::uint32_t{0});
  const auto field = [&wire](std::uint8_t code, char type, std::string_view value) {
    if (value.empty()) return;
    wire.align(8);
    wire.put(code);
    wire.signature({&type, 1});
    type == 'g' ? wire.signature(value) : wire.text(value);
  };
  field(1, 'o', head.path);
  field(2, 's', head.interface);
  field(3, 's', head.member);
  if (head.replySerial) {
    wire.align(8);
    wire.put(std::uint8_t{5});
    wire.signature("u");
    wire.put(head.replySerial);
  }
  field(6, 's', head.destination);
  field(7, 's', head.sender);
  field(8, 'g', head.signature);
  wire.patch(12, wire.size() - 16);
  wire.align(8);
  return wire.bytes();
}

/// A complete reply that lists sensors, as received from a bus.
inline std::string nodeReply(std::uint32_t iteration, std::uint32_t count) {
  const std::string body = nodeList(iteration, count), list = std::string("a") + SENSOR_SIGNATURE;
  const Head head{.type = 2,
                  .serial = iteration + 1,
                  .replySerial = iteration + 1,
                  .path = {},
                  .interface = {},
                  .member = {},
                  .destination = ":1.7",
                  .sender = ":1.42",
                  .signature = list};
  return header(head, body.size()) + body;
}

}  // namespace Peers
