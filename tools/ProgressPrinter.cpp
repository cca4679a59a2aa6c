// Prints progress as JSON, as rows that follow each other, or as rows that are updated in place.
#include <tools/ProgressPrinter.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>

#include <cli/Printable.h>
#include <json/CommandForm.h>
#include <json/ValueForm.h>
#include <platform/core/time/Clock.h>
#include <platform/hevra/internal/StatusName.h>
#include <tools/NodeText.h>

namespace Quarnix::Hevra::Tools {

using Cli::Cell;
using Cli::GREEN;
using Cli::RED;
using Cli::Table;
using Cli::Terminal;
using Cli::YELLOW;

namespace {

std::string describe(const Shared::Pointer<HvType>& value) {
  const nlohmann::ordered_json form = Json::writeValue(value);
  return form.is_null() ? "-" : form["type"].get<std::string>() + " " + form["value"].dump();
}

/// The error comes first, because the line may be cut.
std::string describe(const Command& command) {
  std::string text;
  const DetailedError& error = command.getDetailedError();
  if (error.getErrorCode().getErrorType() != 0 || error.getErrorCode().getErrorId() != 0)
    text += "error " + nlohmann::json(error.getErrorFieldsToString()).dump() + "  ";
  text += describe(command.getValue());
  if (!command.getLabel().empty()) text += "  " + nlohmann::json(command.getLabel()).dump();
  return text;
}

std::string seconds(const Time::Elapsed& elapsed) {
  char text[32];
  const auto tenths = static_cast<long long>(elapsed.getNanoseconds() / 100'000'000);
  std::snprintf(text, sizeof text, "%4lld.%lld s", tenths / 10, tenths % 10);
  return text;
}

Cell cellOf(HvDetailedCommandStatus status) {
  const bool completed = status == HvDetailedCommandStatus::COMPLETED;
  return {nameOf(status), !Command::isFinalStatus(status) ? YELLOW : completed ? GREEN : RED};
}

/// The lines of a trace would come between the rows.
bool isTraced() {
  const char* const trace = std::getenv("HEVRA_TRACE");
  return trace && *trace;
}

Table emptyTable(const Terminal& terminal) {
  return {terminal, {{"COMMAND"}, {"STATUS", 11}, {"TIME", 8}, {"NODE"}, {"PARAMETER"}, {"VALUE"}}};
}

}  // namespace

ProgressPrinter::ProgressPrinter(bool json, const Group& group, const std::vector<Command>& commands)
    : json_(json),
      group_(group),
      began_(Time::Clock::get().now()),
      wantsRows_(!json && !commands.empty() && !isTraced() && Terminal::ofOutput().rows > 0),
      table_(emptyTable(terminal_)) {
  for (const Command& command : commands) lines_.push_back({command, began_, Cell("sent")});
  layOut();
}

/// Lays out the table for the present terminal.
void ProgressPrinter::layOut() {
  terminal_ = Terminal::ofOutput();
  table_ = emptyTable(terminal_);
  for (const Line& line : lines_) table_.fit(rowOf(line));
  live_ = wantsRows_ && lines_.size() + 3 <= terminal_.rows;  // plus the titles, the summary and the cursor
}

Table::Row ProgressPrinter::rowOf(const Line& line) const {
  const Command& command = line.command;
  return {{group_.getId() + "_" + std::to_string(command.getId())},
          line.state,
          {seconds(line.changed - began_)},
          {hexadecimal(command.getAddress())},
          {hexadecimal(command.getParameterId())},
          {describe(command)}};
}

/// Prints the titles, and the rows when they are updated in place.
void ProgressPrinter::begin() {
  if (begun_) return;
  begun_ = true;
  std::cout << table_.titles() << '\n';
  if (live_) printRows();
}

void ProgressPrinter::printRows() {
  for (const Line& line : lines_) std::cout << table_.line(rowOf(line)) << '\n';
  std::cout << std::flush;
}

void ProgressPrinter::printAside(const std::string& text) {
  const bool isDrawn = begun_ && live_;
  if (isDrawn) std::cout << "\033[" + std::to_string(lines_.size()) + "A\r\033[J";
  std::cout << Cli::printable(text) << '\n';
  if (isDrawn) printRows();
  std::cout << std::flush;
}

void ProgressPrinter::print(const Command& command, const Group& group, HomeAutomation::Command::Status status) {
  const bool final = Command::isFinalStatus(command.getStatus());
  if (json_) {
    const nlohmann::ordered_json line = {{"event", "progress"},
                                         {"group", group.getId()},
                                         {"status", static_cast<std::int32_t>(status)},
                                         {"final", final},
                                         {"command", Json::writeCommand(command)}};
    std::cout << line.dump() << std::endl;
    return;
  }
  show({command, Time::Clock::get().now(), cellOf(command.getStatus()), final});
}

void ProgressPrinter::printEnd(std::uint32_t id, const std::string& how) {
  for (const Line& line : lines_) {
    if (line.command.getId() != id || json_) continue;
    show({line.command, Time::Clock::get().now(), {how, RED}, true});
    return;
  }
}

/// Follows a change of the size for which the signal has not been read yet.
void ProgressPrinter::followSize() {
  if (!wantsRows_) return;
  const Terminal now = Terminal::ofOutput();
  if (now.columns != terminal_.columns || now.rows != terminal_.rows) resize();
}

void ProgressPrinter::show(const Line& line) {
  followSize();
  begin();
  if (!live_) std::cout << table_.line(rowOf(line)) << std::endl;
  for (std::size_t i = 0; i < lines_.size(); ++i) {
    if (lines_[i].command.getId() != line.command.getId()) continue;
    lines_[i] = line;
    if (live_) redraw(i);
  }
}

void ProgressPrinter::refresh() {
  followSize();
  if (!live_) return;
  begin();
  for (std::size_t i = 0; i < lines_.size(); ++i) {
    if (lines_[i].ended) continue;
    lines_[i].changed = Time::Clock::get().now();
    redraw(i);
  }
}

void ProgressPrinter::resize() {
  const bool wasDrawn = begun_ && live_;
  const Terminal before = terminal_;
  layOut();
  if (!wantsRows_ || !begun_ || !live_) return;
  // Some terminals break the lines of a terminal that is made narrower, and others cut them: nobody knows how many
  // lines the rows take now.
  if (wasDrawn && terminal_.columns < before.columns)
    std::cout << "\033[H\033[J";
  else if (wasDrawn)
    std::cout << "\033[" + std::to_string(lines_.size() + 1) + "A\r\033[J";
  begun_ = false;
  begin();
}

void ProgressPrinter::resume() {
  layOut();
  if (!begun_ || !live_) return;
  begun_ = false;
  std::cout << '\r';
  begin();
}

/// Moves the cursor up to the row, rewrites it and moves back, all in one write.
void ProgressPrinter::redraw(std::size_t index) {
  const std::string rows = std::to_string(lines_.size() - index);
  std::cout << "\033[" + rows + "A\r\033[K" + table_.line(rowOf(lines_[index])) + "\033[" + rows + "B\r" << std::flush;
}

}  // namespace Quarnix::Hevra::Tools
