// Starts and stops everything in the right order.
#include <stack/Service.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include <stack/TimeScale.h>

namespace Quarnix::Hevra::Stack {

namespace {

void checkAll(const Timeline& timeline) {
  for (const Happening& happening : timeline) check(happening);
}

Options checked(Options options) {
  const std::pair<const char*, double> rates[] = {{"drop", options.drop},
                                                  {"fail", options.fail},
                                                  {"refuse", options.refuse},
                                                  {"silent", options.silent},
                                                  {"duplicate", options.duplicate}};
  for (const auto& [name, rate] : rates) {
    if (!(rate >= 0 && rate <= 1)) {
      throw std::invalid_argument("the rate '" + std::string(name) + "' is " + std::to_string(rate) +
                                  ", expected 0 to 1");
    }
  }
  if (options.pace < Time::Elapsed()) throw std::invalid_argument("the pace is below zero");
  if (!(options.timeScale >= 0.001 && options.timeScale <= 1e6)) {
    throw std::invalid_argument("the time scale is " + std::to_string(options.timeScale) +
                                ", expected 0.001 to 1000000");
  }
  const std::vector<Variant>& variants = options.variants;
  if (variants.empty()) throw std::invalid_argument("no variant given, expected hevra, zuv or both");
  for (auto variant = variants.begin(); variant != variants.end(); ++variant)
    if (std::find(variants.begin(), variant, *variant) != variant)
      throw std::invalid_argument(busNameOf(*variant) + " given twice");
  checkAll(options.timeline);
  options.pace = scaled(options.pace, options.timeScale);
  options.plan = scaled(std::move(options.plan), options.timeScale);
  return options;
}

}  // namespace

Service::Service(const Options& options, Shared::Pointer<Bus::Connection> connection)
    : options_(checked(options)),
      connection_(std::move(connection)),
      faults_(options_.plan, [this](const Time::Elapsed& away) { restart(away); }),
      nodes_(options_.nodes,
             [this](const NodeTable::Change& change) {
               for (const auto& manager : nodeManagers_) manager->announce(change);
             }),
      commands_(connection_, options_, nodes_, faults_),
      board_(connection_, options_, faults_) {
  connection_->setLargestMessage(LARGEST_CALL, Bus::Connection::LARGEST_REPLY);
  commands_.setLargestQueue(Bus::Object::Base::MAXIMUM_QUEUED_MESSAGES, LARGEST_CALL);
  for (const Variant variant : options_.variants)
    nodeManagers_.push_back(std::make_unique<NodeManager>(connection_, options_, variant, nodes_, faults_));
}

Service::~Service() { stop(); }

void Service::start() {
  try {
    commands_.start(true);
    for (const auto& manager : nodeManagers_) manager->start(true);
    for (const Variant variant : options_.variants)
      if (variant == Variant::HEVRA) board_.start(true);
    takeNames(options_.variants);
    timeline_.begin(scaled(options_.timeline, options_.timeScale));
  } catch (...) {
    stop();
    throw;
  }
}

void Service::stop() {
  timeline_.end();
  faults_.agenda().clear();  // a restart under way must not take the names again
  releaseNames();
  board_.stop();
  for (const auto& manager : nodeManagers_) manager->stop();
  commands_.stop();
  commands_.endCommands();
  // One of the objects may have begun a restart before it stopped.
  faults_.agenda().clear();
  releaseNames();
}

void Service::setPlan(const Plan& plan) { faults_.setPlan(scaled(plan, options_.timeScale)); }

void Service::setTimeline(const Timeline& timeline) {
  checkAll(timeline);
  timeline_.begin(scaled(timeline, options_.timeScale));
}

void Service::restart(const Time::Elapsed& away) {
  const std::vector<Variant> names = releaseNames();
  if (names.empty()) return;
  commands_.dropCommands();
  faults_.agenda().after(away, [this, names] { takeNames(names); });
}

std::vector<Variant> Service::releaseNames() {
  std::vector<Variant> names;
  {
    MutexLock lock(mutex_);
    names.swap(owned_);
  }
  for (const Variant name : names) connection_->releaseName(busNameOf(name));
  return names;
}

void Service::takeNames(const std::vector<Variant>& names) {
  for (const Variant name : names) {
    connection_->requestName(busNameOf(name));
    MutexLock lock(mutex_);
    owned_.push_back(name);
  }
}

}  // namespace Quarnix::Hevra::Stack
