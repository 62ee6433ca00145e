#include "cimhost/commands.h"

#include <memory>
#include <stdexcept>

#ifdef CIMHOST_SERVE
#include "cimhost/serve.h"
#endif

namespace cimhost {

namespace {

/** Which filters a command takes. */
enum class FilterOptions { none, ofReferences, ofAssociators };

/** A command that puts one question about what its one argument names; an argument that is no good throws. */
struct Command {
    const char* name;
    const char* description;
    const char* argument;
    const char* argumentDescription;
    FilterOptions filters;
    Question (*makeQuestion)(const std::string&, const broker::Filters&);
};

template <Question (*make)(const std::string&)>
Question unfiltered(const std::string& argument, const broker::Filters&) {
    return make(argument);
}

constexpr const char* kSourceDescription = "e.g. 'QELTA_SystemSlot.Tag=\"System Slot 3\"'";

constexpr Command kCommands[] = {
    {"enumerate", "The instances of a class", "CLASS", "e.g. QELTA_PCIDevice", FilterOptions::none,
     unfiltered<enumerateInstances>},
    {"names", "The object paths of a class's instances", "CLASS", "e.g. QELTA_SystemSlot", FilterOptions::none,
     unfiltered<enumerateNames>},
    {"get", "All about the instances that have the keys of an object path", "PATH",
     "e.g. 'QELTA_SystemSlot.Tag=\"System Slot 3\"'; not every key need be there", FilterOptions::none,
     unfiltered<getInstance>},
    {"associators", "The objects that are associated with one", "PATH", kSourceDescription,
     FilterOptions::ofAssociators, associators},
    {"associator-names", "The object paths of these", "PATH", kSourceDescription, FilterOptions::ofAssociators,
     associatorNames},
    {"references", "The associations that refer to an object", "PATH", kSourceDescription, FilterOptions::ofReferences,
     references},
    {"reference-names", "The object paths of these", "PATH", kSourceDescription, FilterOptions::ofReferences,
     referenceNames},
};

/** A filter that is not given is null to the provider, one that is given as an empty text is an empty text. */
void addFilter(CLI::App& command, const char* option, std::optional<std::string>& filter, const char* description) {
    command
        .add_option_function<std::string>(
            option, [&filter](const std::string& text) { filter = text; }, description)
        ->type_name("TEXT");
}

void addFilters(CLI::App& command, broker::Filters& filters, FilterOptions wanted) {
    if (wanted == FilterOptions::none) return;
    addFilter(command, "--result-class", filters.resultClass, "The class of what is asked for");
    addFilter(command, "--role", filters.role, "The role of the object in the association");
    if (wanted == FilterOptions::ofReferences) return;
    addFilter(command, "--assoc-class", filters.assocClass, "The class of the association");
    addFilter(command, "--result-role", filters.resultRole, "The role of what is asked for");
}

void addCommand(CLI::App& app, Request& request, const Command& command) {
    const auto ask = [&request, &command] {
        try {
            request.question = command.makeQuestion(request.argument, request.filters);
        } catch (const std::invalid_argument& error) {
            throw CLI::ValidationError(command.argument, error.what());
        }
    };
    CLI::App* added = app.add_subcommand(command.name, command.description);
    added->add_option(command.argument, request.argument, command.argumentDescription)->type_name("")->required();
    addFilters(*added, request.filters, command.filters);
    added->callback(ask);
}

void addTree(CLI::App& app, Request& request) {
    app.add_subcommand("tree", "What sits in which slot: the board and every slot, and the functions there")
        ->callback([&request] {
            if (request.settings.format == Format::mof)
                throw CLI::ValidationError("--format", "there is no tree in mof");
            request.run = runTree;
        })
        ->footer(
            "The functions of one device share a line (00:1f.0,2,4-6), with the kinds that they are of and their\n"
            "names; devices of one bus that follow each other and read the same share one too (16:08.0..0a.1).\n"
            "3x tells how many functions a line stands for. With --all every function has a line of its own.\n"
            "There is no tree in mof.");
}

#ifdef CIMHOST_SERVE
void addServe(CLI::App& app, Request& request) {
    const auto options = std::make_shared<ServeOptions>();
    CLI::App* command =
        app.add_subcommand("serve", "Answers WBEM clients (CIM operations over HTTP) until it is ended");
    command->add_option("--address", options->http.address, "Address or name to listen at; default 127.0.0.1")
        ->type_name("ADDRESS");
    command->add_option("--port", options->http.port, "Port to listen at; default 5988, 0: any that is free")
        ->type_name("PORT");
    command->add_flag("--log", options->log, "Show a line for each request on standard error");
    command->callback([&request, options] {
        request.run = [options](const Settings& settings) { return serve(settings, *options); };
    });
}
#endif

}  // namespace

void addCommands(CLI::App& app, Request& request) {
    for (const Command& command : kCommands) addCommand(app, request, command);
    addTree(app, request);
#ifdef CIMHOST_SERVE
    addServe(app, request);
#endif
}

}  // namespace cimhost
