// hevractl watch: prints what the stack service announces, and when the service and the bus come and go.
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <cli/Number.h>
#include <cli/Output.h>
#include <cli/Table.h>
#include <cli/TimeOfDay.h>
#include <json/Malformed.h>
#include <json/Names.h>
#include <json/NodeForm.h>
#include <platform/bus/ConnectionObserver.h>
#include <platform/core/time/Clock.h>
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

enum class Times { DEFAULT, NONE, ABSOLUTE, RELATIVE };
constexpr struct {
  const char* word;
  Times times;
} TIMES[] = {{"absolute", Times::ABSOLUTE}, {"relative", Times::RELATIVE}, {"none", Times::NONE}};

struct Request {
  Times times = Times::DEFAULT;
  std::optional<std::uint32_t> count;
  std::optional<Time::Elapsed> duration;
};

/// Prints one line at a time below the titles of the columns, until there were as many announcements as are asked for.
class Printer {
 public:
  Printer(const Context& context, const Request& request)
      : context_(context),
        times_(request.times != Times::DEFAULT ? request.times
               : context.json                  ? Times::NONE
                                               : Times::ABSOLUTE),
        left_(request.count),
        // The columns are wide enough for all that may come.
        table_(Terminal::ofOutput(), columns()) {}

  void begin() {
    began_ = Time::Clock::get().now();
    context_.print({{"event", "ready"}}, "Watching; interrupt to end.\n" + table_.titles());
  }

  void print(const nlohmann::ordered_json& value, const Table::Row& row) {
    if (isOver()) return;
    nlohmann::ordered_json timed = nlohmann::ordered_json::object();
    Table::Row timedRow;
    stamp(timed, timedRow);
    timed.update(value);
    timedRow.insert(timedRow.end(), row.begin(), row.end());
    context_.print(timed, table_.line(timedRow));
  }
  /// Prints what the service has announced.
  void announce(const nlohmann::ordered_json& value, const Table::Row& row) {
    print(value, row);
    if (left_ && *left_ > 0) --*left_;
    if (isOver()) context_.loop.wake();
  }

  bool isOver() const noexcept { return left_ == 0U; }
  void resize() { table_.setTerminal(Terminal::ofOutput()); }
  bool isKeyShown() const noexcept { return context_.showKeys; }

 private:
  static constexpr std::size_t WIDEST_TIME = sizeof "2026-11-22 14:05:09.123" - 1;
  bool hasDate() const noexcept { return Terminal::ofOutput().columns == 0; }
  std::vector<Table::Column> columns() const {
    std::vector<Table::Column> columns = {{"EVENT", 9},    {"ACTION", 8}, {"KIND", 10},
                                          {"ADDRESS", 10}, {"STATE", 5},  {"DETAILS"}};
    if (times_ != Times::NONE)
      columns.insert(columns.begin(), {"TIME", times_ == Times::ABSOLUTE && hasDate() ? WIDEST_TIME : 12});
    return columns;
  }
  /// Adds the time to a line.
  void stamp(nlohmann::ordered_json& value, Table::Row& row) const {
    if (times_ == Times::RELATIVE) {
      const Time::Elapsed since = Time::Clock::get().now() - began_;
      const auto milliseconds = since.getNanoseconds() / 1'000'000;
      value["time"] = static_cast<double>(milliseconds) / 1e3;
      char text[32];
      std::snprintf(text, sizeof text, "%8lld.%03d", static_cast<long long>(milliseconds / 1000),
                    static_cast<int>(milliseconds % 1000));
      row.emplace_back(text);
    }
    if (times_ != Times::ABSOLUTE) return;
    const Cli::TimeOfDay now = Cli::TimeOfDay::now();
    value["time"] = now.sinceEpoch();
    row.emplace_back(now.local(hasDate()));
  }

  const Context& context_;
  const Times times_;
  std::optional<std::uint32_t> left_;  // announcements to be printed
  Table table_;
  Time::Monotonic began_;
};

Cell cellOf(NodeAction action) {
  const auto number = static_cast<std::int32_t>(action);
  return {Json::nameOf(Json::NODE_ACTIONS, number), action == NodeAction::ADDED     ? GREEN
                                                    : action == NodeAction::REMOVED ? RED
                                                                                    : ""};
}

Table::Row rowOf(const char* event, NodeAction action, const Node& node, const std::string& details) {
  return {{event}, cellOf(action), kindOf(node), hexadecimal(node.getAddress()), std::to_string(node.getState()),
          details};
}

std::string describe(const NodeLink& link) {
  return nlohmann::json(link.getLinkId()).dump() + " " +
         Json::nameOf(Json::LINK_TYPES, static_cast<std::int32_t>(link.getLinkType())) + " to " +
         hexadecimal(link.getStackAddress());
}

class NodeWatcher : public Proxy::Node::Manager {
 public:
  NodeWatcher(bool zuv, Printer& printer) : Manager(zuv), printer_(printer) {}
  ~NodeWatcher() override { stop(); }

  void modified(const Node& node, NodeAction action) override {
    printer_.announce(
        {{"event", "modified"}, {"action", static_cast<std::int32_t>(action)}, {"node", Json::writeNode(node)}},
        rowOf("node", action, node, detailsOf(node, printer_.isKeyShown())));
  }
  void linkModified(const Node& node, const NodeLink& link, NodeAction action) override {
    printer_.announce({{"event", "linkModified"},
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
    printer_.announce({{"event", "exception"}, {"message", message}}, {{"EXCEPTION", RED}, {message, RED}});
  }

 private:
  Printer& printer_;
};

/// Prints when the service and the bus go and come back. What it hears first is how things are now.
class PresenceWatcher : public Bus::ConnectionObserver {
 public:
  PresenceWatcher(const Shared::Pointer<Bus::Connection>& connection, const std::string& service, Printer& printer)
      : ConnectionObserver(connection, {service}), printer_(printer) {}
  ~PresenceWatcher() override { retire(); }

 private:
  void connected(const std::string&) override { note("bus", isBusThere_, true, "is back"); }
  void lost(const std::string& reason) override { note("bus", isBusThere_, false, "has gone: " + reason); }
  void serviceUp(const std::string& name, const std::string&) override {
    note("service", isServiceThere_, true, name + " is there");
  }
  void serviceDown(const std::string& name) override {
    if (!isServiceThere_.has_value()) Cli::Output::printError(name + " is not there");
    note("service", isServiceThere_, false, name + " has gone");
  }

  void note(const char* what, std::optional<bool>& known, bool isThere, const std::string& text) {
    const bool isNews = known.has_value() && *known != isThere;
    known = isThere;
    const char* const colour = isThere ? GREEN : YELLOW;
    if (isNews) printer_.print({{"event", what}, {"present", isThere}}, {{what, colour}, {text, colour}});
  }

  Printer& printer_;
  std::optional<bool> isBusThere_, isServiceThere_;  // empty: not known yet
};

ExitStatus watch(const Context& context, const Request& request) {
  context.loop.takeSignals();
  context.loop.watchOutput();
  const auto connection = context.openBus();
  Printer printer(context, request);
  context.loop.onResize([&] { printer.resize(); });
  NodeWatcher nodes(context.isZuv(), printer);
  ExceptionWatcher exceptions(context.isZuv(), context.application, printer);
  PresenceWatcher presence(connection, nodes.getHost(), printer);
  nodes.setConnection(connection);
  exceptions.setConnection(connection);
  if (context.strict) exceptions.acceptProgressOnlyFromService();
  nodes.start(true);
  exceptions.start(true);
  printer.begin();
  presence.start();
  const Time::Monotonic deadline =
      request.duration ? Time::Clock::get().now() + *request.duration : Time::Monotonic::never();
  context.loop.runUntil([&] { return printer.isOver(); }, deadline);
  return ExitStatus::DONE;
}

}  // namespace

void addWatch(CLI::App& app, Context& context) {
  const auto request = std::make_shared<Request>();
  CLI::App& command = addCommand(app, "watch", "Prints changes of nodes and links", "hevractl watch --for 60");
  command
      .add_option_function<std::string>(
          "--time",
          [request](const std::string& text) {
            for (const auto& row : TIMES)
              if (text == row.word) request->times = row.times;
            if (request->times == Times::DEFAULT)
              throw Json::Malformed("--time", "'" + text + "'", "absolute, relative or none");
          },
          "absolute, relative or none [absolute; with --json none]")
      ->type_name("WORD");
  command
      .add_option_function<std::string>(
          "--count", [request](const std::string& text) { Cli::numberInto("--count", request->count.emplace())(text); },
          "Ends after so many changes and exceptions")
      ->type_name("N");
  command
      .add_option_function<std::string>(
          "--for", [request](const std::string& text) { request->duration = Cli::readSeconds("--for", text); },
          "Ends after so many seconds [when interrupted]")
      ->type_name("SECONDS");
  command.callback(
      [&context, request] { context.chosen = [request](const Context& chosen) { return watch(chosen, *request); }; });
}

}  // namespace Quarnix::Hevra::Tools
