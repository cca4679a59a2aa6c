// hevractl nodes: lists the nodes.
#include <algorithm>
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <cli/Table.h>
#include <json/Malformed.h>
#include <json/NodeForm.h>
#include <proxy/node/Manager.h>
#include <tools/Commands.h>
#include <tools/NodeText.h>

namespace Quarnix::Hevra::Tools {

using Cli::Table;
using Cli::Terminal;

namespace {

struct Filter {
  std::string kind;  // empty: of every kind
  std::string sort;  // the column; empty: as the service lists them
  std::optional<std::uint8_t> nodeClass;
  std::optional<std::uint16_t> nodeType;
};

using Nodes = Proxy::Node::Manager::Nodes;

Nodes query(const Context& context, const Filter& filter) {
  Proxy::Node::Manager manager(context.isZuv());
  context.connect(manager);
  return context.await<Nodes>([&](auto handler) {
    if (!filter.nodeClass) return manager.getNodesAsync(std::move(handler));
    const auto nodeClass = static_cast<NodeClass>(*filter.nodeClass);
    return filter.nodeType ? manager.getNodesAsync(nodeClass, *filter.nodeType, std::move(handler))
                           : manager.getNodesAsync(nodeClass, std::move(handler));
  });
}

constexpr struct {
  const char* column;
  bool (*isBefore)(const Node& one, const Node& other);
} ORDERS[] = {
    {"kind", [](const Node& one, const Node& other) { return kindOf(one) < kindOf(other); }},
    {"address", [](const Node& one, const Node& other) { return one.getAddress() < other.getAddress(); }},
    {"class", [](const Node& one, const Node& other) { return one.getNodeClass() < other.getNodeClass(); }},
    {"type", [](const Node& one, const Node& other) { return one.getNodeType() < other.getNodeType(); }},
    {"state", [](const Node& one, const Node& other) { return one.getState() < other.getState(); }},
};

/// Leaves the nodes of the kind, in the order that is asked for.
Nodes select(Nodes nodes, const Filter& filter) {
  if (!filter.kind.empty()) std::erase_if(nodes, [&](const auto& node) { return kindOf(*node) != filter.kind; });
  for (const auto& order : ORDERS) {
    if (filter.sort != order.column) continue;
    std::stable_sort(nodes.begin(), nodes.end(),
                     [&](const auto& one, const auto& other) { return order.isBefore(*one, *other); });
  }
  return nodes;
}

void printTable(const Nodes& nodes, bool showKeys) {
  Table table(Terminal::ofOutput(), {{"KIND"}, {"ADDRESS"}, {"CLASS"}, {"TYPE"}, {"STATE"}, {"DETAILS"}});
  std::vector<Table::Row> rows;
  for (const auto& node : nodes) {
    rows.push_back({kindOf(*node), hexadecimal(node->getAddress()), classOf(*node), hexadecimal(node->getNodeType()),
                    std::to_string(node->getState()), detailsOf(*node, showKeys)});
    table.fit(rows.back());
  }
  std::cout << table.titles() << '\n';
  for (const Table::Row& row : rows) std::cout << table.line(row) << '\n';
}

ExitStatus list(const Context& context, const Filter& filter) {
  const Nodes nodes = select(query(context, filter), filter);
  if (context.json) {
    for (const auto& node : nodes) std::cout << Json::writeNode(*node).dump() << '\n';
  } else {
    printTable(nodes, context.showKeys);
  }
  std::cout << std::flush;
  return ExitStatus::DONE;
}

}  // namespace

void addNodes(CLI::App& app, Context& context) {
  const auto filter = std::make_shared<Filter>();
  CLI::App& command = addCommand(app, "nodes", "Lists the nodes: all, of a class, of a type, of a kind",
                                 "hevractl nodes --class sensor --type 0xfc5");
  CLI::Option* nodeClass = addNamed<std::uint8_t>(
      command, context, "--class", Json::NODE_CLASSES, [filter](std::uint8_t given) { filter->nodeClass = given; },
      "actuator, sensor, stack, beacon, actuator-with-sensor, repeating-actuator or controller");
  command
      .add_option_function<std::string>(
          "--type", [filter](const std::string& text) { Cli::numberInto("--type", filter->nodeType.emplace())(text); },
          "What the nodes are within their class")
      ->type_name("N")
      ->needs(nodeClass);
  const auto addWord = [&command](const char* name, std::string& target, std::vector<std::string> words,
                                  const std::string& description) {
    std::string list;
    for (const std::string& word : words) list += (list.empty() ? "" : &word == &words.back() ? " or " : ", ") + word;
    command
        .add_option_function<std::string>(
            name,
            [name, &target, list, words = std::move(words)](const std::string& text) {
              if (std::find(words.begin(), words.end(), text) == words.end())
                throw Json::Malformed(name, "'" + text + "'", list);
              target = text;
            },
            description + list)
        ->type_name("WORD");
  };
  const auto kinds = Json::kindNames();
  addWord("--kind", filter->kind, {kinds.begin(), kinds.end()}, "");
  std::vector<std::string> columns;
  for (const auto& order : ORDERS) columns.emplace_back(order.column);
  addWord("--sort", filter->sort, std::move(columns), "By which column: ");
  command.callback(
      [&context, filter] { context.chosen = [filter](const Context& chosen) { return list(chosen, *filter); }; });
}

}  // namespace Quarnix::Hevra::Tools
