// hevractl watch: prints what the stack service announces, until it is interrupted.
#include <csignal>
#include <string>
#include <utility>

#include <platform/core/Mutex.h>
#include <proxy/command/Manager.h>
#include <proxy/node/Manager.h>
#include <stack/forms/NodeForm.h>
#include <stack/forms/Printable.h>
#include <tools/Commands.h>
#include <tools/NodeText.h>

namespace Quarnix::Hevra::Tools {

namespace {

/// Prints one line at a time. Threads: any.
class Printer {
 public:
  explicit Printer(const Context& context) : context_(context) {}

  void print(const nlohmann::ordered_json& value, const std::string& sentence) {
    MutexLock lock(mutex_);
    context_.print(value, sentence);
  }
  bool isKeyShown() const noexcept { return context_.showKeys; }

 private:
  const Context& context_;
  Mutex mutex_;
};

std::string nameOf(NodeAction action) {
  static constexpr const char* NAMES[] = {"added", "modified", "removed"};
  const auto number = static_cast<std::uint32_t>(action);
  return number < std::size(NAMES) ? NAMES[number] : "action " + std::to_string(number);
}

std::string describe(const NodeLink& link) {
  return "\"" + Stack::Forms::printable(link.getLinkId()) + "\" of type " +
         std::to_string(static_cast<std::int32_t>(link.getLinkType())) + " to " +
         std::to_string(link.getStackAddress()) + ", of";
}

class NodeWatcher : public Proxy::Node::Manager {
 public:
  NodeWatcher(bool zuv, Printer& printer) : Manager(zuv), printer_(printer) {}
  ~NodeWatcher() override { stop(); }

  void modified(const Node& node, NodeAction action) override {
    printer_.print(
        {{"event", "modified"}, {"action", static_cast<std::int32_t>(action)}, {"node", Stack::Forms::writeNode(node)}},
        "node " + nameOf(action) + ": " + nodeRow(node, printer_.isKeyShown()));
  }
  void linkModified(const Node& node, const NodeLink& link, NodeAction action) override {
    printer_.print({{"event", "linkModified"},
                    {"action", static_cast<std::int32_t>(action)},
                    {"node", Stack::Forms::writeNode(node)},
                    {"link", Stack::Forms::writeLink(link)}},
                   "link " + nameOf(action) + ": " + describe(link) + " " + nodeRow(node, printer_.isKeyShown()));
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
    printer_.print({{"event", "exception"}, {"message", message}}, "exception: " + Stack::Forms::printable(message));
  }

 private:
  Printer& printer_;
};

ExitStatus watch(const Context& context) {
  // Before any thread is made, so that all of them leave these signals to sigwait.
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGINT);
  sigaddset(&ends, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);

  const auto connection = context.openBus();
  Printer printer(context);
  NodeWatcher nodes(context.zuv, printer);
  ExceptionWatcher exceptions(context.zuv, context.application, printer);
  nodes.setConnection(connection);
  exceptions.setConnection(connection);
  nodes.start(true);
  exceptions.start(true);
  printer.print({{"event", "ready"}}, "Watching; interrupt to end.");
  int signal = 0;
  sigwait(&ends, &signal);
  return ExitStatus::DONE;
}

}  // namespace

void addWatch(CLI::App& app, Context& context) {
  addCommand(app, "watch", "Prints changes of nodes and links, and exceptions, until interrupted",
             "hevractl --json watch")
      .callback([&context] { context.chosen = watch; });
}

}  // namespace Quarnix::Hevra::Tools
