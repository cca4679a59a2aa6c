// What every connection and bus object must do runs twice: on the in-process bus and with a real daemon.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <platform/core/time/SimulatedClock.h>
#include <tests/harness/BusDaemon.h>
#include <tests/harness/BusObjects.h>
#include <tests/harness/CapturingLogger.h>

namespace Quarnix::Test {

using namespace Harness;
using Texts = std::vector<std::string>;

/// A served object that is started, behind NAME.
struct Service : TestServer {
  explicit Service(Shared::Pointer<Connection> connection, Hook act = echo)
      : TestServer(std::move(connection), std::move(act)) {
    serve(*this, NAME);
  }
  ~Service() override { retire(); }
};

/// What StartFailed says when `act` raises it.
template <class Act>
std::string failureOf(const Act& act) {
  try {
    act();
  } catch (const Bus::StartFailed& failure) {
    return failure.what();
  }
  return "none";
}

inline std::string nameOfBus(const ::testing::TestParamInfo<bool>& info) { return info.param ? "Daemon" : "InProcess"; }

class BothBuses : public ::testing::TestWithParam<bool> {
 protected:
  BothBuses() : daemon_(GetParam() ? std::make_unique<BusDaemon>() : nullptr) {}

  /// A connection of its own.
  Shared::Pointer<Connection> open() const { return Connection::open(daemon_ ? daemon_->address() : "in-process"); }
  /// The end of whatever the connection sent before: the bus answers in order.
  static void roundTrip(const Shared::Pointer<Connection>& connection) { connection->getNameOwner(NAME); }
  /// Until the bus has noticed that the name's owner has gone.
  static void awaitNoOwner(const Shared::Pointer<Connection>& connection) {
    while (!connection->getNameOwner(NAME).empty()) {
    }
  }

  std::unique_ptr<BusDaemon> daemon_;
  CapturingLogger logger_;
};

#define HEVRA_ON_BOTH_BUSES(Suite) INSTANTIATE_TEST_SUITE_P(Bus, Suite, ::testing::Bool(), nameOfBus)

}  // namespace Quarnix::Test
