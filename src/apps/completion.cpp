#include "apps/completion.h"

#include <string_view>
#include <utility>

namespace apps {
namespace {

constexpr std::string_view flag = "--complete";

// A word of its own between an option and its value, as bash cuts "--color=auto".
constexpr std::string_view kEqualSign = "=";

bool isShown(const CLI::Option* option) { return !option->get_group().empty(); }

// "--name" before "-n": the longer one tells more.
std::string nameOf(const CLI::Option* option) {
    if (!option->get_lnames().empty()) return "--" + option->get_lnames().front();
    return option->get_snames().empty() ? std::string() : "-" + option->get_snames().front();
}

// The words that an option takes, from "{one,two}" in the description of its values.
std::vector<std::string> valuesOf(const CLI::Option* option) {
    const std::string type = option->get_type_name();
    const std::size_t open = type.find('{');
    const std::size_t close = type.find('}', open);
    std::vector<std::string> values;
    if (close == std::string::npos) return values;
    std::string value;
    for (const char letter : type.substr(open + 1, close - open - 1) + ',') {
        if (letter != ',') {
            value += letter;
        } else if (!value.empty()) {
            values.push_back(value);
            value.clear();
        }
    }
    return values;
}

// An option of the command, or of one above it that the command lets its words fall through to.
const CLI::Option* optionNamed(const CLI::App* command, const std::string& word) {
    for (; command != nullptr; command = command->get_parent())
        for (const CLI::Option* option : command->get_options())
            if (option->nonpositional() && option->check_name(word)) return option;
    return nullptr;
}

std::vector<CLI::App*> commandsOf(CLI::App& app) {
    return app.get_subcommands([](CLI::App* command) { return !command->get_group().empty(); });
}

CLI::App* commandNamed(CLI::App& app, const std::string& word) {
    for (CLI::App* command : commandsOf(app))
        if (command->get_name() == word) return command;
    return nullptr;
}

// Where the words before the last one have led.
struct Place {
    CLI::App* command;
    const CLI::Option* needsValue = nullptr; // of the last word
    std::size_t positionals = 0;             // given to the command
    bool onlyPositionals = false;            // after "--"
};

Place placeAfter(CLI::App& app, const std::vector<std::string>& words) {
    Place place{&app};
    for (auto word = words.begin(); word + 1 < words.end(); ++word) {
        if (place.needsValue != nullptr) {
            if (*word != kEqualSign) place.needsValue = nullptr;
        } else if (!place.onlyPositionals && *word == "--") {
            place.onlyPositionals = true;
        } else if (!place.onlyPositionals && word->starts_with('-')) {
            const CLI::Option* option = optionNamed(place.command, *word);
            if (option != nullptr && option->get_items_expected_max() > 0) place.needsValue = option;
        } else if (CLI::App* next = commandNamed(*place.command, *word);
                   next != nullptr && place.positionals == 0) {
            place.command = next;
        } else {
            ++place.positionals;
        }
    }
    return place;
}

// The positional that the next word would be; the last one takes all that follow when it takes many.
const CLI::Option* positionalAt(const CLI::App* command, std::size_t index) {
    const CLI::Option* last = nullptr;
    for (const CLI::Option* option : command->get_options()) {
        if (!option->get_positional() || !isShown(option)) continue;
        if (index == 0) return option;
        --index;
        last = option;
    }
    return last != nullptr && last->get_items_expected_max() > 1 ? last : nullptr;
}

} // namespace

bool asksForCompletions(int count, char** words) { return count > 1 && words[1] == flag; }

std::vector<std::string> completions(CLI::App& app, const std::vector<std::string>& words) {
    const Place place = placeAfter(app, words);
    std::string begun = words.empty() ? std::string() : words.back();
    std::vector<std::string> lines;
    const auto offer = [&](const std::string& word, const std::string& meaning) {
        if (word.empty() || !word.starts_with(begun)) return;
        lines.push_back(word + '\t' + meaning.substr(0, meaning.find('\n')));
    };
    if (place.needsValue != nullptr) {
        if (begun == kEqualSign) begun.clear();
        for (const std::string& value : valuesOf(place.needsValue))
            offer(value, {});
        return lines;
    }
    const std::size_t equal = begun.find(kEqualSign);
    if (begun.starts_with("--") && equal != std::string::npos && !place.onlyPositionals) {
        if (const CLI::Option* option = optionNamed(place.command, begun.substr(0, equal)))
            for (const std::string& value : valuesOf(option))
                offer(begun.substr(0, equal + 1) + value, {});
        return lines;
    }
    if (begun.starts_with('-') && !place.onlyPositionals) {
        for (const CLI::Option* option : std::as_const(*place.command).get_options())
            if (option->nonpositional() && isShown(option)) offer(nameOf(option), option->get_description());
        return lines;
    }
    if (place.positionals == 0)
        for (const CLI::App* command : commandsOf(*place.command))
            offer(command->get_name(), command->get_description());
    if (const CLI::Option* positional = positionalAt(place.command, place.positionals))
        for (const std::string& value : valuesOf(positional))
            offer(value, {});
    return lines;
}

} // namespace apps
