// Telling how commands ended. Who takes a watch out of its entry tells of it, so that the first end is the only one.
#include <platform/core/Boundary.h>
#include <proxy/command/Presence.h>

namespace Quarnix::Hevra::Proxy::Command {

namespace {

constexpr const char* GONE = "the service has gone";

}  // namespace

OutcomeObserver::~OutcomeObserver() = default;

void Manager::submit(const Shared::Pointer<Interface::Command::Originator>& client, const Group& group,
                     const HomeAutomation::Container<Hevra::Command>& commands,
                     const Shared::Pointer<OutcomeObserver>& observer) {
  if (!observer) return add(client, group, commands);
  std::call_once(presenceObserved_, [this] {
    auto presence = std::make_unique<Presence>(*this);
    presence->start();
    presence_ = std::move(presence);
  });
  const std::uint64_t before = getTenure();
  const auto submission = std::make_shared<Submission>(Submission{observer, group});
  try {
    const Bus::Message::SendReturn reply = transmit(client, group, commands, submission);
    if (!reply->isException()) return accept(*submission, getTenureOf(reply->getSender()));
    throw Bus::Message::Method::Return(*reply);
  } catch (const Bus::Message::Method::Return& error) {
    const std::string name = error.getErrorName();
    if (name == "org.freedesktop.DBus.Error.NoReply") {
      accept(*submission, before);  // it may have arrived
    } else {
      const bool lost =
          name == "org.freedesktop.DBus.Error.Disconnected" || name == "org.freedesktop.DBus.Error.NameHasNoOwner";
      giveUp(*submission, lost ? Outcome::Kind::SERVICE_LOST : Outcome::Kind::REFUSED,
             name + ": " + error.getErrorText());
    }
    throw;
  } catch (const std::exception& error) {
    giveUp(*submission, Outcome::Kind::REFUSED, error.what());
    throw;
  } catch (...) {
    giveUp(*submission, Outcome::Kind::REFUSED, "the commands' container raised an error");
    throw;
  }
}

/// Takes the chosen watches out of all entries.
template <class Chosen>
Manager::Watches Manager::take(Chosen chosen) {
  Watches taken;
  MutexLock lock(mutex_);
  for (auto& [key, timer] : timers) {
    for (auto before = timer.watches.before_begin(); std::next(before) != timer.watches.end();) {
      if (chosen(*std::next(before)->submission)) {
        taken.splice_after(taken.before_begin(), timer.watches, before);
      } else {
        ++before;
      }
    }
  }
  return taken;
}

void Manager::tell(const Watches& watches, const Outcome& outcome) noexcept {
  for (const Watch& watch : watches) {
    const Submission& of = *watch.submission;
    runAtBoundary("command's outcome observer", [&] { of.observer->ended(of.group, watch.commandId, outcome); });
  }
}

/// The commands are with the service of that tenure, which may be over by now.
void Manager::accept(Submission& submission, std::uint64_t tenure) {
  {
    MutexLock lock(mutex_);
    submission.tenure = tenure;
  }
  if (tenure == 0) return giveUp(submission, Outcome::Kind::SERVICE_LOST, GONE);
  if (tenure < getTenure()) serviceChanged();
}

void Manager::giveUp(const Submission& submission, Outcome::Kind kind, const std::string& reason) {
  tell(take([&](const Submission& one) { return &one == &submission; }), {kind, {}, reason});
}

void Manager::serviceChanged() {
  const std::uint64_t now = getTenure();
  tell(take([=](const Submission& one) HEVRA_NO_THREAD_SAFETY_ANALYSIS { return one.tenure != 0 && one.tenure < now; }),
       {Outcome::Kind::SERVICE_LOST, {}, GONE});
}

}  // namespace Quarnix::Hevra::Proxy::Command
