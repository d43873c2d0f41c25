#include "embedded_host/tool/description.h"

namespace quelt {

namespace {

OptionDescription DescribeOption(const CLI::Option& option) {
  OptionDescription description;
  description.positional = option.nonpositional() ? false : option.get_positional();
  description.repeated = option.get_expected_max() > 1;
  description.required = option.get_required();
  description.text = option.get_description();
  if (description.positional) {
    description.names.push_back(option.get_name(true));
    return description;
  }
  for (const std::string& name : option.get_snames()) {
    description.names.push_back("-" + name);
  }
  for (const std::string& name : option.get_lnames()) {
    description.names.push_back("--" + name);
  }
  if (option.get_items_expected_max() > 0) {
    const std::string type = option.get_type_name();
    description.value = type.substr(0, type.find(':'));  // without the description of its check
  }
  return description;
}

void AddOptions(const CLI::App& app, CommandDescription& description) {
  for (const CLI::Option* const option : app.get_options()) {
    description.options.push_back(DescribeOption(*option));
  }
}

CommandDescription DescribeBelow(const CLI::App& app, std::vector<std::string> words) {
  CommandDescription description{std::move(words), app.get_description(), app.get_footer(), {}, {}};
  AddOptions(app, description);
  for (const CLI::App* const below : app.get_subcommands(nullptr)) {
    if (below->get_name().empty()) {  // a group of options
      AddOptions(*below, description);
      continue;
    }
    std::vector<std::string> path = description.words;
    path.push_back(below->get_name());
    description.commands.push_back(DescribeBelow(*below, std::move(path)));
  }
  return description;
}

}  // namespace

CommandDescription Describe(const CLI::App& app) { return DescribeBelow(app, {}); }

}  // namespace quelt
