// hevractl nodes: lists the nodes.
#include <iostream>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include <cli/Table.h>
#include <json/NodeForm.h>
#include <proxy/node/Manager.h>
#include <tools/Commands.h>
#include <tools/NodeText.h>

namespace Quarnix::Hevra::Tools {

using Cli::Table;
using Cli::Terminal;

namespace {

struct Filter {
  std::optional<std::uint8_t> nodeClass;
  std::optional<std::uint16_t> nodeType;
};

using Nodes = Proxy::Node::Manager::Nodes;

Nodes query(const Context& context, const Filter& filter) {
  Proxy::Node::Manager manager(context.isZuv());
  manager.setConnection(context.openBus());
  return context.await<Nodes>([&](auto handler) {
    if (!filter.nodeClass) return manager.getNodesAsync(std::move(handler));
    const auto nodeClass = static_cast<NodeClass>(*filter.nodeClass);
    return filter.nodeType ? manager.getNodesAsync(nodeClass, *filter.nodeType, std::move(handler))
                           : manager.getNodesAsync(nodeClass, std::move(handler));
  });
}

void printTable(const Nodes& nodes, bool showKeys) {
  Table table(Terminal::ofOutput(), {{"KIND"}, {"ADDRESS"}, {"CLASS"}, {"TYPE"}, {"STATE"}, {"DETAILS"}});
  std::vector<Table::Row> rows;
  for (const auto& node : nodes) {
    rows.push_back({kindOf(*node), hexadecimal(node->getAddress()),
                    std::to_string(static_cast<std::uint32_t>(node->getNodeClass())), hexadecimal(node->getNodeType()),
                    std::to_string(node->getState()), detailsOf(*node, showKeys)});
    table.fit(rows.back());
  }
  std::cout << table.titles() << '\n';
  for (const Table::Row& row : rows) std::cout << table.line(row) << '\n';
}

ExitStatus list(const Context& context, const Filter& filter) {
  const Nodes nodes = query(context, filter);
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
  CLI::App& command = addCommand(app, "nodes", "Lists the nodes: all, of a class, or of a class and type",
                                 "hevractl nodes --class 1 --type 0xfc5");
  const auto addFilter = [&command](const char* name, auto& target, const char* description) {
    return command
        .add_option_function<std::string>(
            name, [name, &target](const std::string& text) { Cli::numberInto(name, target.emplace())(text); },
            description)
        ->type_name("N");
  };
  CLI::Option* nodeClass = addFilter("--class", filter->nodeClass,
                                     "0, 4, 5 actuators, 1 sensors, 2 the stack node, 3 beacons, 6 controllers");
  addFilter("--type", filter->nodeType, "What the nodes are within their class")->needs(nodeClass);
  command.callback(
      [&context, filter] { context.chosen = [filter](const Context& chosen) { return list(chosen, *filter); }; });
}

}  // namespace Quarnix::Hevra::Tools
