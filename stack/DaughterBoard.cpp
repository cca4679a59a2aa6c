// Answers and counts resets.
#include <stack/DaughterBoard.h>

#include <cstring>

namespace Quarnix::Hevra::Stack {

DaughterBoard::DaughterBoard(Shared::Pointer<Bus::Connection> connection, const Options& options, Faults& faults)
    : SimulatedObject(connection, BOARD_PATH, {boardInterface()}, options, 1, faults) {}

DaughterBoard::~DaughterBoard() { retire(); }

bool DaughterBoard::answer(const Bus::Message::Method::Call& call, Bus::Message::Method::Return& reply) {
  if (boardInterface() != call.getInterface() || std::strcmp(call.getMember(), "hardreset") != 0) {
    return false;
  }
  require(call, "", "none");
  ++resets_;
  reply.begin().append(resetAnswer_.load());
  return true;
}

}  // namespace Quarnix::Hevra::Stack
