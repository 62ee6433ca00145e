// The commands. Tests: tests/cimhost/usage_test.cpp, association_test.cpp.

#include <fmt/format.h>

#include <memory>

#include "cimhost/arguments.h"
#include "cimhost/shortforms.h"
#ifdef CIMHOST_SERVE
#include "cimhost/picture.h"
#include "cimhost/serve.h"
#endif

namespace cimhost {

namespace {

constexpr const char* kAssocClass = "--assoc-class";
constexpr const char* kResultClass = "--result-class";

/** Which filters a command takes. */
enum class FilterOptions { none, ofReferences, ofAssociators };

/** What a command's answer may have functions chosen from. */
enum class Chosen { nothing, names, instances };

/** A command that puts one question; a wrong argument throws. */
struct Command {
    const char* name;
    const char* description;
    const char* argument;  // kClassType, kObjectType, or "": none, the command's name stands for a class
    FilterOptions filters;
    Chosen chosen;
    Question (*makeQuestion)(const std::string&, const broker::Filters&);
    const char* examples;
};

template <Question (*make)(const std::string&)>
Question ofClass(const std::string& argument, const broker::Filters&) {
    return make(wholeClassName(argument));
}

Question ofObject(const std::string& argument, const broker::Filters&) {
    return getInstance(argument);
}

template <AssociationRequest request>
Question associationsOf(const std::string& argument, const broker::Filters& filters) {
    return askAssociations(request, argument, filters);
}

constexpr auto kEnumerate = ofClass<enumerateInstances>;

constexpr Command kShortForms[] = {
    {"slots", "The system slots (enumerate QELTA_SystemSlot)", "", FilterOptions::none, Chosen::nothing, kEnumerate,
     "  cimhost slots --host dell-t440\n"},
    {"devices", "The PCI functions but bridges (enumerate QELTA_PCIDevice)", "", FilterOptions::none, Chosen::instances,
     kEnumerate,
     "  cimhost devices --host dell-t440\n"
     "  cimhost devices -s 16: --class 0880 --host dell-t440\n"},
    {"bridges", "The PCI bridges (enumerate QELTA_PCIBridge)", "", FilterOptions::none, Chosen::instances, kEnumerate,
     "  cimhost bridges -d 8086: --host lenovo-90g0\n"},
    {"board", "The system board (enumerate QELTA_SystemBoard)", "", FilterOptions::none, Chosen::nothing, kEnumerate,
     "  cimhost board --host dell-t440\n"},
};

constexpr Command kCommands[] = {
    {"enumerate", "The instances of a class", kClassType, FilterOptions::none, Chosen::instances, kEnumerate,
     "  cimhost enumerate QELTA_SystemSlot --host dell-t440\n"
     "  cimhost enumerate pcidevice -d 8086: --host dell-t440\n"},
    {"names", "The object paths of a class's instances", kClassType, FilterOptions::none, Chosen::names,
     ofClass<enumerateNames>, "  cimhost names QELTA_PCIBridge --host lenovo-90g0 --format json\n"},
    {"get", "All about one object", kObjectType, FilterOptions::none, Chosen::nothing, ofObject,
     "  cimhost get 16:01.0 --host dell-t440\n"
     "  cimhost get 'QELTA_SystemSlot.Tag=\"System Slot 3\"' --host dell-t440\n"},
    {"associators", "The objects that are associated with one, e.g. the functions in a slot", kObjectType,
     FilterOptions::ofAssociators, Chosen::instances, associationsOf<AssociationRequest::associators>,
     "  cimhost associators 5 --host dell-t440\n"
     "  cimhost associators 16:01.0 --assoc-class DeviceInSlot --host dell-t440\n"},
    {"associator-names", "The object paths of these", kObjectType, FilterOptions::ofAssociators, Chosen::names,
     associationsOf<AssociationRequest::associatorNames>, "  cimhost associator-names board --host dell-t440\n"},
    {"references", "The associations that refer to an object", kObjectType, FilterOptions::ofReferences,
     Chosen::nothing, associationsOf<AssociationRequest::references>, "  cimhost references 5 --host dell-t440\n"},
    {"reference-names", "The object paths of these", kObjectType, FilterOptions::ofReferences, Chosen::nothing,
     associationsOf<AssociationRequest::referenceNames>, "  cimhost reference-names 16:01.0 --host dell-t440\n"},
};

std::string withExamples(const char* examples) {
    return std::string("Examples:\n") + examples;
}

/** A filter that is not given is null to the provider, one that is given as an empty text is an empty text. */
void addFilter(CLI::App& command, const char* option, const char* type, std::optional<std::string>& filter,
               const char* description) {
    command
        .add_option_function<std::string>(
            option, [&filter](const std::string& text) { filter = text; }, description)
        ->type_name(type);
}

void addFilters(CLI::App& command, broker::Filters& filters, FilterOptions wanted) {
    if (wanted == FilterOptions::none) return;
    addFilter(command, kResultClass, kClassType, filters.resultClass, "The class of what is asked for");
    addFilter(command, "--role", "ROLE", filters.role, "The role of the object in the association");
    if (wanted == FilterOptions::ofReferences) return;
    addFilter(command, kAssocClass, kClassType, filters.assocClass, "The class of the association");
    addFilter(command, "--result-role", "ROLE", filters.resultRole, "The role of what is asked for");
}

/** An option that chooses functions by one of the selection's setters. */
void addSelection(CLI::App& command, const std::string& name, const char* type, Selection& selection,
                  void (Selection::*choose)(const std::string&), const std::string& description) {
    const auto take = [&selection, choose](const std::string& text) { (selection.*choose)(text); };
    command.add_option_function<std::string>(name, checked(name.substr(0, name.find(',')), take), description)
        ->type_name(type);
}

void addSelections(CLI::App& command, Selection& selection, Chosen chosen) {
    if (chosen == Chosen::nothing) return;
    addSelection(command, "-s,--location", "[[DOMAIN:]BUS:][DEVICE][.FUNC]", selection, &Selection::byLocation,
                 "Only functions there, in hexadecimal as for lspci");
    if (chosen == Chosen::names) return;
    addSelection(command, "-d,--id", "[VENDOR]:[DEVICE][:CLASS]", selection, &Selection::byId,
                 "Only functions with these numbers, in hexadecimal as for lspci");
    addSelection(command, "--class", "BASE[SUB]", selection, &Selection::byClass,
                 "Only functions of this base class and subclass, in hexadecimal, e.g. 02 or 0200");
}

void refuseSelectionOf(const std::string& className, const Selection& selection) {
    if (selection.choosesAny() && isServed(className) && !hasFunctions(className))
        throw CLI::ValidationError(className, "functions are chosen by -s, -d and --class; it has none");
}

/** A filter's class may be named in short as well. One that is misspelt would pass for no filter, so it is refused. */
std::optional<std::string> filterClass(const char* option, const std::optional<std::string>& named) {
    if (!named || named->empty()) return named;
    const std::string className = wholeClassName(*named);
    const std::string meant = isDeclared(className) ? "" : nearestClass(className);
    if (!meant.empty())
        throw CLI::ValidationError(fmt::format("{} {}", option, *named),
                                   fmt::format("the provider does not serve this class; did you mean {}?", meant));
    return className;
}

/** "--assoc-class NAME" for a filter that has a class which the provider does not serve, else "". */
std::string unservedFilter(const char* option, const std::optional<std::string>& className) {
    if (!className || className->empty() || isServed(*className)) return "";
    return fmt::format("{} {}", option, *className);
}

/** The command's question with the filters, whose classes are written in full. */
Question questionOf(const Command& command, const std::string& argument, const broker::Filters& given) {
    broker::Filters filters = given;
    filters.assocClass = filterClass(kAssocClass, given.assocClass);
    filters.resultClass = filterClass(kResultClass, given.resultClass);
    Question question = command.makeQuestion(argument, filters);
    const std::string associationClass = unservedFilter(kAssocClass, filters.assocClass);
    const std::string resultClass = unservedFilter(kResultClass, filters.resultClass);
    for (const std::string& filter : {associationClass, resultClass})
        if (!filter.empty()) question.unservedFilters.push_back(filter);
    question.associationFilter = command.filters == FilterOptions::ofReferences ? resultClass : associationClass;
    return question;
}

void addArgument(CLI::App& command, std::string& argument, const char* type) {
    const char* const description = type == std::string(kClassType)
                                        ? "One of those below"
                                        : "A slot's number (5), a function's location (16:01.0), \"board\", or an "
                                          "object path: a class and the keys that matter";
    command.add_option(type, argument, description)->type_name("")->required();
}

void addCommand(CLI::App& app, Request& request, const Command& command) {
    CLI::App* added = app.add_subcommand(command.name, command.description)->footer(withExamples(command.examples));
    const std::string type = command.argument;
    if (!type.empty()) addArgument(*added, request.argument, command.argument);
    addFilters(*added, request.filters, command.filters);
    addSelections(*added, request.selection, command.chosen);
    added->callback([&request, &command, type] {
        if (type == kClassType) refuseSelectionOf(wholeClassName(request.argument), request.selection);
        const auto ask = [&](const std::string& argument) {
            request.question = selected(questionOf(command, argument, request.filters), request.selection);
        };
        checked(type, ask)(type.empty() ? command.name : request.argument);
    });
}

/** A command that puts no question, in every format but MOF. */
void addRun(CLI::App& app, Request& request, const char* name, const char* description, const char* notInMof,
            ExitCode (*run)(const Settings&), const std::string& footer) {
    app.add_subcommand(name, description)->footer(footer)->callback([&request, notInMof, run] {
        if (request.settings.format == Format::mof) throw CLI::ValidationError("--format", notInMof);
        request.run = run;
    });
}

void addTree(CLI::App& app, Request& request) {
#ifdef CIMHOST_SERVE
    request.surveys["tree"] = surveyOfTree;
#endif
    addRun(app, request, "tree", "What sits in which slot: the board and every slot, and the functions there",
           "there is no tree in mof", runTree,
           "The functions of one device share a line (00:1f.0,2,4-6), with the kinds that they are of and their "
           "names; devices of one bus that follow each other and read the same share one too (16:08.0..0a.1). 3x "
           "tells how many functions a line stands for. With --all every function has a line of its own.\n"
           "There is no tree in mof.\n\n"
           "Example:\n"
           "  cimhost tree --host dell-t440");
}

#ifdef CIMHOST_SERVE
enum class PictureFormat { svg, dot };

std::string pictureOf(const Inventory& inventory, PictureFormat format, bool inFull) {
    if (format == PictureFormat::dot) return dotText(inventory);
    return svgText(layOut(inventory, {kPictureWidth, inFull}));
}

/** Its formats are not those of the other commands, so it has an option --format of its own. */
void addDraw(CLI::App& app, Request& request) {
    const auto format = std::make_shared<PictureFormat>(PictureFormat::svg);
    CLI::App* command = app.add_subcommand("draw", "What sits in which slot as a picture (SVG), or for Graphviz");
    addChoice<PictureFormat>(*command, "--format", {{"dot", PictureFormat::dot}, {"svg", PictureFormat::svg}}, *format,
                             "svg, the default: a picture for browsers and documents; dot: a graph for Graphviz");
    command->footer(
        "The picture has the board, its slots with designation, width and usage, the functions in each, and those on "
        "the board by bus; pointing at something shows its properties. With --all every function has a row of its "
        "own.\n\n"
        "Examples:\n"
        "  cimhost draw --host dell-r910 > r910.svg\n"
        "  cimhost draw --format dot --host dell-r910 | dot -Tpdf > r910.pdf");
    command->callback([&app, &request, format] {
        if (app.get_option("--format")->count() > 0)
            throw CLI::ValidationError("--format", "draw writes svg or dot, named after the command");
        request.run = [format](const Settings& settings) {
            return runInventory(settings, "draw", [&](const Inventory& inventory) {
                return pictureOf(inventory, *format, settings.table.inFull);
            });
        };
    });
}

constexpr std::uint64_t kLastPort = 65535;

void addServe(CLI::App& app, Request& request) {
    const auto options = std::make_shared<ServeOptions>();
    CLI::App* command =
        app.add_subcommand("serve", "Answers WBEM clients (CIM operations over HTTP) until it is ended");
    command->add_option("--address", options->http.address, "Address or name to listen at; default 127.0.0.1")
        ->type_name("ADDRESS");
    command->add_option("--port", options->http.port, "Port to listen at; default 5988, 0: any that is free")
        ->type_name("PORT")
        ->check(numberIn(0, kLastPort, "port, a number from 0 to 65535"));
    command->add_option("--allow-host", options->http.hosts, "Answer requests for this host, too; may be repeated")
        ->type_name("NAME")
        ->allow_extra_args(false);
    command
        ->add_option("--per-address", options->http.limits.perAddress,
                     "Connections that one address may have at a time, of 256 in all; default 128")
        ->type_name("NUMBER")
        ->check(numberIn(1, wbem::ConnectionLimits{}.connections, "number from 1 to 256"));
    command->add_flag("--log", options->log, "Show a line for each request on standard error");
    command->footer(withExamples("  cimhost serve --host dell-t440 --log\n"));
    command->callback([&request, options] {
        request.run = [options](const Settings& settings) { return serve(settings, *options); };
    });
}
#endif

}  // namespace

void addCommands(CLI::App& app, Request& request) {
    for (const Command& command : kShortForms) addCommand(app, request, command);
    addTree(app, request);
#ifdef CIMHOST_SERVE
    addDraw(app, request);
#endif
    for (const Command& command : kCommands) addCommand(app, request, command);
    addRun(app, request, "samples", "The sample machines, for --host", "there are no sample machines in mof",
           listSamples, withExamples("  cimhost samples\n  cimhost tree --host dell-t440\n"));
#ifdef CIMHOST_SERVE
    addServe(app, request);
#endif
}

}  // namespace cimhost
