// Makes the texts from a node's JSON, so that both show the same.
#include <tools/NodeText.h>

#include <cinttypes>
#include <cstdio>
#include <set>

#include <json/Names.h>
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

std::string classOf(const Node& node) {
  return Json::nameOf(Json::NODE_CLASSES, static_cast<std::int64_t>(node.getNodeClass()));
}

std::vector<std::pair<std::string, std::string>> fieldsOf(const Node& node, bool showKeys) {
  const nlohmann::ordered_json form = Json::writeNode(node);
  const bool masked = !showKeys && form.contains("key");
  const std::set<std::string> addresses = {"address", "nodeType", "backboneAddress"};
  const std::set<std::string> secrets = {"thirdIdentity", "key", "oldKey"};
  std::vector<std::pair<std::string, std::string>> fields;
  for (const auto& [key, value] : form.items()) {
    fields.emplace_back(key, masked && secrets.contains(key)       ? "********"
                             : addresses.contains(key)             ? hexadecimal(value.get<std::uint64_t>())
                             : key == "nodeClass"                  ? classOf(node)
                             : key != "label" && value.is_string() ? value.get<std::string>()
                                                                   : value.dump());
  }
  return fields;
}

std::string detailsOf(const Node& node, bool showKeys) {
  const nlohmann::ordered_json form = Json::writeNode(node);
  const std::set<std::string> inColumns = {"kind", "address", "nodeClass", "nodeType", "state"};
  std::string label;
  std::string numbers;
  std::string blocks;
  for (const auto& [key, text] : fieldsOf(node, showKeys)) {
    const auto& value = form[key];
    if (inColumns.contains(key) || isNothing(value)) continue;
    const bool block = key != "label" && value.is_string();
    (key == "label" ? label : block ? blocks : numbers) += ' ' + key + '=' + text;
  }
  const std::string all = label + numbers + blocks;
  return all.empty() ? all : all.substr(1);
}

}  // namespace Quarnix::Hevra::Tools
