// hevractl watch: prints what the stack service announces until it is interrupted.
#include <string>
#include <utility>

#include <cli/Table.h>
#include <json/NodeForm.h>
#include <proxy/command/Manager.h>
#include <proxy/node/Manager.h>
#include <tools/Commands.h>
#include <tools/NodeText.h>

namespace Quarnix::Hevra::Tools {

using Cli::Cell;
using Cli::GREEN;
using Cli::RED;
using Cli::Table;
using Cli::Terminal;
using Cli::YELLOW;

namespace {

/// Prints one line at a time below the titles of the columns.
class Printer {
 public:
  explicit Printer(const Context& context) : context_(context) {}

  void begin() { context_.print({{"event", "ready"}}, "Watching; interrupt to end.\n" + table_.titles()); }

  void print(const nlohmann::ordered_json& value, const Table::Row& row) { context_.print(value, table_.line(row)); }
  void resize() { table_.setTerminal(Terminal::ofOutput()); }
  bool isKeyShown() const noexcept { return context_.showKeys; }

 private:
  const Context& context_;
  // The columns are wide enough for all that may come.
  Table table_{Terminal::ofOutput(),
               {{"EVENT", 9}, {"ACTION", 8}, {"KIND", 10}, {"ADDRESS", 10}, {"STATE", 5}, {"DETAILS"}}};
};

Cell cellOf(NodeAction action) {
  static const Cell CELLS[] = {{"added", GREEN}, {"modified"}, {"removed", RED}};
  const auto number = static_cast<std::uint32_t>(action);
  return number < std::size(CELLS) ? CELLS[number]
                                   : Cell("action " + std::to_string(static_cast<std::int32_t>(action)));
}

Table::Row rowOf(const char* event, NodeAction action, const Node& node, const std::string& details) {
  return {{event}, cellOf(action), kindOf(node), hexadecimal(node.getAddress()), std::to_string(node.getState()),
          details};
}

std::string describe(const NodeLink& link) {
  return nlohmann::json(link.getLinkId()).dump() + " type " +
         std::to_string(static_cast<std::int32_t>(link.getLinkType())) + " to " + hexadecimal(link.getStackAddress());
}

class NodeWatcher : public Proxy::Node::Manager {
 public:
  NodeWatcher(bool zuv, Printer& printer) : Manager(zuv), printer_(printer) {}
  ~NodeWatcher() override { stop(); }

  void modified(const Node& node, NodeAction action) override {
    printer_.print(
        {{"event", "modified"}, {"action", static_cast<std::int32_t>(action)}, {"node", Json::writeNode(node)}},
        rowOf("node", action, node, detailsOf(node, printer_.isKeyShown())));
  }
  void linkModified(const Node& node, const NodeLink& link, NodeAction action) override {
    printer_.print({{"event", "linkModified"},
                    {"action", static_cast<std::int32_t>(action)},
                    {"node", Json::writeNode(node)},
                    {"link", Json::writeLink(link)}},
                   rowOf("link", action, node, describe(link) + "  " + detailsOf(node, printer_.isKeyShown())));
  }

 private:
  Printer& printer_;
};

class ExceptionWatcher : public Proxy::Command::Manager {
 public:
  ExceptionWatcher(bool zuv, const std::string& application, Printer& printer)
      : Manager(zuv, application), printer_(printer) {}
  ~ExceptionWatcher() override { stop(); }

 protected:
  void exception(std::string message) override {
    printer_.print({{"event", "exception"}, {"message", message}}, {{"exception", YELLOW}, message});
  }

 private:
  Printer& printer_;
};

ExitStatus watch(const Context& context) {
  context.loop.takeSignals();
  context.loop.watchOutput();
  const auto connection = context.openBus();
  Printer printer(context);
  context.loop.onResize([&] { printer.resize(); });
  NodeWatcher nodes(context.isZuv(), printer);
  ExceptionWatcher exceptions(context.isZuv(), context.application, printer);
  nodes.setConnection(connection);
  exceptions.setConnection(connection);
  if (context.strict) exceptions.acceptProgressOnlyFromService();
  nodes.start(true);
  exceptions.start(true);
  printer.begin();
  context.loop.runUntilSignal();
  return ExitStatus::DONE;
}

}  // namespace

void addWatch(CLI::App& app, Context& context) {
  addCommand(app, "watch", "Prints changes of nodes and links until interrupted", "hevractl --json watch")
      .callback([&context] { context.chosen = watch; });
}

}  // namespace Quarnix::Hevra::Tools
