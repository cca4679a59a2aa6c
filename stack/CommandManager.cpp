// Takes calls apart and hands on what they ask for.
#include <stack/CommandManager.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include <bus/CommandVectorWrapper.h>

namespace Quarnix::Hevra::Stack {

using Bus::Message::ConstIterator;
using Bus::Message::Method::Call;
using Bus::Message::Method::Return;

namespace {

std::vector<std::string> interfacesOf(const std::vector<Variant>& variants) {
  std::vector<std::string> interfaces(variants.size());
  std::transform(variants.begin(), variants.end(), interfaces.begin(), commandInterfaceOf);
  return interfaces;
}

}  // namespace

CommandManager::CommandManager(Shared::Pointer<Bus::Connection> connection, const Options& options, NodeTable& nodes)
    : SimulatedObject(connection, "/com/quarnix/Application/HevraZuv/Manager/Command", interfacesOf(options.variants),
                      options, 0),
      radio_(connection, options.pace, nodes) {}

CommandManager::~CommandManager() { retire(); }

void CommandManager::announceException(const std::string& text) {
  for (const Variant variant : options_.variants) {
    Bus::Message::Signal signal(getPath(), commandInterfaceOf(variant).c_str(), "exception");
    signal.begin().append(text);
    send(signal);
  }
}

bool CommandManager::answer(const Call& call, Return&) {
  const auto variant = std::find_if(options_.variants.begin(), options_.variants.end(),
                                    [&](Variant served) { return commandInterfaceOf(served) == call.getInterface(); });
  if (variant == options_.variants.end()) return false;
  if (std::strcmp(call.getMember(), "add") == 0) {
    add(*variant, call);
  } else if (std::strcmp(call.getMember(), "cancel") == 0) {
    cancel(*variant, call);
  } else {
    return false;
  }
  return true;
}

void CommandManager::add(Variant variant, const Call& call) {
  const Bus::Type::Wrapper<std::vector<Command>> list;
  const std::string signature = "(o)(s)" + list.signature();
  require(call, signature, signature + ": an originator, a group and its commands");

  ConstIterator argument = call.begin();
  const std::string path(argument.begin().getText());
  ++argument;
  const std::string group(argument.begin().getText());
  ++argument;
  std::vector<Command> commands;
  list.deserialize(argument, commands);

  std::vector<Job> jobs;
  for (Command& command : commands) {
    Job job;
    job.variant = variant;
    job.group = group;
    job.command = std::move(command);
    job.command.setStatus(HvDetailedCommandStatus::INITIALIZED);
    job.command.getDetailedError().setErrorFieldsToString({});
    if (drawFate(job)) jobs.push_back(std::move(job));
  }
  radio_.submit(call.getSender(), path, std::move(jobs));
}

/// False for a command that is lost.
bool CommandManager::drawFate(Job& job) {
  const bool dropped = dice_.roll(options_.drop);
  job.fails = dice_.roll(options_.fail);
  for (unsigned report = 0; report < Job::MAXIMUM_REPORTS; ++report) {
    if (dice_.roll(options_.duplicate)) job.doubled = static_cast<std::uint8_t>(job.doubled | 1U << report);
  }
  return !dropped;
}

void CommandManager::cancel(Variant variant, const Call& call) {
  const std::string signature = call.getSignature();
  const ConstIterator argument = call.begin();
  if (signature.empty()) {
    radio_.cancel([=](const Job& job) { return job.variant == variant; });
  } else if (signature == "s") {
    std::string key;
    argument.get(key);
    radio_.cancel([&](const Job& job) { return job.variant == variant && job.getKey() == key; });
  } else if (signature == "u") {
    std::uint32_t level = 0;
    argument.get(level);
    radio_.cancel(
        [=](const Job& job) { return job.variant == variant && job.command.getAcei().getPriorityLevel() == level; });
  } else {
    refuseArguments(call, "none, a key (s) or a priority (u)");
  }
}

}  // namespace Quarnix::Hevra::Stack
