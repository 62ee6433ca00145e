// What a shell may complete a command line to. Tests: tests/cimhost/usage_test.cpp, terminal_test.py.

#include <algorithm>

#include "cim/names.h"
#include "cimhost/arguments.h"
#include "cimhost/places.h"
#include "cimhost/shortforms.h"

namespace cimhost {

namespace {

constexpr const char* kFiles = "<files>";
constexpr const char* kDirectories = "<directories>";

/** What continues a word. */
struct Candidates {
    std::string word;
    std::vector<std::string> lines = {};

    void add(const std::string& text, const std::string& description = "") {
        if (!cim::sameName(text.substr(0, word.size()), word)) return;
        lines.push_back(description.empty() ? text : text + '\t' + description);
    }
};

/** Whole names for who has begun to write one, else short ones. */
void addClasses(Candidates& candidates) {
    const std::string prefix = kPrefix;
    const std::string& word = candidates.word;
    const bool whole = !word.empty() && cim::sameName(prefix.substr(0, word.size()), word.substr(0, prefix.size()));
    for (const std::string& name : servedClasses()) candidates.add(whole ? name : name.substr(prefix.size()));
}

void addWords(Candidates& candidates, std::string words) {
    while (!words.empty()) {
        const std::size_t end = std::min(words.find('|'), words.size());
        candidates.add(words.substr(0, end));
        words.erase(0, end + 1);
    }
}

/** What an option or argument of the type takes; nothing for types of which that cannot be told. */
void addValues(Candidates& candidates, const std::string& type) {
    if (type == kClassType || type == kObjectType) addClasses(candidates);
    if (type == kObjectType) candidates.add("board", "the system board");
    if (type == kHostType) {
        for (const Sample& sample : findSamples(dataDirectories())) candidates.add(sample.name, sample.description);
        candidates.lines.emplace_back(kDirectories);
    }
    if (type == kFileType) candidates.lines.emplace_back(kFiles);
    if (type.find('|') != std::string::npos) addWords(candidates, type);
}

void addCommands(Candidates& candidates, const CLI::App& app) {
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
        candidates.add(command->get_name(), command->get_description());
}

/** The options of a command and of the program, as far as they are of use there. */
void addOptions(Candidates& candidates, const CLI::App& command) {
    for (const CLI::App* app = &command; app; app = app->get_parent())
        for (const CLI::Option* option : app->get_options())
            for (const std::string& name : option->get_lnames())
                if ((name != "help" || !app->get_parent()) && isOfUse(*option, command))
                    candidates.add("--" + name, option->get_description());
}

const CLI::App* commandNamed(const std::string& word, const CLI::App& app) {
    const auto found = app.get_subcommands([&](const CLI::App* command) { return command->get_name() == word; });
    return found.empty() ? nullptr : found.front();
}

/** The option of a command, or else of the program, that a word names, without a value; null when there is none. */
const CLI::Option* optionNamed(const std::string& word, const CLI::App* app) {
    if (word.size() < 2 || word.front() != '-') return nullptr;
    for (; app; app = app->get_parent())
        if (const CLI::Option* option = app->get_option_no_throw(word)) return option;
    return nullptr;
}

bool takesValue(const CLI::Option* option) {
    return option && option->get_items_expected_min() > 0;
}

/** Where a command line stands in front of the word that is to be completed. */
struct Position {
    const CLI::App* command;
    const CLI::Option* valueOf = nullptr;  // the word is the value of this option
    std::size_t arguments = 0;             // of the command, so far
};

Position positionAfter(const CLI::App& app, const std::vector<std::string>& words) {
    Position position{&app};
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        const CLI::Option* option = position.valueOf ? nullptr : optionNamed(words[i], position.command);
        const bool isValue = position.valueOf != nullptr;
        position.valueOf = takesValue(option) ? option : nullptr;
        if (isValue || option || words[i].empty() || words[i].front() == '-') continue;
        const CLI::App* command = position.command == &app ? commandNamed(words[i], app) : nullptr;
        if (command)
            position.command = command;
        else
            ++position.arguments;
    }
    return position;
}

/** The command's arguments, by their names, which are their types. */
void addArguments(Candidates& candidates, const Position& position) {
    if (position.arguments > 0) return;
    for (const CLI::Option* argument : position.command->get_options())
        if (argument->get_positional()) addValues(candidates, argument->get_name(true));
}

std::vector<std::string> completions(const CLI::App& app, const std::vector<std::string>& words) {
    std::string word = words.empty() ? "" : words.back();
    Position position = positionAfter(app, words);
    // The value of "--option=VALUE" is completed with the option's name in front, and only to what is known here.
    const std::size_t value = !position.valueOf && word.rfind("--", 0) == 0 ? word.find('=') + 1 : 0;
    const std::string front = word.substr(0, value);
    if (!front.empty()) {
        const CLI::Option* option = optionNamed(front.substr(0, value - 1), position.command);
        if (!takesValue(option)) return {};
        position.valueOf = option;
        word.erase(0, value);
    }
    Candidates candidates{word};
    if (position.valueOf)
        addValues(candidates, position.valueOf->get_type_name());
    else if (!word.empty() && word.front() == '-')
        addOptions(candidates, *position.command);
    else if (position.command == &app)
        addCommands(candidates, app);
    else
        addArguments(candidates, position);
    std::vector<std::string> lines;
    for (const std::string& line : candidates.lines)
        if (front.empty() || line[0] != '<') lines.push_back(front + line);
    return lines;
}

}  // namespace

bool printCompletions(const CLI::App& app, const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& line : completions(app, words)) text += line + '\n';
    return writeOut(text);
}

}  // namespace cimhost
