// Rows made from the JSON form, so that both show the same.
#include <tools/NodeText.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <set>

#include <stack/forms/NodeForm.h>
#include <stack/forms/Printable.h>

namespace Quarnix::Hevra::Tools {

namespace {

constexpr const char* TITLES = "%-10s  %-10s  %-5s  %-6s  %-5s  %s";

template <class... Cells>
std::string fill(const char* format, const Cells&... cells) {
  char row[160];
  const int length = std::snprintf(row, sizeof row, format, cells...);
  return std::string(row, std::min(static_cast<std::size_t>(length), sizeof row - 1));
}

std::string hexadecimal(std::uint32_t number) { return fill("0x%x", static_cast<unsigned>(number)); }

bool isNothing(const nlohmann::ordered_json& value) {
  if (value.is_string()) return value.get_ref<const std::string&>().find_first_not_of('0') == std::string::npos;
  return value == 0 || value == false;
}

}  // namespace

std::string nodeTitles() { return fill(TITLES, "KIND", "ADDRESS", "CLASS", "TYPE", "STATE", "DETAILS"); }

std::string nodeRow(const Node& node, bool showKeys) {
  const nlohmann::ordered_json form = Stack::Forms::writeNode(node);
  const bool masked = !showKeys && form.contains("key");
  const std::set<std::string> inColumns = {"kind", "address", "nodeClass", "nodeType", "state"};
  const std::set<std::string> secrets = {"thirdIdentity", "key", "oldKey"};
  std::string details;
  for (const auto& [key, value] : form.items()) {
    if (inColumns.contains(key) || isNothing(value)) continue;
    const bool secret = masked && secrets.contains(key);
    const std::string text = key == "backboneAddress"              ? hexadecimal(node.getBackboneAddress())
                             : key != "label" && value.is_string() ? value.get<std::string>()
                                                                   : value.dump();
    details += (details.empty() ? "" : " ") + key + "=" + (secret ? "********" : Stack::Forms::printable(text));
  }
  std::string row =
      fill(TITLES, form["kind"].get_ref<const std::string&>().c_str(), hexadecimal(node.getAddress()).c_str(),
           form["nodeClass"].dump().c_str(), hexadecimal(node.getNodeType()).c_str(), form["state"].dump().c_str(), "");
  row += details;
  row.erase(row.find_last_not_of(' ') + 1);
  return row;
}

}  // namespace Quarnix::Hevra::Tools
