// hevractl node: changes nodes, with a subcommand for each change.
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <variant>

#include <cli/Output.h>
#include <cli/Printable.h>
#include <json/Document.h>
#include <json/Hexadecimal.h>
#include <json/Malformed.h>
#include <json/NodeForm.h>
#include <proxy/node/Manager.h>
#include <tools/Commands.h>
#include <tools/NodeText.h>
#include <tools/Peer.h>

namespace Quarnix::Hevra::Tools {

namespace {

struct Request {
  std::uint32_t address = 0;
  std::string file;
  std::int32_t action = 0;
  std::string key;
};

constexpr std::size_t WIDEST_FIELD = sizeof "measuredValueParameterType" - 1;

ExitStatus show(const Context& context, const Request& request) {
  using Nodes = Proxy::Node::Manager::Nodes;
  Proxy::Node::Manager manager(context.isZuv());
  context.connect(manager);
  const auto nodes = context.await<Nodes>([&](auto handler) { return manager.getNodesAsync(std::move(handler)); });
  for (const auto& node : nodes) {
    if (node->getAddress() != request.address) continue;
    std::string text;
    for (const auto& [name, value] : fieldsOf(*node, context.showKeys)) {
      std::string line = name;
      line.resize(WIDEST_FIELD + 2, ' ');
      text += (text.empty() ? "" : "\n") + line + Cli::printable(value);
    }
    context.print(Json::writeNode(*node), text);
    return ExitStatus::DONE;
  }
  Cli::Output::printError("there is no node " + hexadecimal(request.address));
  return ExitStatus::NO;
}

ExitStatus set(const Context& context, const Request& request) {
  const Json::Document document = Json::readFile(request.file);
  const Stack::AnyNode node = Json::readNode(document.value, document.name);
  Proxy::Node::Manager manager(context.isZuv());
  context.connect(manager);
  const bool done = context.await<bool>([&](auto handler) {
    return manager.modifyAsync(Stack::headOf(node), static_cast<NodeAction>(request.action), std::move(handler));
  });
  context.print({{"modified", done}}, done ? "The node was modified." : "The node was not modified.");
  return done ? ExitStatus::DONE : ExitStatus::NO;
}

/// The manager ignores the error replies of some calls. Before these, at least the service must exist.
void requireService(const Context& context, const Proxy::Node::Manager& manager) {
  if (Peer(context, manager.getConnection()).ownerOf(manager.getHost()).empty()) {
    throw Bus::Message::Method::Return("org.freedesktop.DBus.Error.ServiceUnknown",
                                       "nobody owns the name " + manager.getHost());
  }
}

ExitStatus remove(const Context& context, const Request& request) {
  Proxy::Node::Manager manager(context.isZuv());
  context.connect(manager);
  requireService(context, manager);
  context.await<void>([&](auto handler) { return manager.deleteNodesAsync(request.address, std::move(handler)); });
  context.print({{"done", true}}, "The service was asked to remove the node's children.");
  return ExitStatus::DONE;
}

/// Reads a key. The errors do not repeat it.
std::vector<std::uint8_t> readKey(const std::string& argument) {
  constexpr const char* EXPECTED = "32 hexadecimal digits that are not all zero";
  using Json::Malformed;
  auto [text, where] = argument == "-" ? Json::readText(argument) : Json::Text{argument, "HEX"};
  if (argument == "-") text.erase(text.find_last_not_of("\r\n") + 1);
  const auto key = Json::bytesOf(text);
  if (text.size() != 2 * std::tuple_size_v<StackNode::Key>)
    throw Malformed(where, "a text of " + std::to_string(text.size()) + " characters", EXPECTED);
  if (!key) throw Malformed(where, "a text of other characters", EXPECTED);
  if (StackNode::isKeyEmpty(key->data())) throw Malformed(where, "an empty key", EXPECTED);
  return *key;
}

ExitStatus changeKey(const Context& context, const Request& request) {
  const std::vector<std::uint8_t> key = readKey(request.key);
  Proxy::Node::Manager manager(context.isZuv());
  context.connect(manager);
  requireService(context, manager);
  context.await<void>(
      [&](auto handler) { return manager.changeStackNodeKeyAsync(request.address, key.data(), std::move(handler)); });
  context.print({{"done", true}}, "The service was asked to change the key.");
  return ExitStatus::DONE;
}

}  // namespace

void addNode(CLI::App& app, Context& context) {
  const auto request = std::make_shared<Request>();
  CLI::App& node =
      addCommand(app, "node", "Shows and changes nodes: show, set, remove, key", "hevractl node show 0x1000");
  node.require_subcommand(1);
  const auto choose = [&context, request](ExitStatus (*run)(const Context&, const Request&)) {
    return [&context, request, run] {
      context.chosen = [request, run](const Context& chosen) { return run(chosen, *request); };
    };
  };

  CLI::App& showing = addCommand(node, "show", "Shows all fields of a node", "hevractl node show 0x1000");
  addNumber(showing, "ADDRESS", request->address, "The address of the node");
  showing.callback(choose(show));

  CLI::App& setting =
      addCommand(node, "set", "Adds, modifies or removes a node",
                 "hevractl --json nodes --class sensor | head -1 |\n         hevractl node set - --action modify");
  setting.add_option("FILE", request->file, "A node as a JSON object; - for standard input")->required()->type_name("");
  addNamed<std::int32_t>(
      setting, context, "--action", Json::NODE_ACTIONS, [request](std::int32_t action) { request->action = action; },
      "add, modify or remove")
      ->required();
  setting.callback(choose(set));

  CLI::App& removal = addCommand(node, "remove", "Removes the children of a node", "hevractl node remove 0x1000");
  addNumber(removal, "ADDRESS", request->address, "The address of the node, whose children go");
  removal.callback(choose(remove));

  CLI::App& key = addCommand(node, "key", "Changes the key of a stack node", "hevractl node key 0x1000 - <key.txt");
  addNumber(key, "ADDRESS", request->address, "The address of the stack node");
  key.add_option("HEX", request->key, "The new key, 32 hexadecimal digits; - for standard input")
      ->required()
      ->type_name("");
  key.callback(choose(changeKey));
}

}  // namespace Quarnix::Hevra::Tools
