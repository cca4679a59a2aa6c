// Chooses the marshaller of each kind from tables.
#include <stack/AnyNode.h>

#include <array>
#include <type_traits>
#include <utility>

#include <bus/RemoteActuatorNodeWrapper.h>
#include <bus/RemoteControllerNodeWrapper.h>
#include <bus/RemoteSensorNodeWrapper.h>
#include <bus/StackNodeWrapper.h>

namespace Quarnix::Hevra::Stack {

namespace {

template <std::size_t K>
AnyNode readKind(Bus::Message::ConstIterator& iterator) {
  using Kind = std::variant_alternative_t<K, AnyNode>;
  AnyNode node(std::in_place_index<K>);
  Bus::Type::StructWrapper<Kind>().deserialize(iterator, std::get<K>(node));
  return node;
}

template <std::size_t... K>
std::array<std::string, KINDS> signatures(std::index_sequence<K...>) {
  return {Bus::Type::StructWrapper<std::variant_alternative_t<K, AnyNode>>().signature()...};
}

}  // namespace

std::optional<std::size_t> kindOf(NodeClass nodeClass) noexcept {
  switch (nodeClass) {
    case NodeClass::ACTUATOR:
    case NodeClass::ACTUATOR_WITH_SENSOR:
    case NodeClass::REPEATING_ACTUATOR:
      return 0;
    case NodeClass::SENSOR:
      return 1;
    case NodeClass::STACK:
      return 2;
    case NodeClass::CONTROLLER:
      return 3;
    default:
      return std::nullopt;
  }
}

const std::string& signatureOf(std::size_t kind) {
  static const auto SIGNATURES = signatures(std::make_index_sequence<KINDS>());
  return SIGNATURES.at(kind);
}

void append(Bus::Message::Iterator& iterator, const AnyNode& node) {
  std::visit(
      [&](const auto& kind) { Bus::Type::StructWrapper<std::decay_t<decltype(kind)>>().serialize(iterator, kind); },
      node);
}

AnyNode read(Bus::Message::ConstIterator& iterator, std::size_t kind) {
  static constexpr std::array READ = {readKind<0>, readKind<1>, readKind<2>, readKind<3>};
  return READ.at(kind)(iterator);
}

}  // namespace Quarnix::Hevra::Stack
