// Looks into the tree of commands. The command help is here too.
#include <tools/Usage.h>

#include <iostream>
#include <memory>
#include <vector>

#include <cli/Nearest.h>
#include <json/Malformed.h>
#include <tools/Commands.h>

namespace Quarnix::Hevra::Tools {

namespace {

std::vector<std::string> commandsOf(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
    names.push_back(command->get_name());
  return names;
}

std::vector<std::string> optionsOf(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options())
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  return names;
}

/// Returns "; did you mean X or Y?", or nothing.
std::string guess(const std::string& word, const std::vector<std::string>& known) {
  std::string text;
  for (const std::string& each : Cli::nearest(word, known)) text += (text.empty() ? "; did you mean " : " or ") + each;
  return text.empty() ? text : text + "?";
}

std::string unknownCommand(const std::string& word, const CLI::App& app, const std::string& path) {
  return "'" + word + "' is no command of " + path + guess(word, commandsOf(app));
}

void printAllOptions(CLI::App& app) {
  const auto formatter = std::dynamic_pointer_cast<CLI::Formatter>(app.get_formatter());
  std::cout << "Options of all commands:\n";
  for (CLI::Option* option : app.get_options(nullptr)) {
    option->group("Options");  // an option without a group has no name in a help
    std::cout << formatter->make_option(option, false);
  }
  std::cout << "Ends with 0 done, 1 no, 2 wrong input, 3 error of bus or service, 4 gave up." << std::endl;
}

ExitStatus help(CLI::App& app, const std::vector<std::string>& words) {
  if (words == std::vector<std::string>{"options"}) {
    printAllOptions(app);
    return ExitStatus::DONE;
  }
  const CLI::App* level = &app;
  std::string path;  // of the levels above
  std::string name = app.get_name();
  for (const std::string& word : words) {
    const auto found = level->get_subcommands([&](const CLI::App* command) { return command->get_name() == word; });
    if (found.empty())
      throw Json::Malformed(unknownCommand(word, *level, path + name) + "; see " + path + name + " --help");
    path += name + ' ';
    name = word;
    level = found.front();
  }
  // CLI::App::help would print the help of the command that was given, which is this one.
  std::cout << level->get_formatter()->make_help(level, path + name, CLI::AppFormatMode::Normal) << std::flush;
  return ExitStatus::DONE;
}

}  // namespace

std::string explain(const CLI::App& app, const CLI::ParseError& error) {
  const CLI::App* level = &app;
  std::string path = app.get_name();
  while (!level->get_subcommands().empty()) {
    level = level->get_subcommands().front();
    path += ' ' + level->get_name();
  }
  const std::vector<std::string> commands = commandsOf(*level);
  const std::vector<std::string> words = app.remaining(true);
  std::string text = error.what();
  if (!words.empty() && words.front().starts_with('-')) {
    const std::string option = words.front().substr(0, words.front().find('='));
    std::vector<std::string> known = optionsOf(*level);
    if (level != &app)
      for (std::string& name : optionsOf(app)) known.push_back(std::move(name));
    text = "'" + option + "' is no option of " + path + guess(option, known);
  } else if (!words.empty() && !commands.empty()) {
    text = unknownCommand(words.front(), *level, path);
  } else if (!words.empty()) {
    text = "'" + words.front() + "' was not expected";
  } else if (!commands.empty() && dynamic_cast<const CLI::RequiredError*>(&error)) {
    text = "a command is missing:";
    for (const std::string& name : commands) text += (&name == &commands.front() ? " " : ", ") + name;
  }
  return text + "; see " + path + " --help";
}

void addHelp(CLI::App& app, Context& context) {
  const auto words = std::make_shared<std::vector<std::string>>();
  CLI::App& command = addCommand(app, "help", "Prints the help of a command", "hevractl help link set");
  command.add_option("COMMAND", *words, "A command and its subcommand; or 'options' for those of all commands")
      ->type_name("")
      ->expected(-1);
  command.callback(
      [&app, &context, words] { context.chosen = [&app, words](const Context&) { return help(app, *words); }; });
}

}  // namespace Quarnix::Hevra::Tools
