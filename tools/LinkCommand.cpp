// hevractl link: changes links between nodes and looks them up, with a subcommand for each.
#include <memory>
#include <string>
#include <utility>

#include <cli/Printable.h>
#include <proxy/node/Manager.h>
#include <tools/Commands.h>

namespace Quarnix::Hevra::Tools {

namespace {

struct Request {
  std::uint32_t node = 0;
  std::uint32_t stack = 0;
  std::string id;
  std::int32_t type = 0;
  std::int32_t action = 0;
};

ExitStatus set(const Context& context, const Request& request) {
  NodeLink link;
  link.setNodeAddress(request.node);
  link.setStackAddress(request.stack);
  link.setLinkId(request.id);
  link.setLinkType(static_cast<NodeLinkType>(request.type));
  Proxy::Node::Manager manager(context.isZuv());
  context.connect(manager);
  const bool done = context.await<bool>([&](auto handler) {
    return manager.modifyAsync(link, static_cast<NodeAction>(request.action), std::move(handler));
  });
  context.print({{"modified", done}}, done ? "The link was modified." : "The link was not modified.");
  return done ? ExitStatus::DONE : ExitStatus::NO;
}

ExitStatus lookUp(const Context& context, const Request& request) {
  Proxy::Node::Manager manager(context.isZuv());
  context.connect(manager);
  const std::string id = context.await<std::string>([&](auto handler) {
    return manager.getNodeLinkIdAsync(request.node, static_cast<NodeLinkType>(request.type), std::move(handler));
  });
  context.print({{"linkId", id}}, id.empty() ? "The node has no such link." : Cli::printable(id));
  return id.empty() ? ExitStatus::NO : ExitStatus::DONE;
}

}  // namespace

void addLink(CLI::App& app, Context& context) {
  constexpr const char* TYPES = "The type of the link: control, sense, relay or unknown";
  const auto request = std::make_shared<Request>();
  CLI::App& link =
      addCommand(app, "link", "Changes links and looks them up: set, id", "hevractl link id 0x123456 --type control");
  link.require_subcommand(1);
  const auto choose = [&context, request](ExitStatus (*run)(const Context&, const Request&)) {
    return [&context, request, run] {
      context.chosen = [request, run](const Context& chosen) { return run(chosen, *request); };
    };
  };

  CLI::App& setting =
      addCommand(link, "set", "Adds, modifies or removes a link",
                 "hevractl link set --node 0x123456 --stack 0x1000 --id hall \\\n         --type control --action add");
  addNumber(setting, "--node", request->node, "The address of the node");
  addNumber(setting, "--stack", request->stack, "The address of the stack node");
  setting.add_option("--id", request->id, "The link's identifier")->required()->type_name("TEXT");
  const auto addType = [&](CLI::App& command) {
    addNamed<std::int32_t>(
        command, context, "--type", Json::LINK_TYPES, [request](std::int32_t type) { request->type = type; }, TYPES)
        ->required();
  };
  addType(setting);
  addNamed<std::int32_t>(
      setting, context, "--action", Json::NODE_ACTIONS, [request](std::int32_t action) { request->action = action; },
      "add, modify or remove")
      ->required();
  setting.callback(choose(set));

  CLI::App& id = addCommand(link, "id", "Looks up a link's identifier", "hevractl link id 0x123456 --type control");
  addNumber(id, "ADDRESS", request->node, "The address of the node");
  addType(id);
  id.callback(choose(lookUp));
}

}  // namespace Quarnix::Hevra::Tools
