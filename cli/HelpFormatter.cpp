// Leaves out blank lines, mentions the version beside the help, and wraps descriptions in a column of their own.
#include <cli/HelpFormatter.h>

#include <memory>
#include <vector>

namespace Quarnix::Hevra::Cli {

namespace {

constexpr std::size_t WIDTH = 79;
constexpr std::size_t COLUMN = 21;

/// Returns the lines of a name and its description.
std::string row(const std::string& name, std::string description) {
  std::string text = "  " + name;
  std::size_t used = text.size();
  if (used >= COLUMN) {
    text += '\n';
    used = 0;
  }
  do {
    text.append(COLUMN - used, ' ');
    std::size_t length = description.size();
    if (length > WIDTH - COLUMN) length = description.rfind(' ', WIDTH - COLUMN);
    text += description.substr(0, length) + '\n';
    description.erase(0, length + 1);
    used = 0;
  } while (!description.empty());
  return text;
}

class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override {
    const std::string text = app->get_description() + '\n' + make_usage(app, std::move(name)) + make_positionals(app) +
                             make_groups(app, mode) + make_subcommands(app, mode) + app->get_footer() + '\n';
    return CLI::detail::find_and_replace(text, "\n\n", "\n");
  }

  std::string make_group(std::string group, bool positional, std::vector<const CLI::Option*> options) const override {
    std::string text = group + ":\n";
    for (const CLI::Option* option : options) text += make_option(option, positional);
    return text;
  }

  std::string make_option(const CLI::Option* option, bool positional) const override {
    const std::string name = option->get_name(positional, !positional);
    if (name == "--version") return "";
    if (name == "-h,--help") return row("-h, --help", "Prints this help; --version prints the version");
    const bool valued = option->get_type_size() != 0 && !option->get_type_name().empty();
    return row(valued ? name + ' ' + option->get_type_name() : name,
               option->get_description() + (option->get_required() && !positional ? "; must be given" : ""));
  }

  std::string make_option_usage(const CLI::Option* argument) const override {
    const std::string name = argument->get_name(true) + (argument->get_expected_max() > 1 ? "..." : "");
    return argument->get_required() ? name : "[" + name + "]";
  }

  std::string make_subcommand(const CLI::App* command) const override {
    return row(command->get_name(), command->get_description());
  }
};

}  // namespace

void layOutHelp(CLI::App& app) {
  const auto formatter = std::make_shared<HelpFormatter>();
  formatter->label("SUBCOMMAND", "COMMAND");
  formatter->label("Positionals", "Arguments");
  app.formatter(formatter);
}

}  // namespace Quarnix::Hevra::Cli
