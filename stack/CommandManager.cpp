// Reads the arguments of calls and passes them to the radio.
#include <stack/CommandManager.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include <bus/CommandVectorWrapper.h>
#include <bus/internal/RecordSignature.h>
#include <stack/TimeScale.h>

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

using Commands = Bus::Type::Wrapper<std::vector<Command>>;

const std::string& addSignature() {
  static const std::string SIGNATURE(Bus::Type::RecordSignature::ADD);
  return SIGNATURE;
}

}  // namespace

CommandManager::CommandManager(Shared::Pointer<Bus::Connection> connection, const Options& options, NodeTable& nodes,
                               Faults& faults)
    : SimulatedObject(connection, COMMAND_PATH, interfacesOf(options.variants), options, 0, faults),
      radio_(connection, options.pace, nodes, faults) {}

CommandManager::~CommandManager() { retire(); }

void CommandManager::announceException(const std::string& text) {
  for (const Variant variant : options_.variants) {
    Bus::Message::Signal signal(getPath(), commandInterfaceOf(variant).c_str(), "exception");
    signal.begin().append(text);
    send(signal);
  }
}

/// Returns null when no served variant has the call's interface.
const Variant* CommandManager::variantOf(const Call& call) const {
  const auto found = std::find_if(options_.variants.begin(), options_.variants.end(),
                                  [&](Variant served) { return commandInterfaceOf(served) == call.getInterface(); });
  return found == options_.variants.end() ? nullptr : &*found;
}

const Submission& CommandManager::subjectOf(const Call& call) {
  submission_ = {};
  const Variant* const variant = variantOf(call);
  if (!variant || std::strcmp(call.getMember(), "add") != 0 || call.getSignature() != addSignature())
    return submission_;
  submission_.variant = *variant;
  ConstIterator argument = ++call.begin();
  submission_.group = argument.begin().getText();
  Commands().deserialize(++argument, submission_.commands);
  if (options_.submitted) options_.submitted(submission_);
  return submission_;
}

bool CommandManager::answer(const Call& call, Return&) {
  const Variant* const variant = variantOf(call);
  if (!variant) return false;
  if (std::strcmp(call.getMember(), "add") == 0) {
    require(call, addSignature(), addSignature() + ": an originator, a group and its commands");
    add(call);
  } else if (std::strcmp(call.getMember(), "cancel") == 0) {
    cancel(*variant, call);
  } else {
    return false;
  }
  return true;
}

/// Submits what `subjectOf` has read.
void CommandManager::add(const Call& call) {
  std::vector<Job> jobs;
  for (Command& command : submission_.commands) {
    Job job;
    job.variant = submission_.variant;
    job.group = submission_.group;
    job.command = std::move(command);
    job.delay = scaled(Time::Elapsed(job.command.getDelay(), 0), options_.timeScale);
    job.command.setStatus(HvDetailedCommandStatus::INITIALIZED);
    job.command.getDetailedError().setErrorFieldsToString({});
    if (drawFaults(job)) jobs.push_back(std::move(job));
  }
  radio_.submit(call.getSender(), std::string(call.begin().begin().getText()), std::move(jobs));
}

/// Decides what goes wrong with the job. Returns false when its command gets lost.
bool CommandManager::drawFaults(Job& job) {
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
