#include "command_tree.h"

#include <sstream>

namespace Tool {

namespace {

/// Divides the parser's "WHEN:{auto,never}" or "N:INT in [1 - 9]" into the name and the choices.
void TakeTypeName(const std::string& type, CommandOption& option) {
    const size_t end = type.find(':');
    option.value = type.substr(0, end);
    if (end == std::string::npos || type.compare(end, 2, ":{") != 0) return;
    std::istringstream choices(type.substr(end + 2, type.size() - end - 3));
    for (std::string choice; std::getline(choices, choice, ',');) option.choices.push_back(choice);
}

CommandOption Describe(const CLI::Option& option) {
    CommandOption described;
    for (const std::string& name : option.get_snames()) described.shortNames.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) described.longNames.push_back("--" + name);
    described.help = option.get_description();
    described.isRequired = option.get_required();
    described.isRepeated = option.get_items_expected_max() > 1;
    const bool isFlag = option.get_items_expected_max() == 0 || option.get_type_size_max() == 0;
    described.isValueJoined = isFlag && described.help.find("=PATTERN") != std::string::npos;
    if (option.get_positional()) described.value = option.get_name(true);
    if (described.isValueJoined) described.value = "PATTERN";
    if (!isFlag && !option.get_positional()) TakeTypeName(option.get_type_name(), described);
    return described;
}

void AddOptions(const CLI::App& app, CommandEntry& entry) {
    for (const CLI::Option* option : app.get_options()) {
        if (option->get_group().empty()) continue;  // hidden
        auto& list = option->nonpositional() ? entry.options : entry.arguments;
        list.push_back(Describe(*option));
    }
    for (const CLI::App* group : app.get_subcommands([](const CLI::App*) { return true; })) {
        if (group->get_name().empty()) AddOptions(*group, entry);
    }
}

CommandEntry Describe(const CLI::App& app) {
    CommandEntry entry{app.get_name(), app.get_description(), app.get_footer(), {}, {}};
    AddOptions(app, entry);
    return entry;
}

}  // namespace

std::vector<CommandEntry> ListCommands(const CLI::App& app) {
    std::vector<CommandEntry> commands = {Describe(app)};
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        commands.push_back(Describe(*command));
    }
    return commands;
}

}  // namespace Tool
