// Makes the texts from a node's JSON, so that both show the same.
#include <tools/NodeText.h>

#include <cinttypes>
#include <cstdio>
#include <set>

#include <json/NodeForm.h>

namespace Quarnix::Hevra::Tools {

namespace {

bool isNothing(const nlohmann::ordered_json& value) {
  if (value.is_string()) return value.get_ref<const std::string&>().find_first_not_of('0') == std::string::npos;
  return value == 0 || value == false;
}

}  // namespace

std::string hexadecimal(std::uint64_t number) {
  char digits[19];
  const int length = std::snprintf(digits, sizeof digits, "0x%" PRIx64, number);
  return std::string(digits, static_cast<std::size_t>(length));
}

std::string kindOf(const Node& node) { return Json::writeNode(node)["kind"].get<std::string>(); }

std::string detailsOf(const Node& node, bool showKeys) {
  const nlohmann::ordered_json form = Json::writeNode(node);
  const bool masked = !showKeys && form.contains("key");
  const std::set<std::string> inColumns = {"kind", "address", "nodeClass", "nodeType", "state"};
  const std::set<std::string> secrets = {"thirdIdentity", "key", "oldKey"};
  std::string label;
  std::string numbers;
  std::string blocks;
  for (const auto& [key, value] : form.items()) {
    if (inColumns.contains(key) || isNothing(value)) continue;
    const bool block = key != "label" && value.is_string();
    const std::string text = masked && secrets.contains(key) ? "********"
                             : key == "backboneAddress"      ? hexadecimal(node.getBackboneAddress())
                             : block                         ? value.get<std::string>()
                                                             : value.dump();
    (key == "label" ? label : block ? blocks : numbers) += ' ' + key + '=' + text;
  }
  const std::string all = label + numbers + blocks;
  return all.empty() ? all : all.substr(1);
}

}  // namespace Quarnix::Hevra::Tools
